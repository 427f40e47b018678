// Takes of real desktops with real sound servers, held against what really happened.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/recording/LiveTake.h"
#include "core/media/decode/AudioMix.h"
#include "core/media/decode/MovieReader.h"
#include "core/reel/Finishing.h"
#include "platform/HostClock.h"
#include "platform/linux/LinuxPlatform.h"
#include "tests/app/recording/FolderLibrary.h"
#include "tests/support/FlashesAndClicks.h"
#include "tests/support/SharedLog.h"
#include "tests/support/SoundSession.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XSession.h"

namespace glintro::test {
namespace {

// The instants that the program has printed so far, in host time.
std::vector<Seconds> instantsIn(const std::filesystem::path& log) {
    std::ifstream lines(log);
    std::vector<Seconds> instants;
    for (std::string line; std::getline(lines, line);) instants.push_back(std::stod(line));
    return instants;
}

std::optional<Seconds> nearest(const std::vector<Seconds>& times, Seconds wanted) {
    const auto closest =
        std::ranges::min_element(times, {}, [wanted](Seconds time) { return std::abs(time - wanted); });
    return closest == times.end() ? std::nullopt : std::optional(*closest);
}

class WholeTakeTest : public testing::TestWithParam<SoundServer> {};

// One take with a pause in its middle. Each instant is a flash, a click of the button and a click in the
// microphone at once: the movie must show and sound, and the events must tell, the same.
TEST_P(WholeTakeTest, PictureSoundAndClicksMeetBeforeAndAfterAPause) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    if (const auto why = SoundSession::missing(GetParam())) GTEST_SKIP() << *why;
    const auto desktop = XSession::xvfb(1280, 720, XSession::WindowManager::none);
    const XSession::Environment environment(*desktop);
    SoundSession sound(GetParam());
    desktop->injector().move(320, 540);
    const TemporaryFolder folder;

    const auto platform = createLinuxPlatform();
    const auto content = platform->screen().content();
    ASSERT_TRUE(content) << content.error().message;
    ASSERT_FALSE(content->displays.empty());
    FolderLibrary library(folder.path());
    SharedLog<std::string> complaints;
    const auto complain = [&](const std::string& sentence) { complaints.add(sentence); };
    const TakeHandlers handlers{[&](const Failure& failure) { complain(failure.message); }, complain};
    auto take = LiveTake::prepare(
        {DisplayFilter{content->displays[0].id}, {.pixelSize = {}, .fps = 60, .mic = true}},
        {platform->screen(), platform->sound(), platform->cameras()}, library, handlers, {});
    ASSERT_TRUE(take) << take.error().message;
    const auto started = (*take)->start();
    ASSERT_TRUE(started) << started.error().message;

    const auto log = folder / "instants";
    const auto program = desktop->run({GLINTRO_FLASH_AND_CLICK, "12", "0.6", "micfeed"}, log.string());
    ASSERT_TRUE(waitUntil([&] { return instantsIn(log).size() >= 4; }));
    PauseClock pauses;
    pauses.pause(hostTime());
    (*take)->pause(pauses.gaps[0].start);
    const std::size_t before = instantsIn(log).size();
    ASSERT_TRUE(waitUntil([&] { return instantsIn(log).size() >= before + 2; }));
    pauses.resume(hostTime());
    (*take)->resume(*pauses.gaps[0].end);
    ASSERT_TRUE(waitUntil([&] { return !program->isRunning(); }));
    const auto reel = (*take)->finish(pauses);
    ASSERT_TRUE(reel) << reel.error().message;
    ASSERT_TRUE(*reel);
    EXPECT_EQ(complaints.all(), std::vector<std::string>());

    const RecordingEvents events = (*reel)->loadEvents();
    const std::vector<Seconds> flashes = flashesIn((*reel)->rawURL());
    const std::vector<Seconds> sounds = clicksIn((*reel)->rawURL(), events.duration);
    std::vector<Seconds> recorded; // in host time without the pauses
    for (const Seconds instant : instantsIn(log)) {
        if (const auto time = pauses.shifted(instant)) recorded.push_back(*time);
    }
    ASSERT_GE(recorded.size(), 6U);
    ASSERT_GE(events.clicks.size(), recorded.size());
    // The clock of the recording begins at its first frame, which only the recording knows.
    const Seconds origin = recorded.front() - events.clicks.front().sourceTime();
    std::vector<Seconds> clicks;
    for (const EventSample& click : events.clicks) clicks.push_back(click.sourceTime());
    for (const Seconds instant : recorded) {
        const Seconds time = instant - origin;
        const auto click = nearest(clicks, time);
        const auto flash = nearest(flashes, time);
        const auto heard = nearest(sounds, time);
        ASSERT_TRUE(click && flash && heard);
        EXPECT_NEAR(*click, time, 0.005);
        EXPECT_NEAR(*flash, time, 0.020);
        EXPECT_NEAR(*heard, *flash, 0.020) << "sound and picture";
        std::printf("click %+.1f ms, picture %+.1f ms, sound %+.1f ms\n", (*click - time) * 1000,
                    (*flash - time) * 1000, (*heard - time) * 1000);
    }
    for (const EventSample& click : events.clicks) {
        EXPECT_NEAR(click.position().x * 1280, 320, 0.5);
        EXPECT_NEAR(click.position().y * 720, 540, 0.5);
    }
}

INSTANTIATE_TEST_SUITE_P(Servers, WholeTakeTest,
                         testing::Values(SoundServer::pulseAudio, SoundServer::pipeWire),
                         [](const auto& server) { return std::string(nameOf(server.param)); });

} // namespace
} // namespace glintro::test
