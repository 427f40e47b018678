#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <unistd.h>

#include "platform/HostClock.h"
#include "platform/linux/wayland/InputPresses.h"
#include "platform/linux/wayland/PointerSettings.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Button = PointerPress::Button;
using test::ScopedEnvironment;
using test::waitUntil;

// What the kernel answers about a device: the bits of each kind of event, and the range of each axis.
struct DeviceKind {
    std::string name;
    std::string tag; // of udev
    std::vector<unsigned> properties;
    std::map<unsigned, std::vector<unsigned>> codes; // by type
    std::map<unsigned, std::pair<int, int>> axes;    // largest value, steps for each millimetre
};

const DeviceKind kMouse{"Test Mouse",
                        "ID_INPUT_MOUSE",
                        {},
                        {{EV_KEY, {BTN_LEFT, BTN_RIGHT, BTN_MIDDLE}}, {EV_REL, {REL_X, REL_Y}}},
                        {}};
const DeviceKind kTouchpad{
    "Test Touchpad",
    "ID_INPUT_TOUCHPAD",
    {INPUT_PROP_POINTER, INPUT_PROP_BUTTONPAD},
    {{EV_KEY, {BTN_LEFT, BTN_TOOL_FINGER, BTN_TOUCH, BTN_TOOL_DOUBLETAP}},
     {EV_ABS, {ABS_X, ABS_Y, ABS_MT_SLOT, ABS_MT_POSITION_X, ABS_MT_POSITION_Y, ABS_MT_TRACKING_ID}}},
    {{ABS_X, {1200, 12}},
     {ABS_Y, {800, 12}},
     {ABS_MT_SLOT, {4, 0}},
     {ABS_MT_POSITION_X, {1200, 12}},
     {ABS_MT_POSITION_Y, {800, 12}},
     {ABS_MT_TRACKING_ID, {65535, 0}}}};

std::string hexadecimal(const void* data, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i)
        text += fmt::format("{:02X}", static_cast<const std::uint8_t*>(data)[i]);
    return text;
}

std::string bitsOf(const std::vector<unsigned>& set, std::size_t bytes) {
    std::vector<std::uint8_t> bits(bytes);
    for (const unsigned bit : set) bits[bit / 8] |= static_cast<std::uint8_t>(1 << bit % 8);
    return hexadecimal(bits.data(), bytes);
}

// One device for umockdev. A moment is a time after the first one, in seconds, and the events at that time.
class InputDevice {
  public:
    using Event = std::tuple<unsigned, unsigned, int>; // type, code, value
    using Moments = std::vector<std::pair<double, std::vector<Event>>>;

    static void write(const fs::path& folder, int number, const DeviceKind& kind, const Moments& moments) {
        const fs::path file = folder / fmt::format("event{}", number);
        std::ofstream(file.string() + ".umockdev") << fmt::format(
            "P: /devices/platform/bus{0}/input/input{0}\nE: SUBSYSTEM=input\n"
            "E: PRODUCT=11/2/7/1b1\nE: ID_INPUT=1\nE: {1}=1\n\n"
            "P: /devices/platform/bus{0}/input/input{0}/event{0}\nN: input/event{0}\n"
            "E: DEVNAME=/dev/input/event{0}\nE: SUBSYSTEM=input\nE: MAJOR=13\nE: MINOR={0}\n"
            "E: ID_INPUT=1\nE: {1}=1\n",
            number, kind.tag);
        std::ofstream(file.string() + ".ioctl")
            << fmt::format("@DEV /dev/input/event{}\n", number) << answers(kind);
        std::ofstream(file.string() + ".events") << happenings(moments);
    }

