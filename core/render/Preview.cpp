#include "core/render/Preview.h"

#include "core/raster/Convert.h"
#include "core/render/PictureSampling.h"

namespace glintro {

BgraImage previewImage(const Picture& picture, int longestSide) {
    const double width = picture.size.width;
    const double height = picture.size.height;
    const PixelSize size = fittedWithin(picture.size, longestSide);
    PictureBuffer canvas(PixelLayout::rgb444, size);
    Resampler resampler;
    samplePicture(picture, {0, width, 0, static_cast<double>(size.width)},
                  {0, height, 0, static_cast<double>(size.height)}, canvas, {0, 0, size.width, size.height},
                  resampler);
    return toBgra(std::as_const(canvas).view());
}

} // namespace glintro
