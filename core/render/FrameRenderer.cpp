#include "core/render/FrameRenderer.h"

#include <algorithm>
#include <utility>

#include "core/raster/Convert.h"
#include "core/render/PictureSampling.h"

namespace glintro {
namespace {

RenderSource withEvents(RenderSource source) {
    if (!source.events) source.events = std::make_shared<const RecordingEvents>();
    return source;
}

bool sameZooms(const ProjectSettings& a, const ProjectSettings& b) {
    return a.zooms == b.zooms && a.followCursor == b.followCursor;
}

void fillPlane(MutablePlaneView plane, std::uint8_t value) {
    for (int y = 0; y < plane.height; ++y) std::fill_n(plane.row(y), plane.width, value);
}

// The window of the recording, resampled into the target plane by plane. The box is a little larger than the
// target where chroma samples straddle its edge; the static layers put the backdrop back there.
void drawScreen(const FramePlan& plan, const Picture* screen, PictureBuffer& canvas, DrawScratch& scratch) {
    const PixelRect box = evenBox(plan.target, canvas.size());
    if (isEmpty(box)) return;
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

void drawPointer(const FramePlan& plan, const PixelRect& clip, PictureBuffer& canvas,
                 SpritePainter& painter) {
    const Sprite& rings = rippleSprite(canvas.layout());
    for (const RipplePlan& ripple : plan.ripples) {
        const Size scale{ripple.diameter.width / rings.size().width,
                         ripple.diameter.height / rings.size().height};
        const Point origin{ripple.centre.x - ripple.diameter.width / 2,
                           ripple.centre.y - ripple.diameter.height / 2};
        painter.draw(canvas, rings, origin, scale, ripple.opacity, clip);
    }
    if (!plan.pointer) return;
    const Size scale = plan.pointer->scale;
    const Point origin{plan.pointer->tip.x - kCursorTip.x * scale.width,
                       plan.pointer->tip.y - kCursorTip.y * scale.height};
    painter.draw(canvas, pointerSprite(canvas.layout()), origin, scale, 1, clip);
}

} // namespace

FrameRenderer::FrameRenderer(ProjectSettings settings, RenderSource source, Framing framing,
                             std::shared_ptr<const ZoomCamera> zoomCamera, LayersPtr previous)
    : settings_(std::move(settings)),
      source_(withEvents(std::move(source))),
      framing_(framing),
      zoomCamera_(std::move(zoomCamera)),
      previous_(std::move(previous)) {
    if (!zoomCamera_) zoomCamera_ = std::make_shared<const ZoomCamera>(settings_, *source_.events);
}

FrameRenderer::FrameRenderer(ProjectSettings settings, RenderSource source, Framing framing)
    : FrameRenderer(std::move(settings), std::move(source), framing, nullptr, nullptr) {}

FrameRenderer::FrameRenderer(ProjectSettings settings, Size sourceSize, RecordingEvents events,
                             std::shared_ptr<const BgraImage> wallpaper, Framing framing)
    : FrameRenderer(
        std::move(settings),
        {sourceSize, std::make_shared<const RecordingEvents>(std::move(events)), std::move(wallpaper)},
        framing) {}

std::shared_ptr<const FrameRenderer> FrameRenderer::with(ProjectSettings settings) const {
    auto zoomCamera = zoomCamera_;
    const bool isSmoothedAlike = settings.cursorSmoothing == settings_.cursorSmoothing;
    if (!isSmoothedAlike || !sameZooms(settings, settings_)) {
        const PointerPaths& paths = zoomCamera_->paths();
        zoomCamera = std::make_shared<const ZoomCamera>(
            settings, isSmoothedAlike ? paths : paths.smoothed(*source_.events, settings.cursorSmoothing));
    }
    return std::shared_ptr<const FrameRenderer>(
        new FrameRenderer(std::move(settings), source_, framing_, std::move(zoomCamera), lastLayers()));
}

std::shared_ptr<const FrameRenderer> FrameRenderer::with(std::shared_ptr<const BgraImage> wallpaper) const {
    RenderSource source = source_;
    source.wallpaper = std::move(wallpaper);
    return std::shared_ptr<const FrameRenderer>(
        new FrameRenderer(settings_, std::move(source), framing_, zoomCamera_, lastLayers()));
}

FramePlan FrameRenderer::plan(Seconds sourceTime, PixelSize canvas) const {
    return planFrame(settings_, *zoomCamera_, source_.size, framing_, sourceTime, canvas);
}

std::shared_ptr<const StaticLayers> FrameRenderer::layers(PixelLayout layout, PixelSize canvas) const {
    std::unique_lock lock(mutex_);
    if (slot_.layers.valid() && slot_.layout == layout && slot_.canvas == canvas) {
        const auto layers = slot_.layers;
        lock.unlock();
        return layers.get();
    }
    std::packaged_task<LayersPtr()> build([&, previous = previous_] {
        return StaticLayers::make({settings_, source_.size, framing_, source_.wallpaper}, layout, canvas,
                                  previous.get());
    });
    slot_ = {layout, canvas, build.get_future().share()};
    const auto layers = slot_.layers;
    const std::uint64_t building = ++buildings_;
    lock.unlock();
    build();
    layers.wait();
    lock.lock();
    try {
        previous_ = layers.get();
    } catch (...) {
        // Kept, it would fail every later frame too, when the memory may be there again.
        if (buildings_ == building) slot_.layers = {};
        throw;
    }
    return previous_;
}

FrameRenderer::LayersPtr FrameRenderer::lastLayers() const {
    const std::scoped_lock lock(mutex_);
    return previous_;
}

void FrameRenderer::draw(const FramePlan& plan, const Picture* screen, const Picture* webcam,
                         PictureBuffer& canvas, DrawScratch& scratch) const {
    const auto shared = layers(canvas.layout(), canvas.size());
    shared->drawSurroundings(canvas);
    drawScreen(plan, screen, canvas, scratch);
    drawPointer(plan, shared->target(), canvas, scratch.sprites);
    shared->roundCorners(canvas);
    if (webcam && shared->bubble())
        shared->bubble()->draw(*webcam, canvas, scratch.webcam, scratch.webcamSquare);
}

BgraImage FrameRenderer::render(const Picture* screen, const Picture* webcam, Seconds sourceTime,
                                PixelSize canvas) const {
    BgraImage image(canvas);
    DrawScratch scratch;
    render(screen, webcam, sourceTime, image.view(), scratch);
    return image;
}

void FrameRenderer::render(const Picture* screen, const Picture* webcam, Seconds sourceTime, BgraView target,
                           DrawScratch& scratch) const {
    if (scratch.planes.size() != target.size)
        scratch.planes = PictureBuffer(PixelLayout::rgb444, target.size);
    draw(plan(sourceTime, target.size), screen, webcam, scratch.planes, scratch);
    toBgra(std::as_const(scratch.planes).view(), target);
}

} // namespace glintro
