#include "core/render/StaticLayers.h"

#include <algorithm>
#include <cmath>

#include "core/raster/Blend.h"
#include "core/render/PictureSampling.h"

namespace glintro {
namespace {

// Settings in pixels are meant for a canvas whose shorter side is 1080.
double pixelScale(PixelSize canvas) {
    return std::min(canvas.width, canvas.height) / 1080.0;
}

// At most half of the target's shorter side; 0 for corners that stay square.
double cornerRadius(const ProjectSettings& settings, PixelSize canvas, PixelRect target) {
    const double radius =
        std::min(std::min(target.width, target.height) * 0.5, settings.cornerRadius * pixelScale(canvas));
    return radius > 0.5 ? radius : 0;
}

double wallpaperSigma(const ProjectSettings& settings, PixelSize canvas) {
    return std::clamp(settings.wallpaperBlur, 0.0, 1000.0) * canvas.height / 1080.0;
}

// How far beyond the canvas a blur looks, the same for all that a slider reaches.
int blurReach(double sigma, PixelSize canvas) {
    const int needed = static_cast<int>(std::ceil(3.5 * sigma));
    return std::max(needed, canvas.height / 3);
}

SoftRoundedRect shadowShape(PixelSize canvas, PixelRect target, double radius) {
    const double k = pixelScale(canvas);
    Rect caster = toRect(target);
    caster.y += 14 * k;
    return {wholeOf(canvas), caster, radius, 26 * k};
}

template <class Key, class Value, class Make>
KeyedPtr<Key, Value> sharedOrMade(const KeyedPtr<Key, Value>& previous, Key key, const Make& make) {
    if (previous && previous->key == key) return previous;
    Value value = make();
    return std::make_shared<const Keyed<Key, Value>>(Keyed<Key, Value>{std::move(key), std::move(value)});
}

} // namespace

std::shared_ptr<const StaticLayers> StaticLayers::make(const StaticLayersInput& input, PixelLayout layout,
                                                       PixelSize canvas, const StaticLayers* previous) {
    const StaticLayers none;
    return std::shared_ptr<const StaticLayers>(
        new StaticLayers(input, layout, canvas, previous != nullptr ? *previous : none));
}

StaticLayers::StaticLayers(const StaticLayersInput& input, PixelLayout layout, PixelSize canvas,
                           const StaticLayers& previous)
    : layout_(layout), canvas_(canvas) {
    const ProjectSettings& settings = input.settings;
    const PixelRect target =
        targetRect(settings, sourceCrop(settings, input.source, canvas, input.framing), canvas);
    const ShapeKey shape{canvas, target, cornerRadius(settings, canvas, target)};
    shown_ = intersected(target, wholeOf(canvas));
    box_ = evenBox(target, canvas);
    cornerExtent_ = shape.radius > 0 ? static_cast<int>(std::ceil(shape.radius)) + 1 : 0;

    corners_ = sharedOrMade(previous.corners_, CornersKey{layout, shape},
                            [&] { return Mask::roundedRect(layout, box_, toRect(target), shape.radius); });
    if (const auto plan = planBubble(settings, canvas); settings.showCamera && plan)
        bubble_ = sharedOrMade(previous.bubble_, BubbleKey{layout, canvas, *plan},
                               [&] { return Bubble(layout, canvas, *plan); });
    makeWallpaper(input, previous);
    makeBackdrop(settings, shape, previous);
}

void StaticLayers::makeWallpaper(const StaticLayersInput& input, const StaticLayers& previous) {
    const auto& picture = input.wallpaper;
    if (input.settings.background != BackgroundKind::wallpaper || !picture) return;
    if (picture->size.width < 1 || picture->size.height < 1) return;
    const double sigma = wallpaperSigma(input.settings, canvas_);
    const int reach = blurReach(sigma, canvas_);
    cover_ = sharedOrMade(previous.cover_, CoverKey{picture, canvas_, reach},
                          [&] { return coverCanvas(*picture, canvas_, reach); });
    blurred_ = sharedOrMade(previous.blurred_, BlurKey{cover_, layout_, sigma}, [&] {
        return std::make_shared<const FinePicture>(blurredWallpaper(cover_->value, layout_, canvas_, sigma));
    });
}

void StaticLayers::makeBackdrop(const ProjectSettings& settings, const ShapeKey& shape,
                                const StaticLayers& previous) {
    if (settings.shadow > 0.01)
        shadow_ = sharedOrMade(previous.shadow_, shape,
                               [&] { return shadowShape(canvas_, shape.target, shape.radius); });
    // Without a picture, a wallpaper backdrop shows the gradient.
    GroundKey ground{settings.background, 0, {}, blurred_};
    if (settings.background == BackgroundKind::solid)
        ground.solidHex = settings.solidHex;
    else if (!blurred_)
        ground = {BackgroundKind::gradient, settings.gradientIndex, {}, {}};
    const auto strength = shadow_ ? static_cast<float>(std::min(settings.shadow * 0.55, 1.0)) : 0.0F;
    backdrop_ = sharedOrMade(
        previous.backdrop_, BackdropKey{layout_, canvas_, ground, shadow_, strength, hole()}, [&] {
            PictureBuffer picture(layout_, canvas_);
            drawBackdrop(this->ground(ground), {shadow_ ? &shadow_->value : nullptr, strength}, hole(),
                         picture);
            return picture;
        });
}

Ground StaticLayers::ground(const GroundKey& key) const {
    if (key.kind == BackgroundKind::solid) return solidGround(layout_, key.solidHex);
    if (key.wallpaper) return key.wallpaper->value;
    return gradientGround(layout_, canvas_, key.gradientIndex);
}

// How many samples from its edges the rounding may change a plane of the box.
int StaticLayers::reach(int plane) const {
    const bool isHalf = layout_ == PixelLayout::yuv420 && plane > 0;
    return std::max(isHalf ? cornerExtent_ / 2 + 2 : cornerExtent_ + 1, 2);
}

// What neither drawSurroundings() nor roundCorners() reads of the backdrop: the box without the reach of the
// corners and without the two columns of each plane at its sides.
PixelRect StaticLayers::hole() const {
    const int rows = (std::max(reach(0), 2 * reach(1)) + 1) & ~1;
    constexpr int kColumns = 4;
    const PixelRect hole{box_.x + kColumns, box_.y + rows, (box_.width - 2 * kColumns) & ~1,
                         (box_.height - 2 * rows) & ~1};
    return isEmpty(hole) ? PixelRect{} : hole;
}

void StaticLayers::drawSurroundings(PictureBuffer& canvas) const {
    for (int i = 0; i < 3; ++i) {
        const PlaneView from = backdrop_->value.plane(i);
        const MutablePlaneView to = canvas.plane(i);
        const PixelRect hidden = planeArea(layout_, i, box_);
        const auto copy = [&](PixelRect part) {
            if (!isEmpty(part)) copyPlane(cropped(from, part), to.crop(part));
        };
        copy({0, 0, from.width, hidden.y});
        copy({0, hidden.bottom(), from.width, from.height - hidden.bottom()});
        copy({0, hidden.y, hidden.x, hidden.height});
        copy({hidden.right(), hidden.y, from.width - hidden.right(), hidden.height});
    }
}

// Bands along the four edges hold all that lies outside the rounded rectangle.
void StaticLayers::roundCorners(PictureBuffer& canvas) const {
    if (isEmpty(box_)) return;
    for (int i = 0; i < 3; ++i) {
        const PixelRect area = planeArea(layout_, i, box_);
        const auto band = [&](int x, int y, int width, int height) {
            const PixelRect inMask =
                intersected(PixelRect{x, y, width, height}, wholeOf({area.width, area.height}));
            if (isEmpty(inMask)) return;
            const PixelRect inCanvas{area.x + inMask.x, area.y + inMask.y, inMask.width, inMask.height};
            keepInside(canvas.plane(i).crop(inCanvas), cropped(backdrop_->value.plane(i), inCanvas),
                       cropped(corners_->value.plane(i), inMask));
        };
        const int edge = 2;
        const int ends = reach(i);
        const int middle = std::max(area.height - 2 * ends, 0);
        band(0, 0, area.width, ends);
        band(0, ends, edge, middle);
        band(area.width - edge, ends, edge, middle);
        band(0, std::max(area.height - ends, ends), area.width, ends);
    }
}

} // namespace glintro
