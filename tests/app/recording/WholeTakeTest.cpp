// Takes of real desktops with real sound servers, held against what really happened.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <mutex>
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

// The frames of a movie that begin a white flash.
std::vector<Seconds> flashesOf(const std::filesystem::path& movie) {
    auto reader = MovieReader::open(movie);
    if (!reader) return {};
    std::vector<Seconds> flashes;
    bool wasWhite = false;
    for (Seconds time = 0; time < (*reader)->properties().duration; time += 1.0 / 240) {
        const auto frame = (*reader)->frameAt(time);
        if (!frame) break;
        const PlaneView luma = frame->picture->planes[0];
        const bool isWhite = luma.row(luma.height / 2)[luma.width / 2] > 128;
        if (isWhite && !wasWhite) flashes.push_back(frame->time);
        wasWhite = isWhite;
    }
    return flashes;
}

std::vector<Seconds> soundsOf(const std::filesystem::path& movie, Seconds duration) {
    auto mix = AudioMix::open(movie, {{0, duration, 1}});
    if (!mix) return {};
    std::vector<Seconds> sounds;
    std::vector<float> block(std::size_t{4800} * AudioMix::kChannels);
    std::int64_t position = 0;
    Seconds quietSince = -1;
    while (const int count = (*mix)->read(block).value_or(0)) {
        for (int i = 0; i < count; ++i) {
            const Seconds time = static_cast<double>(position + i) / AudioMix::kSampleRate;
            if (std::abs(block[static_cast<std::size_t>(i) * AudioMix::kChannels]) < 0.2F) continue;
            if (time - quietSince > 0.1) sounds.push_back(time);
            quietSince = time;
        }
        position += count;
    }
    return sounds;
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
    std::mutex complaining; // a take does so on its own threads
    std::vector<std::string> complaints;
    const auto complain = [&](const std::string& sentence) {
        const std::scoped_lock lock(complaining);
        complaints.push_back(sentence);
    };
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
    EXPECT_TRUE(complaints.empty()) << complaints.front();

    const RecordingEvents events = (*reel)->loadEvents();
    const std::vector<Seconds> flashes = flashesOf((*reel)->rawURL());
    const std::vector<Seconds> sounds = soundsOf((*reel)->rawURL(), events.duration);
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
