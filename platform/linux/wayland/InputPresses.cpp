#include "platform/linux/wayland/InputPresses.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <libinput.h>
#include <libudev.h>
#include <linux/input-event-codes.h>
#include <poll.h>
#include <unistd.h>

#include "platform/HostClock.h"

namespace glintro {
namespace {

using Button = PointerPress::Button;

struct InputDeleter {
    void operator()(udev* handle) const { udev_unref(handle); }
    void operator()(libinput* handle) const { libinput_unref(handle); }
    void operator()(libinput_event* handle) const { libinput_event_destroy(handle); }
};
using InputEvent = std::unique_ptr<libinput_event, InputDeleter>;

constexpr Seconds kLatest = 15; // a stamp that is older is of another clock
constexpr const char* kLost =
    "Clicks are no longer seen, as the input devices can’t be read any more; start a new recording to have "
    "zooms placed at the clicks.";

// Read-only: nothing that is done here may change a device, its lamps for example.
int openDevice(const char* path, int flags, void*) {
    const int descriptor = ::open(path, (flags & ~O_ACCMODE) | O_RDONLY | O_CLOEXEC);
    return descriptor < 0 ? -errno : descriptor;
}

void closeDevice(int descriptor, void*) {
    ::close(descriptor);
}

constexpr libinput_interface kDeviceAccess{openDevice, closeDevice};

// All devices of the user's seat, as far as they may be read.
class InputContext {
  public:
    InputContext() : udev_(udev_new()) {
        if (udev_) context_.reset(libinput_udev_create_context(&kDeviceAccess, nullptr, udev_.get()));
        if (!context_) return;
        libinput_log_set_handler(context_.get(), nullptr);
        const char* seat = std::getenv("XDG_SEAT");
        if (libinput_udev_assign_seat(context_.get(), seat && *seat ? seat : "seat0") != 0) context_.reset();
    }

    libinput* get() const { return context_.get(); }

