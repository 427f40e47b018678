#include <algorithm>
#include <chrono>
#include <random>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "core/media/fragments/MovieSealing.h"
#include "tests/core/media/FileSizeLimit.h"
#include "tests/core/media/LiveTakes.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::probe;

// Complaints, too, if there are any.
std::string framesAsOthersDecode(const std::filesystem::path& file) {
    std::string frames =
        test::run({"ffprobe", "-v", "error", "-count_frames", "-select_streams", "v", "-show_entries",
                   "stream=nb_read_frames", "-of", "csv=p=0", file.string()});
    while (!frames.empty() && frames.back() == '\n') frames.pop_back();
    return frames;
}

TEST(LiveMovieWriter, ShowsEveryPictureAtItsTime) {
    const TemporaryFolder folder;
    struct Row {
        std::string name;
        VideoCodec codec;
        std::string tag;
        std::optional<AudioTrackSettings> sound;
    };
    const auto times = test::takeTimes(200);
    const Seconds end = times.back() + 1.7;
    for (const Row& row : {Row{"silent.mov", VideoCodec::h264, "avc1", {}},
                           Row{"sound.mov", VideoCodec::h264, "avc1", test::kTakeSound},
                           Row{"hevc.mov", VideoCodec::hevc, "hvc1", test::kTakeSound}}) {
        SCOPED_TRACE(row.name);
        const auto file = folder / row.name;
        auto writer = test::startTake(file, row.sound, row.codec);
        ASSERT_TRUE(writer);
        ASSERT_TRUE(test::writeTake(*writer, times, {}, row.sound.has_value()));
        ASSERT_TRUE(writer->finish(end));
        EXPECT_EQ(writer->progress().bytes, std::filesystem::file_size(file));
        EXPECT_NEAR(writer->progress().seconds, end, 1e-4);

        test::expectPictures(file, times, times.size());
        EXPECT_EQ(probe(file, "v", "codec_tag_string"), row.tag);
        EXPECT_EQ(probe(file, "v", "nb_frames"), "200");
        EXPECT_EQ(probe(file, "v", "start_pts"), "0");
        EXPECT_EQ(probe(file, "v", "duration_ts"), std::to_string(test::ticks(end)));
        EXPECT_EQ(probe(file, "a", "codec_name"), row.sound ? "aac" : "");
        const std::string flags =
            test::run({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=flags",
                       "-of", "csv=p=0", file.string()});
        EXPECT_GE(std::ranges::count(flags, 'K'), static_cast<int>(times.back() / 2));
        EXPECT_LT(std::ranges::count(flags, 'K'), 20);
        EXPECT_EQ(framesAsOthersDecode(file), "200");

        auto reader = MovieReader::open(file);
        ASSERT_TRUE(reader);
        EXPECT_NEAR((*reader)->properties().duration, end, 1e-4);
        std::mt19937 random(7);
        for (int i = 0; i < 20; ++i) {
            const std::size_t wanted = random() % times.size();
            const auto frame = (*reader)->frameAt(times[wanted]);
            ASSERT_TRUE(frame);
            EXPECT_EQ(test::numberOf(*frame->picture), wanted);
        }
    }
}

TEST(LiveMovieWriter, HoldsTheLastPictureUntilTheEnd) {
    const TemporaryFolder folder;
    struct Row {
        std::vector<Seconds> times;
        Seconds end;
        Seconds duration;
    };
    constexpr Seconds kTick = 1 / 90000.0;
    for (const Row& row : {Row{{0, 0.5}, 2, 2}, Row{{0, 0.5}, 0.2, 0.5 + kTick}, Row{{0}, 0.75, 0.75},
                           Row{{0}, 0, kTick}, Row{{0, 4000}, 8000, 8000}}) {
        const auto file = folder / "movie.mov";
        auto writer = test::startTake(file, {});
        ASSERT_TRUE(writer);
        ASSERT_TRUE(test::writeTake(*writer, row.times, {}, false));
        ASSERT_TRUE(writer->finish(row.end));
        EXPECT_NEAR(std::stod(probe(file, "v", "duration")), row.duration, 1e-5);
        test::expectPictures(file, row.times, row.times.size());
    }
}

