#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro::test {

inline std::string environmentOf(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// Runs the body of the current test inside a headless Wayland desktop of its own with a real ScreenCast
// portal. Mutter and the portal serve no root user and trust no foreign one, so the test program runs itself
// again there, for this one test; the outer run takes over its verdict. Skips, and says why, where no such
// desktop can be had. A program that the body runs is to be named as its companion: it is found there under
// the path in GLINTRO_TEST_COMPANION.
template <class Body>
void insideWaylandSession(Body body, const std::string& companion = {}) {
    if (environmentOf("GLINTRO_TEST_SESSION") == "wayland") return body();
    if (::geteuid() != 0) GTEST_SKIP() << "Only root can start a desktop as another user.";
    for (const char* program :
         {"/usr/bin/mutter", "/usr/libexec/xdg-desktop-portal-gnome", "/usr/bin/pipewire",
          "/usr/bin/wireplumber", "/usr/bin/dbus-run-session", "/usr/bin/gdbus"}) {
        if (!std::filesystem::exists(program)) GTEST_SKIP() << "No test desktop without " << program << ".";
    }
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test->test_suite_name()) + "." + test->name();
    const TemporaryFolder folder;
    const std::string log = folder / "log";
    ChildProcess session({GLINTRO_TEST_SUPPORT "/wayland-session.sh",
                          "/proc/" + std::to_string(::getpid()) + "/exe", "--gtest_filter=" + name},
                         log, {"COMPANION=" + companion});
    const int status = session.wait();
    std::stringstream said;
    said << std::ifstream(log).rdbuf();
    // A desktop that does not come up although all its programs are here is a fault as any other.
    EXPECT_EQ(status, 0) << said.str();
}

} // namespace glintro::test
