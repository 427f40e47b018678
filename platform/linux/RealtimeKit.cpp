#include "platform/linux/RealtimeKit.h"

#include <algorithm>
#include <cstdint>

#include "platform/linux/BusHandles.h"

namespace glintro {
namespace {

constexpr const char* kService = "org.freedesktop.RealtimeKit1";
constexpr const char* kPath = "/org/freedesktop/RealtimeKit1";
constexpr std::uint64_t kTimeout = 1'000'000; // microseconds

BusHandle connectToSystemBus() {
    sd_bus* opened = nullptr;
    if (sd_bus_open_system(&opened) < 0) return nullptr;
    BusHandle bus(opened);
    sd_bus_set_method_call_timeout(opened, kTimeout);
    return bus;
}

// The lowest nice value that the service grants; 0 when it does not answer.
std::int32_t lowestNice(sd_bus* bus) {
    std::int32_t lowest = 0;
    const int code =
        sd_bus_get_property_trivial(bus, kService, kPath, kService, "MinNiceLevel", nullptr, 'i', &lowest);
    return code < 0 ? 0 : lowest;
}

void ask(sd_bus* bus, pid_t thread, std::int32_t nice) {
    sd_bus_call_method(bus, kService, kPath, kService, "MakeThreadHighPriority", nullptr, nullptr, "ti",
                       static_cast<std::uint64_t>(thread), nice);
}

} // namespace

RealtimeKit::RealtimeKit() : thread_([this](const std::stop_token& stop) { run(stop); }) {}

RealtimeKit::~RealtimeKit() = default;

void RealtimeKit::raise(pid_t thread, int nice) {
    if (nice >= 0) return;
    const std::scoped_lock lock(mutex_);
    wishes_.push_back({thread, nice});
    changed_.notify_all();
}

void RealtimeKit::run(const std::stop_token& stop) {
    BusHandle bus;
    std::int32_t lowest = 0;
    bool hasAsked = false;
    while (true) {
        Wish wish;
        {
            std::unique_lock lock(mutex_);
            if (!changed_.wait(lock, stop, [this] { return !wishes_.empty(); })) return;
            wish = wishes_.front();
            wishes_.pop_front();
        }
        if (!hasAsked) {
            hasAsked = true;
            bus = connectToSystemBus();
            if (bus) lowest = lowestNice(bus.get());
        }
        if (lowest < 0) ask(bus.get(), wish.thread, std::max(wish.nice, lowest));
    }
}

} // namespace glintro
