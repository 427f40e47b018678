#include "core/plan/FramePlan.h"

#include <algorithm>
#include <cmath>

namespace glintro {
namespace {

// The pointer's nominal height, as a fraction of the recording's height and in pixels of its bitmap.
constexpr double kPointerHeight = 0.028;
constexpr double kPointerBitmapHeight = 132;
constexpr double kMaxCursorSize = 100;
constexpr Seconds kRippleDuration = 0.55;
constexpr Seconds kPressDuration = 0.22;

// Maps fractions of the recording to the canvas.
struct Placement {
    Rect window;
    PixelRect target;
    Size source;

    double xScale() const { return target.width / window.width; }
    double yScale() const { return target.height / window.height; }
    Point operator()(Point p) const {
        return {target.x + (source.width * p.x - window.x) * xScale(),
                target.y + (source.height * p.y - window.y) * yScale()};
    }
};

// One pixel of the zoomed recording, before it is fitted into the target, in canvas pixels.
Size layerScale(const PixelRect& target, Size crop) {
    return {target.width / crop.width, target.height / crop.height};
}

// A press shrinks the pointer, which springs back.
double pressFactor(const ClickTrack& clicks, Seconds t) {
    const Click* last = clicks.lastBefore(t);
    if (!last || t - last->sourceTime >= kPressDuration) return 1;
    return 0.82 + 0.18 * (t - last->sourceTime) / kPressDuration;
}

RipplePlan planRipple(const Click& click, Seconds t, double pointerHeight, const Placement& place,
                      Size layer) {
    const double progress = (t - click.sourceTime) / kRippleDuration;
    const double fade = std::pow(1 - progress, 1.4);
    const double diameter = pointerHeight * (progress * 2.2 + 0.6);
    return {place(click.position), {diameter * layer.width, diameter * layer.height}, fade * 0.95};
}

} // namespace

std::optional<BubblePlan> planBubble(const ProjectSettings& settings, PixelSize canvas) {
    const double side = std::min(canvas.width, canvas.height);
    const double diameter = roundHalfAway(side * std::clamp(settings.camSize, 0.0, 4.0));
    if (!(diameter >= 1)) return std::nullopt;
    const double margin = std::max(0.035 * side, 0.45 * paddingPixels(settings, canvas));
    const bool left = settings.camCorner == CamCorner::topLeft || settings.camCorner == CamCorner::bottomLeft;
    const bool top = settings.camCorner == CamCorner::topLeft || settings.camCorner == CamCorner::topRight;
    return BubblePlan{
        {left ? margin : canvas.width - margin - diameter, top ? margin : canvas.height - margin - diameter},
        static_cast<int>(diameter),
        diameter * (settings.camShape == CamShape::circle ? 0.5 : 0.2)};
}

FramePlan planFrame(const ProjectSettings& settings, const ZoomCamera& camera, Size source, Framing framing,
                    Seconds t, PixelSize canvas) {
    const Size crop = sourceCrop(settings, source, canvas, framing);
    FramePlan plan{canvas, zoomWindow(camera, t, source, crop), targetRect(settings, crop, canvas), {}, {}};
    if (!settings.showCursor || !camera.pointerPath()) return plan;

    const Placement place{plan.window, plan.target, source};
    const Size layer = layerScale(plan.target, crop);
    const double scale = crop.width / plan.window.width;
    const double height = kPointerHeight * source.height
                          * std::clamp(settings.cursorSize, 0.0, kMaxCursorSize) * (1 + 0.75 * (scale - 1));
    if (settings.clickRipple) {
        for (const Click& click : camera.clicks().between(t - kRippleDuration, t))
            if (t < click.sourceTime + kRippleDuration)
                plan.ripples.push_back(planRipple(click, t, height, place, layer));
    }
    const double bitmapScale = height * pressFactor(camera.clicks(), t) / kPointerBitmapHeight;
    const Point tip = place(camera.pointerPath()->position(t));
    if (std::isfinite(tip.x) && std::isfinite(tip.y))
        plan.pointer = PointerPlan{tip, {bitmapScale * layer.width, bitmapScale * layer.height}};
    return plan;
}

} // namespace glintro
