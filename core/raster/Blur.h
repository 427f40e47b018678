#pragma once

#include <vector>

#include "core/base/Geometry.h"
#include "core/raster/Plane.h"

namespace glintro {

// Gaussian blur with standard deviation `sigma` in samples, in place; samples outside the plane repeat its
// edge. Wide blurs are computed on a reduced plane, within 0.2 % of full scale of the exact result. The
// result is the same on every machine. Does nothing unless sigma is above zero.
void gaussianBlur(FloatPlane& plane, double sigma);

// The rows of a picture that is computed while it is read, top to bottom. Rows may be read up to the next
// multiple of kRowAlignment bytes.
class FloatRowSource {
  public:
    virtual ~FloatRowSource() = default;
    // Moves to row y, which is never above the last; false when it is the same as the row before.
    virtual bool moveTo(int y) = 0;
    virtual const float* row() const = 0;
};

// A blurred picture that is computed row by row when it is looked at. A wide blur is kept on cells of several
// samples each, so that making it and holding it costs a fraction of the picture. Immutable; the same samples
// as gaussianBlur() gives.
class BlurredPicture {
  public:
    // `source` has size.height rows of size.width samples, at least 1 x 1; sigma as for gaussianBlur().
    BlurredPicture(FloatRowSource& source, PixelSize size, double sigma);

    // Reads rows; keeps scratch memory, one object per thread. The picture must outlive it.
    class Reader {
      public:
        explicit Reader(const BlurredPicture& picture);
        // `count` samples of row y from column x on; valid until the next call. 16 more may be read.
        const float* row(int y, int x, int count);

      private:
        const BlurredPicture& picture_;
        std::vector<float> weights_;
        std::vector<float> line_;
        std::vector<float> samples_;
    };

  private:
    int factor_; // samples of a cell; 1: cells_ is the picture itself, without a margin
    FloatPlane cells_;
};

} // namespace glintro
