#include "platform/linux/wayland/EvdevPresses.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>

#include "platform/HostClock.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

using KeyBits = std::array<unsigned long, KEY_CNT / (8 * sizeof(unsigned long)) + 1>;

bool has(const KeyBits& bits, unsigned key) {
    constexpr unsigned width = 8 * sizeof(unsigned long);
    return (bits[key / width] >> (key % width) & 1) != 0;
}

FileDescriptor openToRead(const fs::path& path) {
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

std::vector<fs::path> deviceFiles(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code ignored;
    for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        if (entry->path().filename().string().starts_with("event")) files.push_back(entry->path());
    }
    return files;
}

} // namespace

EvdevPresses::EvdevPresses(fs::path folder, Probe probe)
    : folder_(std::move(folder)), probe_(std::move(probe)) {}

EvdevPresses::~EvdevPresses() {
    stop();
}

bool EvdevPresses::canSee() const {
    for (const fs::path& file : deviceFiles(folder_)) {
        // Some devices, game pads for example, may be read by everyone.
        if (const FileDescriptor opened = openToRead(file); opened.isOpen() && probe_(opened.value()))
            return true;
    }
    return false;
}

Result<void> EvdevPresses::start(Handler pressed) {
    stop();
    changes_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    wakeUp_ = WakeUp();
    if (!changes_.isOpen() || !wakeUp_.isUsable()) {
        return failure("Too many files are open; close some programs and try again.", "inotify_init1", errno);
    }
    // A device may be read only once udev has given it to its group, after it was made.
    ::inotify_add_watch(changes_.value(), folder_.c_str(), IN_CREATE | IN_ATTRIB | IN_DELETE);
    pressed_ = std::move(pressed);
    thread_ = std::jthread([this](const std::stop_token& token) { run(token); });
    return {};
}

void EvdevPresses::stop() {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    wakeUp_.ring();
    thread_.join();
    sources_.clear();
}

void EvdevPresses::run(const std::stop_token& stop) {
    openNewDevices();
    while (!stop.stop_requested()) {
        std::vector<pollfd> waited = {{wakeUp_.descriptor(), POLLIN, 0}, {changes_.value(), POLLIN, 0}};
        for (const auto& [name, source] : sources_) waited.push_back({source.descriptor.value(), POLLIN, 0});
        ::poll(waited.data(), waited.size(), -1);
        std::erase_if(sources_, [&](const auto& entry) { return !readEvents(entry.second); });
        if (waited[1].revents != 0) {
            forgetChanges();
            openNewDevices();
        }
    }
}

void EvdevPresses::openNewDevices() {
    for (const fs::path& file : deviceFiles(folder_)) {
        const std::string name = file.filename().string();
        if (sources_.contains(name)) continue;
        FileDescriptor opened = openToRead(file);
        const auto device = opened.isOpen() ? probe_(opened.value()) : std::nullopt;
        if (device) sources_.emplace(name, Source{std::move(opened), *device});
    }
}

// False when the device is gone.
bool EvdevPresses::readEvents(const Source& source) {
    std::array<input_event, 64> events;
    while (true) {
        const ssize_t bytes = ::read(source.descriptor.value(), events.data(), sizeof events);
        if (bytes <= 0) return bytes < 0 && (errno == EAGAIN || errno == EINTR);
        for (std::size_t i = 0; i < static_cast<std::size_t>(bytes) / sizeof(input_event); ++i) {
            if (const auto press = pressOf(events[i], source.device)) pressed_(*press);
        }
    }
}

void EvdevPresses::forgetChanges() {
    std::array<char, 4096> ignored;
    while (::read(changes_.value(), ignored.data(), ignored.size()) > 0) {
    }
}

std::optional<EvdevPresses::Device> EvdevPresses::probeDevice(int descriptor) {
    KeyBits keys{};
    if (::ioctl(descriptor, EVIOCGBIT(EV_KEY, sizeof keys), keys.data()) < 0) return std::nullopt;
    int clock = CLOCK_MONOTONIC;
    ::ioctl(descriptor, EVIOCSCLOCKID, &clock);
    if (has(keys, BTN_TOOL_PEN)) return Device::pen;
    if (has(keys, BTN_LEFT)) return Device::mouse; // touchpads too; the pointer does not follow touch screens
    return std::nullopt;
}

std::optional<EvdevPresses::Press> EvdevPresses::pressOf(const input_event& event, Device device) {
    if (event.type != EV_KEY || event.value != 1) return std::nullopt; // 0 is the release, 2 a repetition
    const bool isPen = device == Device::pen;
    const bool isLeft = event.code == BTN_LEFT || (isPen && event.code == BTN_TOUCH);
    const bool isRight = event.code == BTN_RIGHT || (isPen && event.code == BTN_STYLUS);
    if (!isLeft && !isRight) return std::nullopt;
    const Seconds stamp =
        static_cast<double>(event.input_event_sec) + static_cast<double>(event.input_event_usec) * 1e-6;
    const Seconds now = hostTime();
    return Press{isLeft ? PointerPress::Button::left : PointerPress::Button::right,
                 std::abs(stamp - now) < 1 ? stamp : now};
}

} // namespace glintro
