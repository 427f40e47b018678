#include "platform/linux/wayland/PortalStream.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr std::chrono::seconds kFirstPictureTimeout{20};

// The pixels of a screen that an area of it covers; nullopt when a part of it lies outside.
std::optional<PixelRect> pixelsOf(const Rect& area, Size screen, PixelSize pixels) {
    const double across = pixels.width / screen.width, down = pixels.height / screen.height;
    const auto rounded = [](double value) { return static_cast<int>(std::lround(value)); };
    const int x = rounded(area.x * across), y = rounded(area.y * down);
    const PixelRect rect{x, y, rounded((area.x + area.width) * across) - x,
                         rounded((area.y + area.height) * down) - y};
    const bool isInside =
        rect.x >= 0 && rect.y >= 0 && rect.right() <= pixels.width && rect.bottom() <= pixels.height;
    if (!isInside || rect.width < 1 || rect.height < 1) return std::nullopt;
    return rect;
}

std::vector<RowRange> rowsWithin(const std::vector<RowRange>& rows, const PixelRect& crop) {
    std::vector<RowRange> within;
    within.reserve(rows.size());
    for (const RowRange& range : rows) {
        within.push_back({std::clamp(range.begin - crop.y, 0, crop.height),
                          std::clamp(range.end - crop.y, 0, crop.height)});
    }
    return within;
}

CastPicture cropped(const CastPicture& picture, const PixelRect& crop) {
    CastPicture part = picture;
    part.size = {crop.width, crop.height};
    part.pixels += crop.y * picture.stride + crop.x * picture.step;
    if (picture.damage) part.damage = rowsWithin(*picture.damage, crop);
    return part;
}

} // namespace

Result<std::unique_ptr<ScreenStream>> PortalStream::open(std::unique_ptr<ScreenCast> cast,
                                                         const std::optional<Rect>& area,
                                                         const CastRequest& request,
                                                         const std::stop_token& cancel) {
    std::unique_ptr<PortalStream> stream(new PortalStream(std::move(cast), area, request));
    Result<void> step = stream->connect();
    if (step) step = stream->waitForPicture(cancel);
    if (!step) return std::unexpected(step.error());
    return stream;
}

PortalStream::PortalStream(std::unique_ptr<ScreenCast> cast, const std::optional<Rect>& area,
                           CastRequest request)
    : cast_(std::move(cast)),
      pointerMode_(cast_->pointerMode()),
      area_(area),
      request_(std::move(request)),
      pointer_(pointerMode_) {}

PortalStream::~PortalStream() {
    pointer_.stop();
    if (!connection_) return;
    connection_->stop();
    if (timer_) pw_loop_destroy_source(connection_->loop(), timer_);
    if (sessionWatch_) pw_loop_destroy_source(connection_->loop(), sessionWatch_);
    pictures_.reset();
}

Result<void> PortalStream::connect() {
    auto connection = PipeWireConnection::connect(cast_->releaseRemote().release());
    if (!connection) return std::unexpected(connection.error());
    connection_ = std::move(*connection);
    const std::scoped_lock lock(*connection_);
    timer_ = pw_loop_add_timer(
        connection_->loop(), [](void* self, std::uint64_t) { static_cast<PortalStream*>(self)->deliver(); },
        this);
    sessionWatch_ = pw_loop_add_io(
        connection_->loop(), cast_->descriptor(), SPA_IO_IN | SPA_IO_HUP, false,
        [](void* self, int, std::uint32_t) { static_cast<PortalStream*>(self)->sessionSpoke(); }, this);
    sessionSpoke(); // what came while the session was set up has been read from the socket already
    const auto pointerMoved = [this](std::optional<Point> pixel) {
        pointerPixel_ = pixel;
        publishPointer();
    };
    auto pictures = CastStream::connect(*connection_, cast_->node(),
                                        {[this](const CastPicture& picture) { pictureArrived(picture); },
                                         pointerMoved, [this](Failure why) { ended(std::move(why)); }});
    if (!pictures) return std::unexpected(pictures.error());
    pictures_ = std::move(*pictures);
    return {};
}

Result<void> PortalStream::waitForPicture(const std::stop_token& cancel) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, cancel, kFirstPictureTimeout, [this] { return isPlaced_ || end_; });
    if (cancel.stop_requested()) return std::unexpected(Failure::cancelled());
    if (end_) return std::unexpected(*end_);
    if (isPlaced_) return {};
    return failure(
        "The desktop shares nothing that can be seen; bring the window to the front and try again.",
        "no first picture");
}

