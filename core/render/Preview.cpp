#include "core/render/Preview.h"

#include <algorithm>
#include <cmath>

#include "core/raster/Convert.h"
#include "core/render/PictureSampling.h"

namespace glintro {

BgraImage previewImage(const Picture& picture, int longestSide) {
    const double width = picture.size.width;
    const double height = picture.size.height;
    const double scale = std::min(1.0, longestSide / std::max(width, height));
    const PixelSize size{static_cast<int>(std::ceil(width * scale)),
                         static_cast<int>(std::ceil(height * scale))};
    PictureBuffer canvas(PixelLayout::rgb444, size);
    Resampler resampler;
    samplePicture(picture, {0, width, 0, static_cast<double>(size.width)},
                  {0, height, 0, static_cast<double>(size.height)}, canvas, {0, 0, size.width, size.height},
                  resampler);
    return toBgra(std::as_const(canvas).view());
}

} // namespace glintro
