#pragma once

#include "core/raster/Picture.h"
#include "core/raster/Resample.h"

namespace glintro {

// Scales whole 4:2:0 pictures down, every plane once and with its chroma sited as before. Keeps filters and
// scratch memory from picture to picture; one object per thread.
class PictureReducer {
  public:
    PicturePtr reduce(const Picture& picture, PixelSize size);

  private:
    Resampler resampler_;
};

} // namespace glintro
