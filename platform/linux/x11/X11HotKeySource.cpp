#include <cstdint>
#include <optional>
#include <thread>
#include <utility>

#include <poll.h>

#include "platform/linux/WakeUp.h"
#include "platform/linux/x11/X11Desktop.h"
#include "platform/linux/x11/X11KeyGrab.h"

namespace glintro {
namespace {

constexpr int kRetryMilliseconds = 2000;

// Listens on a thread and a connection of its own, from listen() to stop().
class Listener {
  public:
    Listener(X11Connection& connection, X11KeyGrab grab, KeyCombination keys, HotKeyHandlers handlers)
        : connection_(connection),
          grab_(std::move(grab)),
          keys_(keys),
          handlers_(std::move(handlers)),
          thread_([this](const std::stop_token& stop) { run(stop); }) {}

    ~Listener() {
        thread_.request_stop();
        wakeUp_.ring();
        thread_.join();
        if (grab_) grab_->release(connection_);
    }

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

  private:
    void run(const std::stop_token& stop);
    void handle(const xcb_generic_event_t& event);
    void handleKey(const xcb_key_press_event_t& key, bool isPress);
    void updateGrab();
    void tellBound();
    void tellLost(const Failure& why);

    X11Connection& connection_;
    std::optional<X11KeyGrab> grab_; // absent while a change of the keyboard has removed the key
    KeyCombination keys_;
    HotKeyHandlers handlers_;
    bool isHeld_ = false;
    // A key that is held repeats itself as a release and a press of the same time.
    std::optional<xcb_timestamp_t> releasedAt_;
    WakeUp wakeUp_;
    std::jthread thread_;
};

void Listener::run(const std::stop_token& stop) {
    tellBound();
    while (!stop.stop_requested() && connection_.isAlive()) {
        while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
            if (stop.stop_requested()) return;
            handle(*event);
        }
        pollfd waits[] = {{xcb_get_file_descriptor(connection_.get()), POLLIN, 0},
                          {wakeUp_.descriptor(), POLLIN, 0}};
        // Nobody tells when another program releases the keys.
        if (::poll(waits, 2, grab_ ? -1 : kRetryMilliseconds) == 0) updateGrab();
    }
    if (!stop.stop_requested()) tellLost({"The X server has ended, and the key with it.", "connection lost"});
}

void Listener::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == XCB_MAPPING_NOTIFY) return updateGrab();
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return;
    // Releases have the same form.
    handleKey(reinterpret_cast<const xcb_key_press_event_t&>(event), type == XCB_KEY_PRESS);
}

void Listener::handleKey(const xcb_key_press_event_t& key, bool isPress) {
    if (!grab_ || !grab_->isOf(key.detail)) return;
    if (!isPress) {
        isHeld_ = false;
        releasedAt_ = key.time;
    } else if (!std::exchange(isHeld_, true) && releasedAt_ != key.time && handlers_.pressed) {
        handlers_.pressed();
    }
}

// The symbol may be on another key now, a modifier on another bit. Most changes touch neither, one comes with
// the very press when keys are typed on another keyboard than before: the grab must not be gone meanwhile.
void Listener::updateGrab() {
    const Result<X11KeyChoice> choice = findX11Keys(connection_, keys_);
    if (choice && grab_ && grab_->choice() == *choice) return;
    const bool wasBound = grab_.has_value();
    if (grab_) grab_->release(connection_);
    grab_.reset();
    isHeld_ = false;
    Result<X11KeyGrab> grab = X11KeyGrab::create(connection_, keys_);
    if (!connection_.isAlive()) return;
    if (grab) {
        grab_ = std::move(*grab);
        if (!wasBound) tellBound();
    } else if (wasBound) {
        tellLost(grab.error());
    }
}

void Listener::tellBound() {
    if (handlers_.bound) handlers_.bound(nameOf(keys_));
}

void Listener::tellLost(const Failure& why) {
    if (handlers_.lost) handlers_.lost(why);
}

class X11HotKeySource final : public HotKeySource {
  public:
    Result<void> listen(const KeyCombination& keys, HotKeyHandlers handlers) override;
    void stop() override { listener_.reset(); }

  private:
    // Kept from one combination to the next: only on the same connection is the old one certain to be
    // released before the new one is asked for.
    std::optional<X11Connection> connection_;
    std::unique_ptr<Listener> listener_;
};

Result<void> X11HotKeySource::listen(const KeyCombination& keys, HotKeyHandlers handlers) {
    stop();
    if (!connection_ || !connection_->isAlive()) {
        Result<X11Connection> connection = connectToX11();
        if (!connection) return std::unexpected(connection.error());
        connection_ = std::move(*connection);
    }
    Result<X11KeyGrab> grab = X11KeyGrab::create(*connection_, keys);
    if (!grab) return std::unexpected(grab.error());
    listener_ = std::make_unique<Listener>(*connection_, std::move(*grab), keys, std::move(handlers));
    return {};
}

} // namespace

std::unique_ptr<HotKeySource> createX11HotKeySource() {
    return std::make_unique<X11HotKeySource>();
}

} // namespace glintro
