#include "core/render/Sprite.h"

#include <algorithm>
#include <cmath>

#include "core/raster/Blend.h"
#include "core/raster/Convert.h"
#include "core/render/Mask.h"
#include "core/render/Siting.h"

namespace glintro {
namespace {

AxisMap spriteAxis(Siting siting, int first, double origin, double scale) {
    const double canvas = first * siting.spacing + siting.offset;
    return {(canvas - origin) / scale - 0.5 + kSpriteBorder, siting.spacing / scale};
}

std::uint8_t toByte(float value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

Plane clearPlane(PixelSize size) {
    Plane plane(size.width, size.height);
    for (int y = 0; y < size.height; ++y) std::fill_n(plane.row(y), size.width, std::uint8_t{0});
    return plane;
}

} // namespace

Sprite::Sprite(PixelLayout layout, const BgraImage& image) : size_(image.size) {
    const PixelSize bordered{size_.width + 2 * kSpriteBorder, size_.height + 2 * kSpriteBorder};
    alpha_ = clearPlane(bordered);
    for (Plane& colour : colours_) colour = clearPlane(bordered);

    const PlaneColour black = planeColour(layout, 0, 0, 0);
    for (int y = 0; y < size_.height; ++y) {
        for (int x = 0; x < size_.width; ++x) {
            const std::uint8_t* pixel = image.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            const float alpha = static_cast<float>(pixel[3]) / 255.0F;
            const PlaneColour colour =
                planeColour(layout, static_cast<float>(pixel[2]) / 255.0F,
                            static_cast<float>(pixel[1]) / 255.0F, static_cast<float>(pixel[0]) / 255.0F);
            alpha_.row(y + kSpriteBorder)[x + kSpriteBorder] = pixel[3];
            // Limited range has an offset (black is 16): only the part above black is multiplied with alpha.
            for (std::size_t i = 0; i < 3; ++i)
                colours_[i].row(y + kSpriteBorder)[x + kSpriteBorder] =
                    toByte(colour.values[i] - black.values[i] + black.values[i] * alpha);
        }
    }
}

void SpritePainter::draw(PictureBuffer& canvas, const Sprite& sprite, Point origin, Size scale,
                         double opacity, PixelRect clip) {
    if (!(scale.width > 1e-6 && scale.height > 1e-6)) return;
    const Rect extent{origin.x, origin.y, sprite.size().width * scale.width,
                      sprite.size().height * scale.height};
    const PixelRect box = intersected(evenBox(extent, canvas.size()), evenBox(clip, canvas.size()));
    const auto strength = toByte(static_cast<float>(opacity) * 255.0F);
    if (box.width <= 0 || box.height <= 0 || strength == 0) return;

    for (int plane = 0; plane < 3; ++plane) {
        const bool full = planeSize(canvas.layout(), plane, canvas.size()) == canvas.size();
        const PixelRect area = full ? intersected(box, clip) : planeArea(canvas.layout(), plane, box);
        if (area.width <= 0 || area.height <= 0) continue;
        drawPlane(canvas, plane, sprite, area,
                  spriteAxis(columnSiting(canvas.layout(), plane), area.x, origin.x, scale.width),
                  spriteAxis(rowSiting(canvas.layout(), plane), area.y, origin.y, scale.height), strength);
    }
}

void SpritePainter::drawPlane(PictureBuffer& canvas, int plane, const Sprite& sprite, PixelRect area,
                              AxisMap horizontal, AxisMap vertical, std::uint8_t opacity) {
    const PixelSize size{area.width, area.height};
    const MutablePlaneView alpha = scratch(alpha_, size);
    const MutablePlaneView colour = scratch(colour_, size);
    resampler_.resample(sprite.alpha(), horizontal, vertical, alpha);
    resampler_.resample(sprite.colour(plane), horizontal, vertical, colour);
    blendPremultiplied(canvas.plane(plane).crop(area), colour, alpha, opacity);
}

MutablePlaneView SpritePainter::scratch(Plane& memory, PixelSize size) {
    if (memory.width() < size.width || memory.height() < size.height)
        memory = Plane(std::max(memory.width(), size.width), std::max(memory.height(), size.height));
    return memory.view().crop({0, 0, size.width, size.height});
}

} // namespace glintro