  private:
    std::unique_ptr<udev, InputDeleter> udev_;
    std::unique_ptr<libinput, InputDeleter> context_;
};

InputEvent nextEvent(libinput& context) {
    return InputEvent(libinput_get_event(&context));
}

bool canPress(libinput_device* device) {
    return libinput_device_has_capability(device, LIBINPUT_DEVICE_CAP_POINTER) != 0
           || libinput_device_has_capability(device, LIBINPUT_DEVICE_CAP_TABLET_TOOL) != 0;
}

void configure(libinput_device* device, const DesktopPointerSettings& desktop) {
    if (libinput_device_has_capability(device, LIBINPUT_DEVICE_CAP_POINTER) == 0) return;
    const bool isTouchpad = libinput_device_config_tap_get_finger_count(device) > 0;
    const PointerSettings settings =
        desktop.settingsOf({libinput_device_get_id_vendor(device), libinput_device_get_id_product(device),
                            libinput_device_get_name(device), isTouchpad});
    libinput_device_config_left_handed_set(device, settings.isLeftHanded ? 1 : 0);
    if (!isTouchpad) return;
    libinput_device_config_tap_set_enabled(
        device, settings.tapToClick ? LIBINPUT_CONFIG_TAP_ENABLED : LIBINPUT_CONFIG_TAP_DISABLED);
    if (settings.clickMethod == PointerSettings::ClickMethod::areas)
        libinput_device_config_click_set_method(device, LIBINPUT_CONFIG_CLICK_METHOD_BUTTON_AREAS);
    if (settings.clickMethod == PointerSettings::ClickMethod::fingers)
        libinput_device_config_click_set_method(device, LIBINPUT_CONFIG_CLICK_METHOD_CLICKFINGER);
}

InputPresses::Press press(Button button, std::uint64_t microseconds) {
    const Seconds stamp = static_cast<double>(microseconds) * 1e-6, now = hostTime();
    // On a busy machine they are read late, but their place in the recording is when they happened.
    const bool isOfThisClock = stamp <= now && now - stamp < kLatest;
    return {button, isOfThisClock ? stamp : now};
}

std::optional<InputPresses::Press> pressOf(libinput_event_pointer* event) {
    if (libinput_event_pointer_get_button_state(event) != LIBINPUT_BUTTON_STATE_PRESSED) return std::nullopt;
    const std::uint32_t code = libinput_event_pointer_get_button(event);
    if (code != BTN_LEFT && code != BTN_RIGHT) return std::nullopt;
    return press(code == BTN_LEFT ? Button::left : Button::right,
                 libinput_event_pointer_get_time_usec(event));
}

std::optional<InputPresses::Press> pressOf(libinput_event_tablet_tool* event, libinput_event_type type) {
    const std::uint64_t time = libinput_event_tablet_tool_get_time_usec(event);
    if (type == LIBINPUT_EVENT_TABLET_TOOL_TIP) {
        if (libinput_event_tablet_tool_get_tip_state(event) != LIBINPUT_TABLET_TOOL_TIP_DOWN)
            return std::nullopt;
        return press(Button::left, time);
    }
    const bool isPressed =
        libinput_event_tablet_tool_get_button_state(event) == LIBINPUT_BUTTON_STATE_PRESSED;
    if (!isPressed || libinput_event_tablet_tool_get_button(event) != BTN_STYLUS) return std::nullopt;
    return press(Button::right, time);
}

std::optional<InputPresses::Press> pressOf(libinput_event& event) {
    const libinput_event_type type = libinput_event_get_type(&event);
    if (type == LIBINPUT_EVENT_POINTER_BUTTON) return pressOf(libinput_event_get_pointer_event(&event));
    if (type == LIBINPUT_EVENT_TABLET_TOOL_TIP || type == LIBINPUT_EVENT_TABLET_TOOL_BUTTON)
        return pressOf(libinput_event_get_tablet_tool_event(&event), type);
    return std::nullopt;
}

} // namespace

Result<void> InputPresses::start(Handler pressed, WarningHandler warned) {
    stop();
    wakeUp_ = WakeUp();
    if (!wakeUp_.isUsable())
        return failure("Too many files are open; close some programs and try again.", "eventfd", errno);
    pressed_ = std::move(pressed);
    warned_ = std::move(warned);
    settings_ = DesktopPointerSettings::ofDesktop(); // slow, and events must not wait
    thread_ = std::jthread([this](const std::stop_token& token) { run(token); });
    return {};
}

void InputPresses::stop() {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    wakeUp_.ring();
    thread_.join();
}

bool InputPresses::canSee() {
    const InputContext context;
    if (context.get() == nullptr || libinput_dispatch(context.get()) != 0) return false;
    while (const InputEvent event = nextEvent(*context.get())) {
        if (libinput_event_get_type(event.get()) != LIBINPUT_EVENT_DEVICE_ADDED) continue;
        if (canPress(libinput_event_get_device(event.get()))) return true;
    }
    return false;
}

void InputPresses::run(const std::stop_token& stop) {
    const InputContext context;
    if (context.get() == nullptr) return;
    while (!stop.stop_requested()) {
        if (libinput_dispatch(context.get()) != 0) {
            if (warned_) warned_(kLost);
            return;
        }
        handleEvents(*context.get());
        pollfd waits[] = {{libinput_get_fd(context.get()), POLLIN, 0}, {wakeUp_.descriptor(), POLLIN, 0}};
        ::poll(waits, 2, -1);
    }
}

void InputPresses::handleEvents(libinput& context) {
    while (const InputEvent event = nextEvent(context)) {
        if (libinput_event_get_type(event.get()) == LIBINPUT_EVENT_DEVICE_ADDED)
            configure(libinput_event_get_device(event.get()), settings_);
        else if (const auto press = pressOf(*event))
            pressed_(*press);
    }
}

} // namespace glintro
