#include "platform/linux/x11/X11Stream.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

#include "platform/HostClock.h"
#include "platform/ThreadPriority.h"
#include "platform/linux/x11/X11PointerSource.h"

namespace glintro {
namespace {

constexpr std::chrono::seconds kAnswerTimeout{1};

timespec timeUntil(Seconds moment) {
    const Seconds left = std::clamp(moment - hostTime(), 0.0, ScreenStream::kRepeatInterval);
    const auto nanoseconds = static_cast<long>(std::ceil(left * 1e9));
    return {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
}

} // namespace

X11Stream::X11Stream(std::unique_ptr<X11Connection> connection, std::unique_ptr<X11Subject> subject,
                     double scale)
    : connection_(std::move(connection)),
      subject_(std::move(subject)),
      pixelSize_(subject_->size()),
      pointer_(createX11PointerSource(scale)) {}

X11Stream::~X11Stream() {
    stop();
}

Result<void> X11Stream::start(const StreamConfiguration& configuration, StreamHandlers handlers) {
    configuration_ = configuration;
    handlers_ = std::move(handlers);
    if (const Result<void> begun = subject_->begin(); !begun) return begun;
    begin_ = dueTick_ = shownTime_ = hostTime();
    isRunning_ = true;
    thread_ = std::jthread([this](const std::stop_token& stop) {
        run(stop);
        const std::scoped_lock lock(mutex_);
        isRunning_ = false;
        ended_.notify_all();
    });
    return {};
}

void X11Stream::stop() {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    {
        std::unique_lock lock(mutex_);
        // A server that hangs, or that another program keeps to itself, answers nobody: then without it.
        if (!ended_.wait_for(lock, kAnswerTimeout, [this] { return !isRunning_; }))
            ::shutdown(xcb_get_file_descriptor(connection_->get()), SHUT_RDWR);
    }
    thread_.join();
}

void X11Stream::run(const std::stop_token& stop) {
    raiseThreadPriority(ThreadUrgency::grabbing);
    const std::stop_callback wake(stop, [this] { wakeUp_.ring(); });
    while (!stop.stop_requested()) {
        const Result<void> going = step();
        if (stop.stop_requested()) return;
        if (!going) return handlers_.stopped(going.error());
        if (!handleQueuedEvents()) sleep();
    }
}

Result<void> X11Stream::step() {
    const Result<void> handled = handleEvents();
    if (!handled) return handled;
    const Result<void> updated = subject_->update(hostTime());
    if (!updated) return updated;
    if (!subject_->dirty().isEmpty() && hostTime() >= dueTick_) {
        deliver();
        dueTick_ = nextTick(hostTime());
    }
    repeatWhenDue();
    return {};
}

Result<void> X11Stream::handleEvents() {
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_->get())}) {
        subject_->handle(*event);
    }
    if (connection_->isAlive()) return {};
    return failure("The X server no longer answers, so the recording ended.", "xcb connection",
                   xcb_connection_has_error(connection_->get()));
}

// Those that came along with replies. Whether there were any.
bool X11Stream::handleQueuedEvents() {
    bool any = false;
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(connection_->get())}) {
        subject_->handle(*event);
        any = true;
    }
    return any;
}

void X11Stream::deliver() {
    if (!pool_ || pool_->size() != subject_->size()) {
        pool_.emplace(connection_->get(), subject_->size(), configuration_.queueDepth);
    }
    if (X11FrameBuffer* buffer = pool_->acquireFree()) {
        deliverFrom(*pool_, *buffer);
    } else {
        handlers_.dropped();
    }
}

void X11Stream::deliverFrom(X11FramePool& pool, X11FrameBuffer& buffer) {
    RowSet changed = subject_->dirty();
    const X11Sources sources = subject_->expose();
    const Seconds now = hostTime();
    const std::optional<RowSet> fetched = pool.fetch(buffer, sources, changed);
    handleQueuedEvents();
    if (!fetched || subject_->isOutdated()) return subject_->makeAllDirty();
    // A buffer's old rows are fetched as they are now: what was drawn there since the events were handled is
    // in the picture already, and has been told by an event that came before the pixels.
    changed.add(subject_->dirty().intersected(*fetched));
    shownTime_ = now;
    handlers_.frame(pool.publish(buffer, changed, now));
}

void X11Stream::repeatWhenDue() {
    const Seconds now = hostTime();
    if (now < shownTime_ + kRepeatInterval) return;
    shownTime_ = now;
    if (!pool_) return;
    if (std::optional<ScreenFrame> frame = pool_->repeat(now)) handlers_.frame(std::move(*frame));
}

// Until the next tick when there is something to show, else until the server tells of something.
void X11Stream::sleep() const {
    const bool awaitsTick = !subject_->dirty().isEmpty();
    const Seconds repeat = shownTime_ + kRepeatInterval;
    const Seconds wake = awaitsTick ? dueTick_ : std::min(repeat, subject_->wakeTime().value_or(repeat));
    const timespec left = timeUntil(wake);
    xcb_flush(connection_->get());
    pollfd files[] = {{wakeUp_.descriptor(), POLLIN, 0},
                      {xcb_get_file_descriptor(connection_->get()), POLLIN, 0}};
    ::ppoll(files, awaitsTick ? 1 : 2, &left, nullptr);
}

Seconds X11Stream::nextTick(Seconds now) const {
    const double rate = std::max(configuration_.fps, 1);
    return begin_ + (std::floor((now - begin_) * rate) + 1) / rate;
}

} // namespace glintro
