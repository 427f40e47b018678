#include "core/render/FrameRenderer.h"

#include <algorithm>
#include <cmath>

#include "core/raster/Blend.h"
#include "core/raster/Convert.h"
#include "core/render/Backdrop.h"
#include "core/render/Bubble.h"
#include "core/render/PictureSampling.h"

namespace glintro {
namespace {

int wholeCorner(double radius) {
    return radius > 0.5 ? static_cast<int>(std::ceil(radius)) + 1 : 0;
}

void fillPlane(MutablePlaneView plane, std::uint8_t value) {
    for (int y = 0; y < plane.height; ++y) std::fill_n(plane.row(y), plane.width, value);
}

} // namespace

// What all frames of one canvas size and layout share.
struct FrameRenderer::Bed {
    PixelLayout layout;
    PixelSize size;
    PixelRect target; // where the recording lies, cut to the canvas
    PictureBuffer backdrop;
    Mask corners;     // white where the recording shows
    int cornerExtent; // rows and columns that the rounding reaches into
    Sprite pointer;
    Sprite ripple;
    std::optional<Bubble> bubble;
};

FrameRenderer::FrameRenderer(ProjectSettings settings, Size sourceSize, const RecordingEvents& events,
                             std::shared_ptr<const BgraImage> wallpaper, Framing framing)
    : settings_(std::move(settings)),
      sourceSize_(sourceSize),
      framing_(framing),
      camera_(settings_, events),
      wallpaper_(std::move(wallpaper)) {}

FrameRenderer::~FrameRenderer() = default;

FramePlan FrameRenderer::plan(Seconds sourceTime, PixelSize canvas) const {
    return planFrame(settings_, camera_, sourceSize_, framing_, sourceTime, canvas);
}

std::shared_ptr<const FrameRenderer::Bed> FrameRenderer::bed(PixelLayout layout, PixelSize canvas) const {
    const std::scoped_lock guard(lock_);
    if (!bgCache_ || bgCache_->layout != layout || bgCache_->size != canvas)
        bgCache_ = makeBed(layout, canvas);
    return bgCache_;
}

std::unique_ptr<FrameRenderer::Bed> FrameRenderer::makeBed(PixelLayout layout, PixelSize canvas) const {
    const PixelRect target =
        targetRect(settings_, sourceCrop(settings_, sourceSize_, canvas, framing_), canvas);
    const double radius = cornerRadius(settings_, canvas, target);
    const Rect shape{static_cast<double>(target.x), static_cast<double>(target.y),
                     static_cast<double>(target.width), static_cast<double>(target.height)};
    const auto bubble = settings_.showCamera ? planBubble(settings_, canvas) : std::nullopt;
    return std::make_unique<Bed>(
        Bed{layout, canvas, intersection(target, {0, 0, canvas.width, canvas.height}),
            drawBackdrop(settings_, layout, canvas, target, radius, wallpaper_.get()),
            Mask::roundedRect(layout, evenBox(target, canvas), shape, radius > 0.5 ? radius : 0),
            wholeCorner(radius), Sprite(layout, cursorImage()), Sprite(layout, rippleImage()),
            bubble ? std::optional<Bubble>(std::in_place, layout, canvas, *bubble) : std::nullopt});
}

void FrameRenderer::draw(const FramePlan& plan, const Picture* screen, const Picture* camera,
                         PictureBuffer& canvas, DrawScratch& scratch) const {
    const auto shared = bed(canvas.layout(), canvas.size());
    copySurroundings(*shared, canvas);
    drawScreen(plan, screen, canvas, scratch);
    drawPointer(plan, *shared, canvas, scratch);
    roundCorners(*shared, canvas);
    if (camera && shared->bubble) shared->bubble->draw(*camera, canvas, scratch.camera, scratch.cameraSquare);
}

BgraImage FrameRenderer::render(const Picture* screen, const Picture* camera, Seconds sourceTime,
                                PixelSize out) const {
    PictureBuffer canvas(PixelLayout::rgb444, out);
    DrawScratch scratch;
    draw(plan(sourceTime, out), screen, camera, canvas, scratch);
    return toBgra(std::as_const(canvas).view());
}

// The backdrop around the recording; what lies under it is drawn over in full.
void FrameRenderer::copySurroundings(const Bed& bed, PictureBuffer& canvas) {
    const PixelRect box = bed.corners.box();
    for (int i = 0; i < 3; ++i) {
        const PlaneView from = bed.backdrop.plane(i);
        const MutablePlaneView to = canvas.plane(i);
        const PixelRect hole = planeArea(bed.layout, i, box);
        const auto copy = [&](PixelRect part) {
            if (part.width > 0 && part.height > 0) copyPlane(cropped(from, part), to.crop(part));
        };
        copy({0, 0, from.width, hole.y});
        copy({0, hole.bottom(), from.width, from.height - hole.bottom()});
        copy({0, hole.y, hole.x, hole.height});
        copy({hole.right(), hole.y, from.width - hole.right(), hole.height});
    }
}

// The window of the recording, resampled into the target plane by plane. The box is a little larger than the
// target where chroma samples straddle its edge; roundCorners() puts the backdrop back there.
void FrameRenderer::drawScreen(const FramePlan& plan, const Picture* screen, PictureBuffer& canvas,
                               DrawScratch& scratch) {
    const PixelRect box = evenBox(plan.target, canvas.size());
    if (box.width <= 0 || box.height <= 0) return;
    const PixelSpan columns{plan.window.x, plan.window.width, static_cast<double>(plan.target.x),
                            static_cast<double>(plan.target.width)};
    const PixelSpan rows{plan.window.y, plan.window.height, static_cast<double>(plan.target.y),
                         static_cast<double>(plan.target.height)};
    if (screen) {
        samplePicture(*screen, columns, rows, canvas, box, scratch.screen);
        return;
    }
    const PlaneColour black = planeColour(canvas.layout(), 0, 0, 0);
    for (int i = 0; i < 3; ++i)
        fillPlane(canvas.plane(i).crop(planeArea(canvas.layout(), i, box)),
                  static_cast<std::uint8_t>(black.values[i]));
}

void FrameRenderer::drawPointer(const FramePlan& plan, const Bed& bed, PictureBuffer& canvas,
                                DrawScratch& scratch) {
    for (const RipplePlan& ripple : plan.ripples) {
        const Size scale{ripple.diameter.width / bed.ripple.size().width,
                         ripple.diameter.height / bed.ripple.size().height};
        const Point origin{ripple.centre.x - ripple.diameter.width / 2,
                           ripple.centre.y - ripple.diameter.height / 2};
        scratch.sprites.draw(canvas, bed.ripple, origin, scale, ripple.opacity, bed.target);
    }
    if (!plan.pointer) return;
    const Size scale = plan.pointer->scale;
    const Point origin{plan.pointer->tip.x - kCursorTip.x * scale.width,
                       plan.pointer->tip.y - kCursorTip.y * scale.height};
    scratch.sprites.draw(canvas, bed.pointer, origin, scale, 1, bed.target);
}

// Puts the backdrop back outside the rounded rectangle: bands along the four edges hold all of that.
void FrameRenderer::roundCorners(const Bed& bed, PictureBuffer& canvas) {
    const PixelRect box = bed.corners.box();
    if (box.width <= 0 || box.height <= 0) return;
    const int reach = std::max(bed.cornerExtent + 1, 2);
    for (int i = 0; i < 3; ++i) {
        const PixelRect area = planeArea(bed.layout, i, box);
        const auto band = [&](int x, int y, int width, int height) {
            const PixelRect inMask = intersection({x, y, width, height}, {0, 0, area.width, area.height});
            if (inMask.width <= 0 || inMask.height <= 0) return;
            const PixelRect inCanvas{area.x + inMask.x, area.y + inMask.y, inMask.width, inMask.height};
            keepInside(canvas.plane(i).crop(inCanvas), cropped(bed.backdrop.plane(i), inCanvas),
                       cropped(bed.corners.plane(i), inMask));
        };
        const int edge = 2;
        const int middle = std::max(area.height - 2 * reach, 0);
        band(0, 0, area.width, reach);
        band(0, reach, edge, middle);
        band(area.width - edge, reach, edge, middle);
        band(0, std::max(area.height - reach, reach), area.width, reach);
    }
}

} // namespace glintro
