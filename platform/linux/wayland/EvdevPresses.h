#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "core/base/Failure.h"
#include "core/base/FileDescriptor.h"
#include "core/base/Geometry.h"
#include "platform/PointerSource.h"
#include "platform/linux/WakeUp.h"

struct input_event;

namespace glintro {

// Presses of mouse buttons and pen tips, read from the kernel's input devices: the one place where a Wayland
// desktop lets them be seen, and only for who may read /dev/input. It knows no positions.
class EvdevPresses {
  public:
    struct Press {
        PointerPress::Button button = PointerPress::Button::left;
        Seconds hostTime = 0;
        bool operator==(const Press&) const = default;
    };
    using Handler = std::function<void(const Press&)>;

    enum class Device { mouse, pen };
    // What kind of device is open there; nothing when it is none that presses. Makes its times hostTime's.
    using Probe = std::function<std::optional<Device>(int descriptor)>;

    explicit EvdevPresses(std::filesystem::path folder = "/dev/input", Probe probe = probeDevice);
    ~EvdevPresses();

    // From then on `pressed` is called on a thread of this, for devices that are plugged in later too.
    [[nodiscard]] Result<void> start(Handler pressed);
    void stop();

    // Whether the user may read any device.
    bool canSee() const;

    static std::optional<Device> probeDevice(int descriptor);
    // The press that an event of such a device means, if any.
    static std::optional<Press> pressOf(const input_event& event, Device device);

  private:
    struct Source {
        FileDescriptor descriptor;
        Device device = Device::mouse;
    };

    void run(const std::stop_token& stop);
    void openNewDevices();
    bool readEvents(const Source& source);
    void forgetChanges();

    const std::filesystem::path folder_;
    const Probe probe_;
    Handler pressed_;
    std::map<std::string, Source> sources_; // by file name; used by the thread only
    FileDescriptor changes_;                // inotify on the folder
    WakeUp wakeUp_;
    std::jthread thread_;
};

} // namespace glintro
