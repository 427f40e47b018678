#include <algorithm>
#include <climits>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/AudioMix.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/encode/MovieWriter.h"
#include "tests/core/media/FileSizeLimit.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::probe;

// A grey picture, or one of noise that no encoder can predict.
enum class Content { plain, noise };

PicturePtr frame(PixelSize size, int luma, Content content = Content::plain) {
    static std::mt19937 random(5);
    PictureBuffer buffer(PixelLayout::yuv420, size);
    for (int i = 0; i < 3; ++i) {
        const MutablePlaneView plane = buffer.plane(i);
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                const auto noise = static_cast<int>(content == Content::noise ? random() % 64 : 0);
                plane.row(y)[x] = static_cast<std::uint8_t>(i == 0 ? luma + noise : 128);
            }
        }
    }
    return share(std::move(buffer));
}

std::unique_ptr<MovieWriter> mustCreate(const std::filesystem::path& file, const VideoTrackSettings& video,
                                        std::optional<AudioTrackSettings> audio = {}) {
    auto writer = MovieWriter::create(file, video, audio);
    EXPECT_TRUE(writer) << writer.error().message << writer.error().detail;
    return writer ? std::move(*writer) : nullptr;
}

std::vector<std::string> topLevelBoxes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::vector<std::string> boxes;
    unsigned char header[8];
    while (stream.read(reinterpret_cast<char*>(header), sizeof header)) {
        const unsigned size = header[0] << 24U | header[1] << 16U | header[2] << 8U | header[3];
        boxes.emplace_back(reinterpret_cast<char*>(header) + 4, 4);
        if (size < sizeof header) break;
        stream.seekg(static_cast<std::streamoff>(size) - 8, std::ios::cur);
    }
    return boxes;
}

TEST(MovieWriter, WritesWhatOtherProgramsExpectOfAMovie) {
    const TemporaryFolder folder;
    struct Row {
        std::string name;
        std::string format;
        PixelSize size;
        int fps;
    };
    for (const Row& row :
         {Row{"movie.mp4", "isom", {322, 182}, 60}, Row{"movie.mov", "qt  ", {64, 48}, 25}}) {
        SCOPED_TRACE(row.name);
        const auto file = folder / row.name;
        const int frames = row.fps * 5 / 2;
        auto writer = mustCreate(file, {row.size, row.fps, 2'000'000, 2 * row.fps}, AudioTrackSettings{});
        ASSERT_TRUE(writer);
        const std::vector<float> silence(static_cast<std::size_t>(2 * 48000 / row.fps));
        for (int i = 0; i < frames; ++i) {
            ASSERT_TRUE(writer->writeFrame(*frame(row.size, 40 + i), i));
            ASSERT_TRUE(writer->writeAudio(silence));
        }
        ASSERT_TRUE(writer->finish());

        const std::pair<std::string, std::string> video[] = {
            {"codec_name", "h264"},
            {"profile", "High"},
            {"pix_fmt", "yuv420p"},
            {"color_range", "tv"},
            {"color_space", "bt709"},
            {"color_transfer", "bt709"},
            {"color_primaries", "bt709"},
            {"chroma_location", "left"},
            {"sample_aspect_ratio", "1:1"},
            {"width", std::to_string(row.size.width)},
            {"start_time", "0.000000"},
            {"height", std::to_string(row.size.height)},
            {"duration", "2.480000"},
            {"r_frame_rate", std::to_string(row.fps) + "/1"},
            {"nb_frames", std::to_string(frames)},
        };
        for (const auto& [field, value] : video) {
            const bool isLength = field == "duration";
            const std::string expected =
                isLength ? std::to_string(static_cast<double>(frames) / row.fps) : value;
            EXPECT_EQ(probe(file, "v", field), expected) << field;
        }
        const std::pair<std::string, std::string> audio[] = {
            {"codec_name", "aac"}, {"sample_rate", "48000"}, {"channels", "2"}, {"start_time", "0.000000"}};
        for (const auto& [field, value] : audio) EXPECT_EQ(probe(file, "a", field), value) << field;
        EXPECT_NEAR(std::stod(probe(file, "a", "duration")), static_cast<double>(frames) / row.fps, 0.03);

        const auto boxes = topLevelBoxes(file);
        const auto index = std::ranges::find(boxes, "moov");
        const auto data = std::ranges::find(boxes, "mdat");
        EXPECT_TRUE(index < data && data != boxes.end());
        std::ifstream stream(file, std::ios::binary);
        std::string start(12, ' ');
        stream.read(start.data(), 12);
        EXPECT_EQ(start.substr(8), row.format);
    }
}