TEST(LiveMovieWriter, HearsSoundWhenItWasMade) {
    const TemporaryFolder folder;
    const auto file = folder / "movie.mov";
    const auto times = test::takeTimes(200);
    const auto last = std::llround(times.back() * 48000);
    const std::vector<std::int64_t> clicks{0, 48000, 100'001, last - 9600};
    auto writer = test::startTake(file);
    ASSERT_TRUE(writer);
    ASSERT_TRUE(test::writeTake(*writer, times, clicks));
    ASSERT_TRUE(writer->finish(times.back() - 0.1));
    const Seconds length = times.back() + 1;
    test::expectClicks(test::soundOf(file, length), clicks);
    // As another program hears it.
    test::ffmpeg({"-i", file.string(), "-f", "f32le", "-ac", "1"}, folder / "sound.f32");
    const std::string bytes = test::contentOf(folder / "sound.f32");
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::copy_n(bytes.data(), samples.size() * sizeof(float), reinterpret_cast<char*>(samples.data()));
    test::expectClicks(samples, clicks);
    // All but the rest of one AAC packet ends with the movie.
    EXPECT_NEAR(static_cast<double>(samples.size()) / 48000, times.back() - 0.1, 1024.0 / 48000);
}

TEST(LiveMovieWriter, IsSilentWhereNoSoundCame) {
    const TemporaryFolder folder;
    const auto file = folder / "movie.mov";
    auto writer = test::startTake(file);
    ASSERT_TRUE(writer);
    const auto times = test::takeTimes(20);
    ASSERT_TRUE(test::writeTake(*writer, times, {}, false));
    ASSERT_TRUE(writer->finish(1));
    test::expectPictures(file, times, times.size());
    EXPECT_EQ(probe(file, "a", "codec_name"), "");
}

// On a still screen nothing comes that would push the picture before it to the disk.
TEST(LiveMovieWriter, BringsASinglePictureToTheDisk) {
    const TemporaryFolder folder;
    const auto file = folder / "movie.mov";
    auto writer = test::startTake(file, {});
    ASSERT_TRUE(writer);
    ASSERT_TRUE(writer->writeFrame(test::numbered(0).view(), 0));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (writer->progress().seconds == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_NEAR(writer->progress().seconds, 1 / 60.0, 0.001);
    EXPECT_EQ(writer->progress().bytes, std::filesystem::file_size(file));
    EXPECT_FALSE(sealMovie(file)) << "while it is being written";
    std::filesystem::copy_file(file, folder / "copy.mov");
    ASSERT_TRUE(sealMovie(folder / "copy.mov"));
    test::expectPictures(folder / "copy.mov", {0}, 1);
}

TEST(LiveMovieWriter, TakesPicturesAndSoundFromTwoThreads) {
    const TemporaryFolder folder;
    const auto file = folder / "movie.mov";
    const auto times = test::takeTimes(300);
    const std::vector<std::int64_t> clicks{24000, 192'000};
    auto writer = test::startTake(file);
    ASSERT_TRUE(writer);
    bool heard = true;
    std::thread sound([&] {
        const auto samples = std::llround(times.back() * 48000);
        for (std::int64_t at = 0; at < samples; at += 480)
            heard = heard && writer->writeAudio(test::clicks(at, 480, clicks)).has_value();
    });
    const auto written = test::writeTake(*writer, times, {}, false);
    while (writer->stepDown()) {
    }
    sound.join();
    ASSERT_TRUE(written && heard);
    ASSERT_TRUE(writer->finish(times.back()));
    test::expectPictures(file, times, times.size());
    test::expectClicks(test::soundOf(file, times.back()), clicks);
}

int parameterSetsOf(const std::filesystem::path& file) {
    auto movie = MovieFile::open(file, MovieFile::Probe::header);
    EXPECT_TRUE(movie);
    const AVCodecParameters& codec = *(*movie)->video().codecpar;
    return codec.extradata_size > 5 ? codec.extradata[5] & 31 : 0;
}

// All that may take over are described while the movie grows, for nobody knows yet which of them will.
TEST(LiveMovieWriter, DescribesTheEncodersThatWereUsedAndNoOther) {
    const TemporaryFolder folder;
    const auto times = test::takeTimes(40);
    for (const std::size_t change : {std::size_t{20}, times.size()}) {
        const auto file = folder / "movie.mov";
        auto writer = test::startTake(file, {});
        ASSERT_TRUE(writer);
        for (std::size_t i = 0; i < times.size(); ++i) {
            while (i == change && writer->stepDown()) {
            }
            ASSERT_TRUE(writer->writeFrame(test::numbered(static_cast<int>(i)).view(), times[i]));
        }
        ASSERT_TRUE(writer->finish(times.back() + 0.1));
        EXPECT_EQ(parameterSetsOf(file), change < times.size() ? 2 : 1);
        test::expectPictures(file, times, times.size());
    }
}

TEST(LiveMovieWriter, RefusesPicturesOutOfOrderAndGoesOn) {
    const TemporaryFolder folder;
    const auto file = folder / "movie.mov";
    auto writer = test::startTake(file, {});
    ASSERT_TRUE(writer);
    EXPECT_FALSE(writer->writeFrame(test::numbered(0).view(), 0.1));
    ASSERT_TRUE(writer->writeFrame(test::numbered(0).view(), 0));
    for (const Seconds time : {0.0, -1.0, std::nan(""), HUGE_VAL, 1e-7})
        EXPECT_FALSE(writer->writeFrame(test::numbered(9).view(), time)) << time;
    EXPECT_FALSE(writer->writeAudio(std::vector<float>(480)));
    ASSERT_TRUE(writer->writeFrame(test::numbered(1).view(), 0.5));
    ASSERT_TRUE(writer->finish(1));
    test::expectPictures(file, {0, 0.5}, 2);
}

TEST(LiveMovieWriter, SaysWhyAFileCannotBeWritten) {
    const TemporaryFolder folder;
    const LiveVideoSettings video{test::kTakeSize, 60, 1'000'000};
    const auto absent = LiveMovieWriter::create(folder / "absent/movie.mov", video, {});
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error().message, "The folder to write the movie into doesn’t exist.");
    const test::FileSizeLimit limit(100);
    const auto full = LiveMovieWriter::create(folder / "movie.mov", video, {});
    ASSERT_FALSE(full);
    EXPECT_EQ(full.error().nativeCode, EFBIG);
}

// A still screen for minutes: its many fragments are read one after the other.
TEST(LiveMovieWriter, ShowsThatTheSealingOfALongTakeGetsOn) {
    constexpr int kFragments = 300;
    const TemporaryFolder folder;
    auto writer = test::startTake(folder / "take.mov", std::nullopt);
    for (int i = 0; i < kFragments; ++i) ASSERT_TRUE(writer->writeFrame(test::numbered(i).view(), i));
    const std::int64_t before = writer->answeredAccesses();
    ASSERT_TRUE(writer->finish(kFragments));
    EXPECT_GE(writer->answeredAccesses(), before + kFragments);
}

std::size_t picturesBefore(const std::filesystem::path& file, std::uintmax_t position) {
    std::istringstream positions(test::run({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                                            "packet=pos", "-of", "csv=p=0", file.string()}));
    std::size_t count = 0;
    for (std::uintmax_t each = 0; positions >> each && each < position;) ++count;
    return count;
}

// Room for less and less of a take: what had room is a movie, at the latest once there is room again.
TEST(LiveMovieWriter, KeepsWhatHadRoomOnAFullDisk) {
    const TemporaryFolder folder;
    const auto times = test::takeTimes(200);
    std::unique_ptr<LiveMovieWriter> writer; // stays while the file is sealed again
    const auto record = [&](const std::filesystem::path& file, rlim_t room) {
        const test::FileSizeLimit limit(room);
        writer = test::startTake(file);
        auto written = test::writeTake(*writer, times);
        const auto finished = writer->finish(times.back() + 0.1);
        if (written) return finished;
        EXPECT_FALSE(finished);
        return written;
    };
    const auto whole = folder / "whole.mov";
    ASSERT_TRUE(record(whole, RLIM_INFINITY));
    const auto size = std::filesystem::file_size(whole);
    for (const auto room : {size - 1, size - 3000, size * 2 / 3, size / 3, std::uintmax_t{5000}}) {
        SCOPED_TRACE(room);
        const auto file = folder / "partial.mov";
        const auto recorded = record(file, room);
        ASSERT_FALSE(recorded);
        EXPECT_EQ(recorded.error().nativeCode, EFBIG);
        const auto sealed = sealMovie(file);
        ASSERT_TRUE(sealed) << sealed.error().message;
        const auto frames = std::stoul(probe(file, "v", "nb_frames"));
        ASSERT_LT(frames, times.size() + 1);
        test::expectPictures(file, times, frames);
        const auto inRoom = picturesBefore(whole, room);
        EXPECT_TRUE(frames == times.size() || times[frames] >= times[inRoom - 1] - 0.5) << frames;
    }
}

// A process that records as fast as it can and tells of every picture before it writes the next one.
bool recordAndReport(const std::filesystem::path& file, int reports) {
    auto writer = test::startTake(file);
    std::vector<Seconds> times = test::takeTimes(1000);
    std::int64_t heard = 0;
    for (int i = 0; writer && i < 1000; ++i) {
        const Seconds time = times[static_cast<std::size_t>(i)];
        const auto until = std::llround(time * 48000);
        if (!writer->writeFrame(test::numbered(i).view(), time)
            || !writer->writeAudio(test::clicks(heard, until - heard, {})))
            break;
        heard = until;
        const double report[2] = {time, writer->progress().seconds};
        if (::write(reports, report, sizeof report) != sizeof report) break;
    }
    ::pause();
    return false;
}

TEST(LiveMovieWriter, LosesAtMostTwoFragmentsWhenItsProcessIsKilled) {
    const TemporaryFolder folder;
    std::mt19937 random(11);
    const auto times = test::takeTimes(1000);
    for (int round = 0; round < 10; ++round) {
        const auto file = folder / ("take" + std::to_string(round) + ".mov");
        int pipe[2];
        ASSERT_EQ(::pipe(pipe), 0);
        test::ForkedProcess process([&] { return recordAndReport(file, pipe[1]); });
        ::close(pipe[1]);
        double report[2] = {0, 0};
        const auto killAfter = 40 + random() % 900;
        for (std::size_t seen = 0; ::read(pipe[0], report, sizeof report) == sizeof report;) {
            if (++seen == killAfter) process.signal(SIGKILL);
        }
        ::close(pipe[0]);
        ASSERT_TRUE(process.kill());

        const auto sealed = sealMovie(file);
        ASSERT_TRUE(sealed) << sealed.error().message;
        EXPECT_TRUE(sealed->hasAudio);
        EXPECT_GT(sealed->duration, report[0] - 1.1);
        EXPECT_GE(sealed->duration, report[1] - 1e-4);
        const auto frames = std::stoul(probe(file, "v", "nb_frames"));
        test::expectPictures(file, times, frames);
        EXPECT_GE(times[frames], report[0] - 1.1);
    }
}

} // namespace
} // namespace glintro
