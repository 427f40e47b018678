// What the user's preferences do to the program's commands, and who may read what it makes.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "core/reel/TakeJournal.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class UserPreferences : public testing::Test {
  protected:
    void prefer(const std::string& values) const {
        fs::create_directories(home_ / "glintro");
        test::putFile(home_ / "glintro/glintro.ini", "[General]\n" + values);
    }
    ProgramCall call(std::vector<std::string> arguments) const {
        ProgramCall call{.arguments = std::move(arguments), .folder = work_.path()};
        call.environment = {{"XDG_CONFIG_HOME", home_.path()}, {"GLINTRO_LIBRARY_DIR", work_ / "library"}};
        return call;
    }

    TemporaryFolder home_;
    TemporaryFolder work_;
};

TEST_F(UserPreferences, SayWhereRenderedFilesGo) {
    tinyReel(work_ / "reel");
    const fs::path folder = work_ / "rendered/here";
    prefer("exportFolder=" + folder.string());
    EXPECT_EQ(runProgram(call({"render", "reel", "--short-side", "64"})).status, 0);
    EXPECT_EQ(runProgram(call({"still", "reel"})).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2);
    EXPECT_EQ(runProgram(call({"still", "reel", "-o", "named.png"})).status, 0);
    EXPECT_TRUE(fs::exists(work_ / "named.png"));
    prefer("exportFolder=not/absolute");
    EXPECT_EQ(runProgram(call({"still", "reel"})).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(work_.path()), {}), 4) << "in the current folder";
}

class UserPreferencesOnADesktop : public UserPreferences {
  protected:
    void SetUp() override {
        if (const auto why = test::XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        session_ = test::XSession::xvfb(320, 240, test::XSession::WindowManager::none);
    }
    json record(std::vector<std::string> options) const {
        options.insert(options.begin(), {"record", "--seconds", "1.5", "--json"});
        ProgramCall take = call(std::move(options));
        take.environment.insert(
            {{"DISPLAY", session_->display()}, {"WAYLAND_DISPLAY", ""}, {"PULSE_SERVER", "unix:/nowhere"}});
        const ProgramResult result = runProgram(take);
        EXPECT_EQ(result.status, 0) << result.error;
        return json::parse(result.out, nullptr, false);
    }

    std::unique_ptr<test::XSession> session_;
};

TEST_F(UserPreferencesOnADesktop, AreWhatANewTakeBeginsWith) {
    prefer("captureFPS=30\ndefaultAspect=1:1\ndefaultZoom=wrong");
    const json preferred = record({});
    EXPECT_EQ(preferred["fps"], 30);
    const auto reel = Project::load(preferred["folder"].get<std::string>());
    ASSERT_TRUE(reel);
    EXPECT_EQ(reel->info.settings.aspect, AspectRatio::square);
    EXPECT_EQ(record({"--fps", "60"})["fps"], 60) << "options win";
}

TEST_F(UserPreferencesOnADesktop, NobodyElseReadsANewTake) {
    const ::mode_t usual = ::umask(022);
    record({});
    record({"-o", "named/reel"});
    ::umask(usual);
    int files = 0;
    for (const char* made : {"library", "named/reel"}) {
        for (const auto& entry : fs::recursive_directory_iterator(work_ / made)) {
            const fs::perms others = fs::perms::group_all | fs::perms::others_all;
            EXPECT_EQ(entry.status().permissions() & others, fs::perms::none) << entry.path();
            files += entry.is_regular_file() ? 1 : 0;
        }
        EXPECT_EQ(fs::status(work_ / made).permissions(), fs::perms::owner_all) << made;
    }
    EXPECT_EQ(files, 6) << "raw.mov, events.json and project.json of both";
}

} // namespace
} // namespace glintro