TEST(MovieWriter, KeepsToTheBitRateAndTheKeyFrameInterval) {
    const TemporaryFolder folder;
    const auto file = folder / "noise.mp4";
    constexpr std::int64_t kBitRate = 3'000'000;
    auto writer = mustCreate(file, {{320, 240}, 30, kBitRate, 60});
    ASSERT_TRUE(writer);
    for (int i = 0; i < 300; ++i) ASSERT_TRUE(writer->writeFrame(*frame({320, 240}, 60, Content::noise), i));
    ASSERT_TRUE(writer->finish());
    EXPECT_NEAR(std::stod(probe(file, "v", "bit_rate")), kBitRate, kBitRate * 0.1);

    std::istringstream packets(test::run({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                                          "packet=flags", "-of", "csv=p=0", file.string()}));
    int sinceKey = 60;
    for (std::string flags; std::getline(packets, flags);) {
        sinceKey = flags.starts_with('K') ? 1 : sinceKey + 1;
        ASSERT_LE(sinceKey, 60);
    }
}

TEST(MovieWriter, HoldsAFrameWhereIndexesAreLeftOut) {
    const TemporaryFolder folder;
    for (const std::string preset : {"ultrafast", "veryfast"}) {
        SCOPED_TRACE(preset);
        const auto file = folder / (preset + ".mp4");
        auto writer = mustCreate(file, {{64, 48}, 50, 1'000'000, 100, preset});
        ASSERT_TRUE(writer);
        const std::vector<int> written{0, 1, 2, 10, 11, 12, 13, 40, 41, 90};
        for (const int index : written)
            ASSERT_TRUE(writer->writeFrame(*frame({64, 48}, 40 + 2 * index), index));
        ASSERT_TRUE(writer->finish());

        auto reader = MovieReader::open(file);
        ASSERT_TRUE(reader);
        EXPECT_NEAR((*reader)->properties().duration, 91 / 50.0, 0.001);
        for (int index = 0; index < 91; ++index) {
            const int shown = *(std::ranges::upper_bound(written, index) - 1);
            const auto read = (*reader)->frameAt(index / 50.0);
            ASSERT_TRUE(read);
            EXPECT_NEAR(test::lumaAt(*read->picture, 0.5, 0.5), 40 + 2 * shown, 2) << index;
        }
    }
}

TEST(MovieWriter, RefusesPicturesThatDoNotFit) {
    const TemporaryFolder folder;
    auto writer = mustCreate(folder / "movie.mp4", {{64, 48}, 30, 1'000'000, 60});
    ASSERT_TRUE(writer);
    EXPECT_TRUE(writer->writeFrame(*frame({64, 48}, 50), 3));
    EXPECT_FALSE(writer->writeFrame(*frame({64, 48}, 50), 3));
    EXPECT_FALSE(writer->writeFrame(*frame({48, 64}, 50), 4));
    EXPECT_FALSE(writer->writeAudio(std::vector<float>(2)));
    EXPECT_FALSE(MovieWriter::create(folder / "odd.mp4", {{63, 48}, 30, 1'000'000, 60}, {}));
}

TEST(MovieWriter, NoticesAtTheLatestOnFinishThatTheFileCannotGrow) {
    const TemporaryFolder folder;
    const auto write = [&](const std::filesystem::path& file) -> Result<void> {
        auto writer = MovieWriter::create(file, {{160, 120}, 30, 2'000'000, 60}, {});
        if (!writer) return std::unexpected(writer.error());
        for (int i = 0; i < 60; ++i) {
            const auto written = (*writer)->writeFrame(*frame({160, 120}, 60, Content::noise), i);
            if (!written) return written;
        }
        return (*writer)->finish();
    };
    ASSERT_TRUE(write(folder / "whole.mp4"));
    const auto size = std::filesystem::file_size(folder / "whole.mp4");
    for (const auto room : {rlim_t{0}, rlim_t{100}, size / 3, size - 1000, size - 1}) {
        const test::FileSizeLimit limit(room);
        const auto written = write(folder / "partial.mp4");
        ASSERT_FALSE(written) << "with room for " << room << " of " << size;
        EXPECT_EQ(written.error().nativeCode, EFBIG);
        EXPECT_TRUE(written.error().message.starts_with("The movie is larger than the disk’s format allows"));
    }
}

TEST(MovieWriter, StopsFinishingWhenItIsCancelled) {
    const TemporaryFolder folder;
    const auto finishAfter = [&](int questions) {
        auto writer = MovieWriter::create(folder / "movie.mp4", {{320, 240}, 30, 20'000'000, 60}, {}).value();
        for (int i = 0; i < 90; ++i)
            EXPECT_TRUE(writer->writeFrame(*frame({320, 240}, 60, Content::noise), i));
        int asked = 0;
        const auto finished = writer->finish([&] { return asked++ >= questions; });
        EXPECT_TRUE(finished || finished.error().isCancelled());
        return std::pair(finished.has_value(), asked);
    };
    const auto [finished, questions] = finishAfter(INT_MAX);
    EXPECT_TRUE(finished);
    EXPECT_GT(questions, 50) << "while it encodes and while it moves the index";
    for (const int at : {0, 1, questions / 2, questions - 3}) EXPECT_FALSE(finishAfter(at).first) << at;
}

} // namespace
} // namespace glintro
