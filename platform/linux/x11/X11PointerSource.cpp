#include "platform/linux/x11/X11PointerSource.h"

#include <mutex>
#include <utility>

#include <sys/socket.h>

#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11PressRecorder.h"

namespace glintro {
namespace {

constexpr const char* kBusy =
    "Clicks are not seen as long as another program keeps the X server to itself: close that program to have "
    "zooms placed at the clicks.";

class X11PointerSource final : public PointerSource {
  public:
    explicit X11PointerSource(double scale) : scale_(scale) {}
    ~X11PointerSource() override { stop(); }

    void setWarningHandler(const WarningHandler& warned) override { warned_ = warned; }
    Result<void> start(PressHandler pressed) override;
    void stop() override;
    std::optional<Point> position() override;
    std::optional<std::string> whyNoPresses() const override;

  private:
    double scale_;
    WarningHandler warned_;
    std::unique_ptr<X11PressRecorder> recorder_; // of the thread that starts and stops
    // The lock is for position() on other threads while this one starts and stops.
    std::mutex mutex_;
    std::optional<X11Connection> connection_;
    // Of its own: position() holds the other one for as long as a busy server does not answer.
    mutable std::mutex whyMutex_;
    std::optional<std::string> whyNoPresses_; // under whyMutex_
};

Result<void> X11PointerSource::start(PressHandler pressed) {
    stop();
    Result<X11Connection> connection = connectToX11();
    if (!connection) return std::unexpected(connection.error());
    {
        const std::scoped_lock lock(mutex_);
        connection_ = std::move(*connection);
    }
    auto recorder = X11PressRecorder::create(*connection_, scale_, {std::move(pressed), warned_});
    const std::scoped_lock lock(whyMutex_);
    whyNoPresses_.reset();
    if (!recorder) {
        whyNoPresses_ = recorder.error().message;
        return {};
    }
    recorder_ = std::move(*recorder);
    if (!recorder_->isRecording()) whyNoPresses_ = kBusy;
    return {};
}

void X11PointerSource::stop() {
    recorder_.reset();
    // Ends the wait of a position() that a busy server has not answered.
    if (connection_) ::shutdown(xcb_get_file_descriptor(connection_->get()), SHUT_RDWR);
    const std::scoped_lock lock(mutex_);
    connection_.reset();
}

std::optional<Point> X11PointerSource::position() {
    const std::scoped_lock lock(mutex_);
    if (!connection_) return std::nullopt;
    const auto cookie = xcb_query_pointer(connection_->get(), connection_->root());
    const X11Reply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(connection_->get(), cookie, nullptr));
    if (!pointer || pointer->same_screen == 0) return std::nullopt;
    return Point{pointer->root_x / scale_, pointer->root_y / scale_};
}

std::optional<std::string> X11PointerSource::whyNoPresses() const {
    const std::scoped_lock lock(whyMutex_);
    return whyNoPresses_;
}

} // namespace

std::unique_ptr<PointerSource> createX11PointerSource(double scale) {
    return std::make_unique<X11PointerSource>(scale);
}

} // namespace glintro
