#include <algorithm>
#include <csignal>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include "core/reel/Recovery.h"
#include "core/reel/TakeJournal.h"
#include "platform/HostClock.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/SoundSession.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::SoundSession;
using test::waitUntil;
using test::XSession;

constexpr int kTakes = 50;
constexpr int kAtOnce = 5;
constexpr Seconds kLongestTake = 4;
constexpr Seconds kLoss = 2;         // of a take, to a kill
constexpr Seconds kFirstClick = 0.5; // in a take: from when on it certainly watches the pointer

// A window whose colour changes all the time, and a user who clicks on it.
class BusyUser {
  public:
    explicit BusyUser(XSession& session)
        : session_(session),
          connection_(test::connectTo(session.display())),
          window_(openWindow()),
          working_([this](const std::stop_token& stop) { work(stop); }) {}

    // Between which two host times each click happened.
    struct Click {
        Seconds before = 0;
        Seconds after = 0;
    };
    std::vector<Click> clicks() const {
        const std::scoped_lock guard(mutex_);
        return clicks_;
    }

  private:
    static constexpr std::uint16_t kSide = 300;

    xcb_window_t openWindow() const {
        const xcb_window_t window = xcb_generate_id(connection_.get());
        const std::uint32_t unmanaged = 1;
        xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window, test::rootOf(connection_.get()), 0,
                          0, kSide, kSide, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT, &unmanaged);
        xcb_map_window(connection_.get(), window);
        test::synchronise(connection_.get());
        return window;
    }
    void work(const std::stop_token& stop) {
        for (std::uint32_t step = 0; !stop.stop_requested(); ++step) {
            const std::uint32_t colour = step * 0x123457 & 0xffffff;
            xcb_change_window_attributes(connection_.get(), window_, XCB_CW_BACK_PIXEL, &colour);
            xcb_clear_area(connection_.get(), 0, window_, 0, 0, kSide, kSide);
            test::synchronise(connection_.get());
            if (step % 8 == 0) click(step);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    void click(std::uint32_t step) {
        session_.injector().move(static_cast<int>(20 + step % 200), 100);
        const Seconds before = hostTime();
        session_.injector().click(1);
        const std::scoped_lock guard(mutex_);
        clicks_.push_back({before, hostTime()});
    }

    XSession& session_;
    test::XConnection connection_;
    xcb_window_t window_;
    mutable std::mutex mutex_;
    std::vector<Click> clicks_;
    std::jthread working_;
};

// One take of the real program, in a process that is killed.
class KilledTake {
  public:
    KilledTake(fs::path folder, Seconds length)
        : folder_(std::move(folder)),
          length_(length),
          program_(ProgramCall{
              .arguments = {"record", "--area", "0,0,300,300", "--fps", "30", "--mic", "-o", folder_}}) {}

    bool isDue() {
        if (firstFrame_ == 0) {
            const auto record = TakeJournal::read(folder_);
            if (record) firstFrame_ = record->firstFrameHost;
        }
        return !program_.isRunning() || (firstFrame_ > 0 && hostTime() >= firstFrame_ + length_);
    }
    void kill() {
        ASSERT_TRUE(program_.isRunning()) << program_.wait().error;
        killed_ = hostTime();
        program_.send(SIGKILL);
        EXPECT_EQ(program_.wait().status, 128 + SIGKILL);
    }
    // How many clicks were looked for.
    int expectRecovered(const std::vector<BusyUser::Click>& clicks) const;

    const fs::path& folder() const { return folder_; }

  private:
    fs::path folder_;
    Seconds length_; // from the first picture to the kill
    Program program_;
    Seconds firstFrame_ = 0; // host times
    Seconds killed_ = 0;
};

// All that was there two seconds before the kill.
int KilledTake::expectRecovered(const std::vector<BusyUser::Click>& clicks) const {
    const Seconds lived = killed_ - firstFrame_;
    SCOPED_TRACE(fmt::format("{} killed after {:.3f} s", folder_.filename().string(), lived));
    const auto reel = Project::load(folder_);
    EXPECT_TRUE(reel || lived <= kLoss);
    if (!reel) return 0;
    EXPECT_GE(reel->info.duration, lived - kLoss);
    EXPECT_LE(reel->info.duration, lived + 1);
    EXPECT_TRUE(reel->info.hasAudio);
    EXPECT_FALSE(needsRecovery(folder_));
    const RecordingEvents events = reel->loadEvents();
    constexpr Seconds kClockStep = 0.02; // the server counts in milliseconds
    int looked = 0;
    for (const auto& [before, after] : clicks) {
        if (before < firstFrame_ + kFirstClick || after > killed_ - kLoss) continue;
        const auto isIt = [&, this](const EventSample& click) {
            const Seconds time = click.sourceTime() + firstFrame_;
            return before - kClockStep <= time && time <= after + kClockStep;
        };
        EXPECT_EQ(std::ranges::count_if(events.clicks, isIt), 1) << before - firstFrame_;
        ++looked;
    }
    return looked;
}

TEST(KilledTakes, AreAllRecovered) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    if (const auto why = SoundSession::missing(test::SoundServer::pulseAudio)) GTEST_SKIP() << *why;
    const auto session = XSession::xvfb(640, 400, XSession::WindowManager::none);
    const XSession::Environment environment(*session);
    const SoundSession sound(test::SoundServer::pulseAudio);
    const TemporaryFolder home;
    BusyUser user(*session);
    std::minstd_rand random(std::random_device{}());
    int looked = 0;

    for (int first = 0; first < kTakes; first += kAtOnce) {
        std::vector<std::unique_ptr<KilledTake>> takes;
        std::vector<std::string> recovery{"recover"};
        for (int i = first; i < first + kAtOnce; ++i) {
            const Seconds length = kLongestTake * static_cast<double>(random() % 1000) / 1000;
            takes.push_back(std::make_unique<KilledTake>(home / fmt::format("take {}", i), length));
            recovery.push_back(takes.back()->folder());
        }
        std::vector<KilledTake*> waiting;
        for (const auto& take : takes) waiting.push_back(take.get());
        ASSERT_TRUE(waitUntil(
            [&] {
                std::erase_if(waiting, [](KilledTake* take) {
                    if (!take->isDue()) return false;
                    take->kill();
                    return true;
                });
                return waiting.empty();
            },
            std::chrono::minutes(2)));
        const ProgramResult recovered = runProgram({.arguments = recovery});
        EXPECT_EQ(recovered.status, 0) << recovered.error;
        for (const auto& take : takes) looked += take->expectRecovered(user.clicks());
        for (const auto& take : takes) fs::remove_all(take->folder());
    }
    EXPECT_GT(looked, 0) << "no click was old enough to be looked for";
}

} // namespace
} // namespace glintro