  private:
    static std::string answers(const DeviceKind& kind) {
        const int version = EV_VERSION;
        const input_id id{BUS_I8042, 2, 7, 0x1b1};
        std::string name = kind.name;
        name.resize(255);
        std::string text = fmt::format(
            "EVIOCGVERSION 0 {}\nEVIOCGID 0 {}\nEVIOCGNAME {} {}\nEVIOCGPROP 8 {}\n",
            hexadecimal(&version, sizeof version), hexadecimal(&id, sizeof id), kind.name.size() + 1,
            hexadecimal(name.data(), name.size()), bitsOf(kind.properties, 8));
        const std::pair<unsigned, std::size_t> types[] = {{EV_KEY, 96}, {EV_REL, 8}, {EV_ABS, 8},
                                                          {EV_MSC, 8},  {EV_SW, 8},  {EV_LED, 8},
                                                          {EV_SND, 8},  {EV_FF, 16}};
        std::vector<unsigned> known{EV_SYN};
        for (const auto& [type, bytes] : types) {
            const auto codes = kind.codes.find(type);
            if (codes != kind.codes.end()) known.push_back(type);
            text += fmt::format(
                "EVIOCGBIT({}) {} {}\n", type, bytes,
                bitsOf(codes == kind.codes.end() ? std::vector<unsigned>() : codes->second, bytes));
        }
        text += fmt::format("EVIOCGBIT(0) 8 {}\nEVIOCGKEY 96 {}\nEVIOCGLED 8 {}\nEVIOCGSW 8 {}\n",
                            bitsOf(known, 8), bitsOf({}, 96), bitsOf({}, 8), bitsOf({}, 8));
        for (const auto& [axis, range] : kind.axes) {
            const input_absinfo info{0, 0, range.first, 0, 0, range.second};
            text += fmt::format("EVIOCGABS({}) 0 {}\n", axis, hexadecimal(&info, sizeof info));
        }
        return text;
    }

    // umockdev keeps the times, and the distances between them. Some seconds ahead: to a busy machine a tap
    // of the past is a finger that has been lying there.
    static std::string happenings(const Moments& moments) {
        const Seconds begin = hostTime() + 5;
        std::string text = fmt::format("E: {:.6f} 0000 0000 0\n", begin - 1);
        for (const auto& [after, events] : moments) {
            for (const auto& [type, code, value] : events)
                text += fmt::format("E: {:.6f} {:04x} {:04x} {}\n", begin + after, type, code, value);
            text += fmt::format("E: {:.6f} 0000 0000 0\n", begin + after);
        }
        return text;
    }
};

