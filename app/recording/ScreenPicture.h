#pragma once

#include <optional>

#include "core/raster/Picture.h"
#include "core/raster/Resample.h"
#include "platform/ScreenStream.h"

namespace glintro {

// The recorded picture as the encoder wants it, kept from frame to frame: only the rows that changed are
// converted. A frame that is larger by one odd row or column is cropped; one of any other size (a window that
// was resized) is fitted into the picture and centred, black around it. One thread at a time.
class ScreenPicture {
  public:
    explicit ScreenPicture(PixelSize size); // even

    // Brings the picture up to date. `frame.changed` counts from the frame updated with before.
    void update(const ScreenFrame& frame);
    // Stays valid, and shows the newest state, as long as this object lives.
    Picture view() const { return picture_.view(); }

  private:
    void fit(const ScreenFrame& frame);

    PictureBuffer picture_;
    PixelSize shown_; // of the frame the picture shows
    // A fitted frame in its own size; absent while frames come in the picture's size.
    std::optional<PictureBuffer> resized_;
    Resampler resampler_;
};

} // namespace glintro