std::optional<std::string> PortalStream::rememberedChoice() const {
    if (!cast_->isRestored()) return std::nullopt;
    const std::string what = describe(cast_->source(), request_.kind);
    const std::string name = request_.name.empty() ? "" : " for “" + request_.name + "”";
    return std::string("This records ") + (area_ ? "an area of " : "") + what + " that you chose" + name
           + " the last time.";
}

Result<void> PortalStream::start(const StreamConfiguration& configuration, StreamHandlers handlers) {
    const std::scoped_lock lock(*connection_);
    if (end_) return std::unexpected(*end_);
    stopped_ = std::move(handlers.stopped);
    const Seconds now = hostTime();
    pacer_.begin(configuration, std::move(handlers), now);
    wakeAt(now); // the first frame comes on the connection's thread, as all others do
    return {};
}

void PortalStream::stop() {
    const std::scoped_lock lock(*connection_);
    isOver_ = true;
    pacer_.end();
    stopped_ = {};
}

void PortalStream::sessionSpoke() {
    if (cast_->process()) return;
    // A lost connection would wake the loop for ever.
    pw_loop_destroy_source(connection_->loop(), std::exchange(sessionWatch_, nullptr));
    ended({"The desktop has stopped sharing what is recorded.", "session closed"});
}

// Where the recording lies, once the size of the pictures is known; false when the area is outside.
bool PortalStream::place(PixelSize pixels) {
    const Size points = cast_->source().size.value_or(
        Size{static_cast<double>(pixels.width), static_cast<double>(pixels.height)});
    const Point origin = cast_->source().position.value_or(Point{});
    crop_ = {0, 0, pixels.width, pixels.height};
    frame_ = {origin.x, origin.y, points.width, points.height};
    if (area_) {
        const Rect onScreen{area_->x - origin.x, area_->y - origin.y, area_->width, area_->height};
        const auto part = pixelsOf(onScreen, points, pixels);
        if (!part) return false;
        crop_ = *part;
        frame_ = *area_;
    }
    const std::scoped_lock lock(mutex_);
    isPlaced_ = true;
    changed_.notify_all();
    return true;
}

void PortalStream::pictureArrived(const CastPicture& picture) {
    if (isOver_) return;
    const bool fits =
        isPlaced_ ? !area_ || (crop_.right() <= picture.size.width && crop_.bottom() <= picture.size.height)
                  : place(picture.size);
    if (!fits) return ended({"The area lies outside of the screen that is shared; choose it again."});
    pacer_.accept(area_ ? cropped(picture, crop_) : picture);
    publishPointer(); // the size may have changed what its pixel means
    deliver();
}

void PortalStream::publishPointer() {
    if (!pointerPixel_ || !isPlaced_) return pointer_.moved(std::nullopt);
    const PixelSize shown = pacer_.size();
    const Size picture{static_cast<double>(shown.width), static_cast<double>(shown.height)};
    const Size canvas{static_cast<double>(crop_.width), static_cast<double>(crop_.height)};
    if (picture.width == 0) return;
    const Rect fitted = fitCentred(picture, canvas);
    const double scale = fitted.width / picture.width;
    const double x = fitted.x + (pointerPixel_->x - crop_.x) * scale;
    const double y = fitted.y + (pointerPixel_->y - crop_.y) * scale;
    pointer_.moved(
        Point{frame_.x + x * frame_.width / canvas.width, frame_.y + y * frame_.height / canvas.height});
}

void PortalStream::ended(Failure why) {
    if (std::exchange(isOver_, true)) return;
    pacer_.end();
    {
        const std::scoped_lock lock(mutex_);
        end_ = why;
        changed_.notify_all();
    }
    if (const auto stopped = std::exchange(stopped_, nullptr)) stopped(std::move(why));
}

void PortalStream::deliver() {
    if (const auto next = pacer_.deliver(hostTime())) wakeAt(*next);
}

void PortalStream::wakeAt(Seconds time) {
    const Seconds wait = std::max(time - hostTime(), 1e-6); // zero would switch the timer off
    const auto whole = static_cast<time_t>(wait);
    timespec delay{whole, static_cast<long>((wait - static_cast<double>(whole)) * 1e9)};
    pw_loop_update_timer(connection_->loop(), timer_, &delay, nullptr, false);
}

} // namespace glintro