InputDevice::Moments tapsOfOneAndTwoFingers() {
    using Events = std::vector<InputDevice::Event>;
    const auto finger = [](int slot, int x) {
        return Events{{EV_ABS, ABS_MT_SLOT, slot},
                      {EV_ABS, ABS_MT_TRACKING_ID, 10 + slot},
                      {EV_ABS, ABS_MT_POSITION_X, x},
                      {EV_ABS, ABS_MT_POSITION_Y, 300}};
    };
    const auto lifted = [](int slot) {
        return Events{{EV_ABS, ABS_MT_SLOT, slot}, {EV_ABS, ABS_MT_TRACKING_ID, -1}};
    };
    const auto joined = [](std::initializer_list<Events> parts) {
        Events all;
        for (const Events& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    };
    return {
        {0, joined({finger(0, 400), {{EV_KEY, BTN_TOUCH, 1}, {EV_KEY, BTN_TOOL_FINGER, 1}}})},
        {0.05, joined({lifted(0), {{EV_KEY, BTN_TOUCH, 0}, {EV_KEY, BTN_TOOL_FINGER, 0}}})},
        {1,
         joined({finger(0, 400), finger(1, 700), {{EV_KEY, BTN_TOUCH, 1}, {EV_KEY, BTN_TOOL_DOUBLETAP, 1}}})},
        {1.05, joined({lifted(0), lifted(1), {{EV_KEY, BTN_TOUCH, 0}, {EV_KEY, BTN_TOOL_DOUBLETAP, 0}}})}};
}

// Runs the current test again where /dev/input holds the devices in the folder; there, runs the body.
template <class Body>
void amongInputDevices(const fs::path& folder, const std::vector<std::string>& environment, Body body) {
    if (std::getenv("STAGE") != nullptr) return body();
    if (::geteuid() != 0) GTEST_SKIP() << "Only root can make devices up.";
    if (!fs::exists("/usr/bin/umockdev-run")) GTEST_SKIP() << "No devices without umockdev-run.";
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string log = folder / "log";
    test::ChildProcess inner(
        {GLINTRO_TEST_SUPPORT "/input-devices.sh", folder.string(), fs::read_symlink("/proc/self/exe"),
         std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()},
        log, environment);
    const int status = inner.wait();
    std::stringstream said;
    said << std::ifstream(log).rdbuf();
    if (status == 77) GTEST_SKIP() << "This system allows no made-up devices.";
    EXPECT_EQ(status, 0) << said.str();
}

// The buttons pressed until half a second after as many as are expected.
std::vector<Button> pressesOf(std::size_t expected) {
    InputPresses presses;
    std::mutex mutex;
    std::vector<Button> seen;
    const Seconds begin = hostTime();
    EXPECT_TRUE(InputPresses::canSee());
    EXPECT_TRUE(presses.start([&](const InputPresses::Press& press) {
        const std::scoped_lock lock(mutex);
        seen.push_back(press.button);
        EXPECT_GE(press.hostTime, begin);
        EXPECT_LE(press.hostTime, hostTime() + 1);
    }));
    const auto hasSeen = [&](std::size_t count) {
        const std::scoped_lock lock(mutex);
        return seen.size() >= count;
    };
    EXPECT_TRUE(waitUntil([&] { return hasSeen(expected); }));
    EXPECT_FALSE(waitUntil([&] { return hasSeen(expected + 1); }, std::chrono::milliseconds(500)));
    presses.stop();
    return seen;
}

TEST(InputPresses, AreThoseOfMouseButtonsAndOfTapsWithOneAndTwoFingers) {
    const TemporaryFolder folder;
    InputDevice::write(folder.path(), 5, kTouchpad, tapsOfOneAndTwoFingers());
    InputDevice::write(folder.path(), 6, kMouse,
                       {{1.5, {{EV_KEY, BTN_MIDDLE, 1}}},
                        {1.55, {{EV_KEY, BTN_MIDDLE, 0}}},
                        {1.6, {{EV_REL, REL_X, 3}, {EV_KEY, BTN_LEFT, 1}}},
                        {1.7, {{EV_KEY, BTN_LEFT, 0}}}});
    amongInputDevices(folder.path(), {}, [] {
        EXPECT_EQ(pressesOf(3), (std::vector{Button::left, Button::right, Button::left}));
    });
}

TEST(InputPresses, AreNoTapsWhereTheDesktopHasSwitchedThemOff) {
    const TemporaryFolder folder;
    InputDevice::write(folder.path(), 5, kTouchpad, tapsOfOneAndTwoFingers());
    InputDevice::write(folder.path(), 6, kMouse,
                       {{1.5, {{EV_REL, REL_X, 3}, {EV_KEY, BTN_LEFT, 1}}}, {1.6, {{EV_KEY, BTN_LEFT, 0}}}});
    std::ofstream(folder / "kcminputrc") << "[Libinput][2][7][Test Touchpad]\nTapToClick=false\n"
                                            "[Libinput][2][7][Test Mouse]\nLeftHanded=true\n";
    amongInputDevices(
        folder.path(), {"XDG_CURRENT_DESKTOP=KDE", "XDG_CONFIG_HOME=" + folder.path().string()},
        [] { EXPECT_EQ(pressesOf(1), std::vector{Button::right}) << "the left-handed mouse's"; });
}

TEST(PointerSettings, AreThoseOfGnome) {
    const TemporaryFolder folder;
    const PointingDevice touchpad{1, 2, "Pad", true}, mouse{1, 2, "Mouse", false};
    const ScopedEnvironment desktop("XDG_CURRENT_DESKTOP", std::string("ubuntu:GNOME"));
    const ScopedEnvironment path("PATH", folder.path().string() + ":" + std::getenv("PATH"));
    std::ofstream(folder / "gsettings") << "#!/bin/sh\ncat \"$(dirname $0)/$2 $3\"\n";
    fs::permissions(folder / "gsettings", fs::perms::owner_all);
    EXPECT_EQ(DesktopPointerSettings::ofDesktop().settingsOf(touchpad), PointerSettings()) << "nothing known";
    const std::string peripherals = "org.gnome.desktop.peripherals.";
    const auto set = [&](const std::string& key, const std::string& value) {
        std::ofstream(folder / (peripherals + key)) << value << '\n';
    };
    set("mouse left-handed", "true");
    set("touchpad left-handed", "'right'");
    set("touchpad tap-to-click", "false");
    set("touchpad click-method", "'fingers'");
    const auto settings = DesktopPointerSettings::ofDesktop();
    EXPECT_EQ(settings.settingsOf(mouse), (PointerSettings{.isLeftHanded = true}));
    EXPECT_EQ(settings.settingsOf(touchpad),
              (PointerSettings{false, false, PointerSettings::ClickMethod::fingers}));
    set("touchpad left-handed", "'mouse'");
    EXPECT_TRUE(DesktopPointerSettings::ofDesktop().settingsOf(touchpad).isLeftHanded);
}

} // namespace
} // namespace glintro
