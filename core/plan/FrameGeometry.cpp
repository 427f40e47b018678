#include "core/plan/FrameGeometry.h"

#include <algorithm>
#include <cmath>

namespace glintro {
namespace {

// Settings come from files: what no editor would set is brought to a range in which whole-pixel arithmetic
// holds.
constexpr double kMaxCanvasSide = 1 << 20;
constexpr double kMaxPadding = 1.0;
constexpr double kMinWindow = 1e-3;

int evenDimension(double value) {
    const double bounded = std::isfinite(value) ? std::min(value, kMaxCanvasSide) : kMaxCanvasSide;
    return static_cast<int>(std::max(2 * roundHalfAway(bounded / 2), 2.0));
}

Size innerSize(const ProjectSettings& settings, PixelSize canvas) {
    const double pad = paddingPixels(settings, canvas);
    return {std::max(canvas.width - 2 * pad, 10.0), std::max(canvas.height - 2 * pad, 10.0)};
}

bool cropsSource(Size crop, Size source) {
    return crop.width < source.width || crop.height < source.height;
}

// The centre moved so that the window stays inside the recording.
Point insideSource(Point centre, Size source, Size crop, double scale) {
    const double halfX = crop.width / (source.width * 2 * scale);
    const double halfY = crop.height / (source.height * 2 * scale);
    return {std::min(std::max(centre.x, halfX), 1 - halfX), std::min(std::max(centre.y, halfY), 1 - halfY)};
}

} // namespace

double roundHalfAway(double value) {
    return std::round(value);
}

PixelSize outputSize(AspectRatio aspect, Size source, ShortSide shortSide) {
    const double r = ratio(aspect, source);
    if (r >= 1) return {evenDimension(r * shortSide.pixels), evenDimension(shortSide.pixels)};
    return {evenDimension(shortSide.pixels), evenDimension(shortSide.pixels / r)};
}

PixelSize outputSize(AspectRatio aspect, Size source, LongSide longSide) {
    const double r = ratio(aspect, source);
    return outputSize(aspect, source, ShortSide{r >= 1 ? longSide.pixels / r : longSide.pixels * r});
}

double paddingPixels(const ProjectSettings& settings, PixelSize canvas) {
    return std::min(canvas.width, canvas.height) * std::clamp(settings.padding, -kMaxPadding, kMaxPadding);
}

Size sourceCrop(const ProjectSettings& settings, Size source, PixelSize canvas, Framing framing) {
    if (framing == Framing::fit) return source;
    const Size inner = innerSize(settings, canvas);
    const double shape = inner.width / inner.height;
    if (shape < source.width / source.height)
        return {std::max(roundHalfAway(shape * source.height), 1.0), source.height};
    return {source.width, std::max(roundHalfAway(source.width / shape), 1.0)};
}

PixelRect targetRect(const ProjectSettings& settings, Size crop, PixelSize canvas) {
    const Size inner = innerSize(settings, canvas);
    const double factor = std::min(inner.width / crop.width, inner.height / crop.height);
    const double width = std::max(roundHalfAway(crop.width * factor), 1.0);
    const double height = std::max(roundHalfAway(crop.height * factor), 1.0);
    const double left = roundHalfAway((canvas.width - crop.width * factor) / 2);
    // Rounded as a distance from the bottom, so that an odd remainder goes where it always went.
    const double bottom = roundHalfAway((canvas.height - crop.height * factor) / 2);
    return {static_cast<int>(left), static_cast<int>(canvas.height - bottom - height),
            static_cast<int>(width), static_cast<int>(height)};
}

Rect zoomWindow(const ZoomCamera& camera, Seconds sourceTime, Size source, Size crop) {
    const ZoomState zoom = camera.zoom(sourceTime);
    const bool cropped = cropsSource(crop, source);
    if (!zoom.isZoomed() && !cropped) return {0, 0, source.width, source.height};

    Point centre = zoom.centre;
    if (cropped) {
        if (!zoom.isZoomed() && camera.viewPath()) centre = camera.viewPath()->position(sourceTime);
        centre = insideSource(centre, source, crop, zoom.scale);
    }
    // A spring that a file made too stiff diverges.
    if (!std::isfinite(centre.x) || !std::isfinite(centre.y)) centre = {0.5, 0.5};
    const double width = std::max(crop.width / zoom.scale, kMinWindow);
    const double height = std::max(crop.height / zoom.scale, kMinWindow);
    return {source.width * centre.x - width / 2, source.height * centre.y - height / 2, width, height};
}

} // namespace glintro
