#include <mutex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/stat.h>

#include "platform/HostClock.h"
#include "platform/linux/wayland/EvdevPresses.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

using Button = PointerPress::Button;
using Device = EvdevPresses::Device;
using test::waitUntil;

input_event keyEvent(unsigned code, int value, Seconds when) {
    input_event event{};
    event.input_event_sec = static_cast<long>(when);
    event.input_event_usec = static_cast<long>((when - static_cast<double>(static_cast<long>(when))) * 1e6);
    event.type = EV_KEY;
    event.code = static_cast<std::uint16_t>(code);
    event.value = value;
    return event;
}

TEST(EvdevPresses, TellsPressesFromAllElse) {
    const struct {
        unsigned code;
        int value;
        Device device;
        std::optional<Button> button;
    } rows[] = {{BTN_LEFT, 1, Device::mouse, Button::left},
                {BTN_RIGHT, 1, Device::mouse, Button::right},
                {BTN_LEFT, 0, Device::mouse, {}},
                {BTN_LEFT, 2, Device::mouse, {}},
                {BTN_MIDDLE, 1, Device::mouse, {}},
                {BTN_SIDE, 1, Device::mouse, {}},
                {BTN_TOUCH, 1, Device::mouse, {}}, // a finger resting on a touchpad
                {BTN_TOUCH, 1, Device::pen, Button::left},
                {BTN_STYLUS, 1, Device::pen, Button::right},
                {KEY_A, 1, Device::mouse, {}}};
    for (const auto& row : rows) {
        const auto press = EvdevPresses::pressOf(keyEvent(row.code, row.value, hostTime()), row.device);
        EXPECT_EQ(press ? std::optional(press->button) : std::nullopt, row.button)
            << row.code << " " << row.value;
    }
    input_event motion = keyEvent(BTN_LEFT, 1, hostTime());
    motion.type = EV_REL;
    EXPECT_FALSE(EvdevPresses::pressOf(motion, Device::mouse));
}

TEST(EvdevPresses, ATimeOfAnotherClockIsReplaced) {
    const Seconds now = hostTime();
    EXPECT_NEAR(EvdevPresses::pressOf(keyEvent(BTN_LEFT, 1, now - 0.25), Device::mouse)->hostTime, now - 0.25,
                1e-5);
    EXPECT_GE(EvdevPresses::pressOf(keyEvent(BTN_LEFT, 1, 1.7e9), Device::mouse)->hostTime, now);
}

// A named pipe stands for a device: what the kernel would write comes from the test.
class FakeDevice {
  public:
    explicit FakeDevice(const std::filesystem::path& path) {
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        pipe_ = FileDescriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    }
    void press(unsigned button) {
        for (const input_event& event : {keyEvent(button, 1, hostTime()), keyEvent(button, 0, hostTime())}) {
            EXPECT_EQ(::write(pipe_.value(), &event, sizeof event), static_cast<ssize_t>(sizeof event));
        }
    }

  private:
    FileDescriptor pipe_;
};

TEST(EvdevPresses, ReadsDevicesThatAreThereAndThatComeLater) {
    const TemporaryFolder folder;
    FakeDevice mouse(folder / "event0");
    EvdevPresses presses(folder.path(), [](int) { return Device::mouse; });
    EXPECT_TRUE(presses.canSee());
    std::mutex mutex;
    std::vector<Button> seen;
    const auto count = [&] {
        const std::scoped_lock lock(mutex);
        return seen.size();
    };
    ASSERT_TRUE(presses.start([&](const EvdevPresses::Press& press) {
        const std::scoped_lock lock(mutex);
        seen.push_back(press.button);
    }));
    mouse.press(BTN_LEFT);
    ASSERT_TRUE(waitUntil([&] { return count() == 1; }));
    FakeDevice other(folder / "event1");
    other.press(BTN_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return count() == 2; }));
    EXPECT_EQ(seen, (std::vector{Button::left, Button::right}));
    presses.stop();
    mouse.press(BTN_LEFT);
    EXPECT_EQ(count(), 2U);
}

TEST(EvdevPresses, SeesNothingWithoutPointingDevices) {
    const TemporaryFolder folder;
    EXPECT_FALSE(EvdevPresses(folder.path()).canSee());
    EXPECT_FALSE(EvdevPresses(folder / "missing").canSee());
    const FakeDevice gamePad(folder / "event0");
    EXPECT_FALSE(EvdevPresses(folder.path(), [](int) -> std::optional<Device> { return {}; }).canSee());
}

} // namespace
} // namespace glintro
