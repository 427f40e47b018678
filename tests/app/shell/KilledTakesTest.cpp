#include <algorithm>
#include <csignal>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/reel/Recovery.h"
#include "core/reel/TakeJournal.h"
#include "core/timeline/AutoZoom.h"
#include "platform/HostClock.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/SoundSession.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XWindow.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::SoundSession;
using test::waitUntil;
using test::XSession;

constexpr int kTakes = 50;
constexpr int kAtOnce = 5;
constexpr Seconds kLoss = 2;         // of a take, to a kill
constexpr Seconds kFirstClick = 0.5; // from when on a take certainly watches the pointer

// A window whose colour changes all the time, and a user who clicks on it.
class BusyUser {
  public:
    explicit BusyUser(XSession& session)
        : session_(session), window_(session.display(), 300, 300, 0, 0, true) {
        window_.show();
        working_ = std::jthread([this](const std::stop_token& stop) { work(stop); });
    }

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
    void work(const std::stop_token& stop) {
        for (std::uint32_t step = 0; !stop.stop_requested(); ++step) {
            window_.paint(step * 0x123457 & 0xffffff);
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
    test::XWindow window_;
    mutable std::mutex mutex_;
    std::vector<Click> clicks_;
    std::jthread working_;
};

// One take of the real program, in a process that is killed.
class KilledTake {
  public:
    KilledTake(fs::path folder, Seconds length, const std::vector<std::string>& more = {})
        : folder_(std::move(folder)), length_(length), program_(call(folder_, more)) {}

    // Kills the process once it is time to: whether that is done, or it has ended by itself.
    bool isOver() {
        if (killed_ > 0 || !program_.isRunning()) return true;
        if (firstFrame_ == 0) {
            const auto record = TakeJournal::read(folder_);
            if (record) firstFrame_ = record->firstFrameHost;
        }
        if (firstFrame_ == 0 || hostTime() < firstFrame_ + length_) return false;
        killed_ = hostTime();
        program_.send(SIGKILL);
        return true;
    }
    ProgramResult wait() { return program_.wait(); }
    // How many clicks were looked for.
    int expectRecovered(const std::vector<BusyUser::Click>& clicks) const;

    const fs::path& folder() const { return folder_; }

  private:
    static ProgramCall call(const fs::path& folder, const std::vector<std::string>& more) {
        ProgramCall record{
            .arguments = {"record", "--area", "0,0,300,300", "--fps", "30", "--mic", "-o", folder}};
        record.arguments.insert(record.arguments.end(), more.begin(), more.end());
        return record;
    }

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

// A desktop with a user, and some takes of it at the same time.
class KilledTakes : public testing::Test {
  protected:
    using Takes = std::vector<std::unique_ptr<KilledTake>>;

    void SetUp() override {
        if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        if (const auto why = SoundSession::missing(test::SoundServer::pulseAudio)) GTEST_SKIP() << *why;
        session_ = XSession::xvfb(640, 400, XSession::WindowManager::none);
        environment_ = std::make_unique<XSession::Environment>(*session_);
        sound_ = std::make_unique<SoundSession>(test::SoundServer::pulseAudio);
        user_ = std::make_unique<BusyUser>(*session_);
    }
    Seconds between(Seconds least, Seconds most) {
        return least + (most - least) * static_cast<double>(random_() % 1000) / 1000;
    }
    // Each take with the exit status that its process may have.
    void awaitKills(const Takes& takes, const std::vector<int>& statuses) const {
        ASSERT_TRUE(waitUntil(
            [&] {
                return std::ranges::count_if(takes, [](const auto& take) { return take->isOver(); })
                       == kAtOnce;
            },
            std::chrono::minutes(2)));
        for (const auto& take : takes) {
            const ProgramResult result = take->wait();
            EXPECT_TRUE(std::ranges::count(statuses, result.status)) << result.status << result.error;
        }
    }
    static ProgramResult recover(const Takes& takes) {
        std::vector<std::string> arguments{"recover"};
        for (const auto& take : takes)
            if (fs::exists(take->folder())) arguments.push_back(take->folder());
        return runProgram({.arguments = arguments});
    }

    std::unique_ptr<XSession> session_;
    std::unique_ptr<XSession::Environment> environment_;
    std::unique_ptr<SoundSession> sound_;
    std::unique_ptr<BusyUser> user_;
    TemporaryFolder home_;
    std::minstd_rand random_{std::random_device{}()};
};

TEST_F(KilledTakes, AreAllRecovered) {
    int looked = 0;
    for (int first = 0; first < kTakes; first += kAtOnce) {
        Takes takes;
        for (int i = first; i < first + kAtOnce; ++i)
            takes.push_back(std::make_unique<KilledTake>(home_ / fmt::format("take {}", i), between(0, 4)));
        ASSERT_NO_FATAL_FAILURE(awaitKills(takes, {128 + SIGKILL}));
        const ProgramResult recovered = recover(takes);
        EXPECT_EQ(recovered.status, 0) << recovered.error;
        for (const auto& take : takes) looked += take->expectRecovered(user_->clicks());
    }
    EXPECT_GT(looked, 0) << "no click was old enough to be looked for";
}

// The time is up after three seconds, and the kill hits the stop, or comes too late.
TEST_F(KilledTakes, AreRecoveredFromTheMiddleOfTheirStop) {
    for (int round = 0; round < 3; ++round) {
        Takes takes;
        for (int i = 0; i < kAtOnce; ++i)
            takes.push_back(std::make_unique<KilledTake>(home_ / fmt::format("take {}-{}", round, i),
                                                         between(2.95, 3.2),
                                                         std::vector<std::string>{"--seconds", "3"}));
        ASSERT_NO_FATAL_FAILURE(awaitKills(takes, {0, 128 + SIGKILL}));
        const ProgramResult recovered = recover(takes);
        EXPECT_EQ(recovered.status, 0) << recovered.error;
        for (const auto& take : takes) {
            const auto reel = Project::load(take->folder());
            ASSERT_TRUE(reel) << recovered.out;
            EXPECT_FALSE(needsRecovery(take->folder()));
            EXPECT_TRUE(readEvents(reel->eventsURL())) << "neither lost nor half";
            EXPECT_TRUE(reel->info.hasAudio);
            const auto clicks = reel->loadEvents().clicks;
            EXPECT_FALSE(clicks.empty());
            EXPECT_EQ(reel->info.settings.zooms.size(),
                      AutoZoom::segments(clicks, reel->info.duration, ReelDefaults().zoomLevel).size());
        }
    }
}

} // namespace
} // namespace glintro
