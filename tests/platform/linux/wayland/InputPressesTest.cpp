#include <cstdio>
#include <filesystem>
#include <fstream>
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
#include "tests/support/SharedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Button = PointerPress::Button;
using test::ScopedEnvironment;
using test::waitUntil;

using Event = std::tuple<unsigned, unsigned, int>; // type, code, value
// A time after the first one, in seconds, and the events at that time.
using Moments = std::vector<std::pair<double, std::vector<Event>>>;

enum class Device { touchpad = 5, mouse = 6 }; // as tests/support/input-devices describes them

// What happens to one device. umockdev keeps the times, and the distances between them. Some seconds ahead:
// to a busy machine a tap of the past is a finger that has been lying there.
void putDevice(const fs::path& folder, Device device, const Moments& moments) {
    const std::string name = fmt::format("event{}", static_cast<int>(device));
    for (const char* part : {".umockdev", ".ioctl"})
        fs::copy(fs::path(GLINTRO_TEST_SUPPORT) / "input-devices" / (name + part), folder);
    const Seconds begin = hostTime() + 5;
    std::ofstream events(folder / (name + ".events"));
    events << fmt::format("E: {:.6f} 0000 0000 0\n", begin - 1);
    for (const auto& [after, happened] : moments) {
        for (const auto& [type, code, value] : happened)
            events << fmt::format("E: {:.6f} {:04x} {:04x} {}\n", begin + after, type, code, value);
        events << fmt::format("E: {:.6f} 0000 0000 0\n", begin + after);
    }
}

Moments tapsOfOneAndTwoFingers() {
    using Events = std::vector<Event>;
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
    test::SharedLog<Button> seen;
    const Seconds begin = hostTime();
    EXPECT_TRUE(InputPresses::canSee());
    EXPECT_TRUE(presses.start([&](const InputPresses::Press& press) {
        seen.add(press.button);
        EXPECT_GE(press.hostTime, begin);
        EXPECT_LE(press.hostTime, hostTime() + 1);
    }));
    EXPECT_TRUE(waitUntil([&] { return seen.all().size() >= expected; }));
    EXPECT_FALSE(waitUntil([&] { return seen.all().size() > expected; }, std::chrono::milliseconds(500)));
    presses.stop();
    return seen.all();
}

TEST(InputPresses, AreThoseOfMouseButtonsAndOfTapsWithOneAndTwoFingers) {
    const TemporaryFolder folder;
    putDevice(folder.path(), Device::touchpad, tapsOfOneAndTwoFingers());
    putDevice(folder.path(), Device::mouse,
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
    putDevice(folder.path(), Device::touchpad, tapsOfOneAndTwoFingers());
    putDevice(folder.path(), Device::mouse,
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
