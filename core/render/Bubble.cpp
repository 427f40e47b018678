#include "core/render/Bubble.h"

#include <algorithm>

#include "core/raster/Blend.h"
#include "core/raster/Convert.h"
#include "core/render/PictureSampling.h"

namespace glintro {
namespace {

constexpr float kShadowStrength = 0.4F;
constexpr float kRingStrength = 0.9F;

Rect squareOf(const BubblePlan& plan) {
    return {plan.origin.x, plan.origin.y, static_cast<double>(plan.diameter),
            static_cast<double>(plan.diameter)};
}

Rect lowered(Rect rect, double by) {
    return {rect.x, rect.y + by, rect.width, rect.height};
}

double shorterSide(PixelSize canvas) {
    return std::min(canvas.width, canvas.height);
}

Mask shadowMask(PixelLayout layout, PixelSize canvas, const BubblePlan& plan) {
    const double side = shorterSide(canvas);
    const double sigma = 0.014 * side;
    const Rect caster = lowered(squareOf(plan), 0.008 * side);
    return Mask::blurredRoundedRect(layout, evenBox(grown(caster, 3 * sigma), canvas), caster, plan.radius,
                                    sigma, kShadowStrength);
}

Mask ringMask(PixelLayout layout, PixelSize canvas, const BubblePlan& plan) {
    const double width = 0.004 * shorterSide(canvas);
    const Rect ring = grown(squareOf(plan), width);
    return Mask::roundedRect(layout, evenBox(grown(ring, 1), canvas), ring, plan.radius + width,
                             kRingStrength);
}

void fill(PictureBuffer& canvas, const Mask& mask, PlaneColour colour) {
    if (mask.box().width <= 0 || mask.box().height <= 0) return;
    for (int i = 0; i < 3; ++i)
        fillMasked(canvas.plane(i).crop(planeArea(canvas.layout(), i, mask.box())),
                   static_cast<std::uint8_t>(colour.values[i] + 0.5F), mask.plane(i), 255);
}

} // namespace

Bubble::Bubble(PixelLayout layout, PixelSize canvas, const BubblePlan& plan)
    : plan_(plan),
      shadow_(shadowMask(layout, canvas, plan)),
      ring_(ringMask(layout, canvas, plan)),
      picture_(Mask::roundedRect(layout, evenBox(grown(squareOf(plan), 1), canvas), squareOf(plan),
                                 plan.radius)) {}

void Bubble::draw(const Picture& webcam, PictureBuffer& canvas, Resampler& resampler,
                  PictureBuffer& square) const {
    fill(canvas, shadow_, planeColour(canvas.layout(), 0, 0, 0));
    fill(canvas, ring_, planeColour(canvas.layout(), 1, 1, 1));

    const PixelRect box = picture_.box();
    if (box.width <= 0 || box.height <= 0) return;
    const PixelSize size{box.width, box.height};
    if (square.size() != size || square.layout() != canvas.layout())
        square = PictureBuffer(canvas.layout(), size);
    const double side = std::min(webcam.size.width, webcam.size.height);
    const auto diameter = static_cast<double>(plan_.diameter);
    samplePicture(webcam, {(webcam.size.width - side) / 2, side, plan_.origin.x - box.x, diameter},
                  {(webcam.size.height - side) / 2, side, plan_.origin.y - box.y, diameter}, square,
                  {0, 0, box.width, box.height}, resampler);
    for (int i = 0; i < 3; ++i)
        blendMasked(canvas.plane(i).crop(planeArea(canvas.layout(), i, box)), std::as_const(square).plane(i),
                    picture_.plane(i));
}

} // namespace glintro
