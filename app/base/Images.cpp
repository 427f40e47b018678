#include "app/base/Images.h"

namespace glintro {

QImage toImage(const BgraImage& image) {
    const QImage view(image.pixels.data(), image.size.width, image.size.height,
                      static_cast<int>(image.rowBytes()), QImage::Format_RGB32);
    return view.copy();
}

} // namespace glintro
