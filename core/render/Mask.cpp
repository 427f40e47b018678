#include "core/render/Mask.h"

#include <algorithm>
#include <cmath>

#include "core/raster/Blur.h"
#include "core/raster/Convert.h"

namespace glintro {
namespace {

FloatPlane roundedRectPlane(PixelRect box, Rect rect, double radius) {
    FloatPlane coverage(box.width, box.height);
    for (int y = 0; y < box.height; ++y)
        for (int x = 0; x < box.width; ++x)
            coverage.row(y)[x] = roundedRectCoverage(rect, radius, box.x + x + 0.5, box.y + y + 0.5);
    return coverage;
}

FloatPlane crop(const FloatPlane& plane, PixelRect area) {
    FloatPlane part(area.width, area.height);
    for (int y = 0; y < area.height; ++y)
        std::copy_n(plane.row(area.y + y) + area.x, area.width, part.row(y));
    return part;
}

} // namespace

PixelRect planeArea(PixelLayout layout, int plane, PixelRect box) {
    if (layout != PixelLayout::yuv420 || plane == 0) return box;
    return {box.x / 2, box.y / 2, chromaExtent(box.width), chromaExtent(box.height)};
}

PixelRect intersection(PixelRect a, PixelRect b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    return {left, top, std::max(std::min(a.right(), b.right()) - left, 0),
            std::max(std::min(a.bottom(), b.bottom()) - top, 0)};
}

PixelRect evenBox(PixelRect around, PixelSize canvas) {
    const PixelRect visible = intersection(around, {0, 0, canvas.width, canvas.height});
    const int left = visible.x & ~1;
    const int top = visible.y & ~1;
    // A chroma sample on column 2i is also made of column 2i - 1: an even right edge needs one more.
    const int right = std::min((visible.right() + 2) & ~1, canvas.width);
    const int bottom = std::min((visible.bottom() + 1) & ~1, canvas.height);
    return {left, top, std::max(right - left, 0), std::max(bottom - top, 0)};
}

PixelRect evenBox(Rect around, PixelSize canvas) {
    const auto left = static_cast<int>(std::floor(std::clamp(around.x, -1.0, canvas.width + 1.0)));
    const auto top = static_cast<int>(std::floor(std::clamp(around.y, -1.0, canvas.height + 1.0)));
    const auto right =
        static_cast<int>(std::ceil(std::clamp(around.x + around.width, -1.0, canvas.width + 1.0)));
    const auto bottom =
        static_cast<int>(std::ceil(std::clamp(around.y + around.height, -1.0, canvas.height + 1.0)));
    return evenBox(PixelRect{left, top, right - left, bottom - top}, canvas);
}

float roundedRectCoverage(Rect rect, double radius, double x, double y) {
    // Signed distance to a box shrunk by the radius, less the radius.
    const double dx = std::abs(x - rect.x - rect.width / 2) - rect.width / 2 + radius;
    const double dy = std::abs(y - rect.y - rect.height / 2) - rect.height / 2 + radius;
    const double outside = dx > 0 && dy > 0 ? std::hypot(dx, dy) : std::max(dx, dy);
    return static_cast<float>(std::clamp(0.5 - (outside - radius), 0.0, 1.0));
}

Mask::Mask(PixelLayout layout, PixelRect box, const FloatPlane& coverage, float strength)
    : box_(box), full_(box.width, box.height) {
    for (int y = 0; y < box.height; ++y)
        for (int x = 0; x < box.width; ++x)
            full_.row(y)[x] = static_cast<std::uint8_t>(std::lround(coverage.row(y)[x] * strength * 255.0F));
    if (layout != PixelLayout::yuv420) return;
    chroma_ = Plane(chromaExtent(box.width), chromaExtent(box.height));
    reduceMaskToChroma(std::as_const(full_).view(), chroma_.view());
}

Mask Mask::roundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, float strength) {
    return {layout, box, roundedRectPlane(box, rect, radius), strength};
}

Mask Mask::blurredRoundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, double sigma,
                              float strength) {
    return {layout, box, blurredRoundedRectCoverage(box, rect, radius, sigma), strength};
}

FloatPlane blurredRoundedRectCoverage(PixelRect box, Rect rect, double radius, double sigma) {
    // Past three standard deviations a Gaussian holds 0.3 % of its weight, which 8 bits do not show.
    const int margin = static_cast<int>(std::ceil(3 * sigma));
    const PixelRect wide{box.x - margin, box.y - margin, box.width + 2 * margin, box.height + 2 * margin};
    FloatPlane coverage = roundedRectPlane(wide, rect, radius);
    gaussianBlur(coverage, sigma);
    return crop(coverage, {margin, margin, box.width, box.height});
}

} // namespace glintro
