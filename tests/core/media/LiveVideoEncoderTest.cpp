#include <algorithm>
#include <cmath>
#include <cstring>
#include <tuple>

#include <gtest/gtest.h>

#include "core/media/encode/LiveEncoderTrial.h"
#include "core/media/encode/LiveVideoEncoder.h"
#include "tests/support/Pictures.h"

namespace glintro {
namespace {

constexpr PixelSize kSize{320, 180};

PicturePtr pictureAt(int index) {
    return test::recording(kSize, [index](int x, int y) {
        return test::Rgb{(x + index * 5) % 256, y, ((x / 16 + y / 16 + index) % 2) * 200};
    });
}

double meanError(const AVFrame& frame, const Picture& picture) {
    double sum = 0;
    for (int y = 0; y < kSize.height; ++y) {
        for (int x = 0; x < kSize.width; ++x)
            sum += std::abs(frame.data[0][y * frame.linesize[0] + x] - picture.planes[0].row(y)[x]);
    }
    return sum / kSize.width / kSize.height;
}

// A stream being encoded and decoded again, packet by packet, as a player does it: with the description
// that a movie holds and nothing else.
class LiveStream {
  public:
    explicit LiveStream(LiveVideoEncoder& encoder) : encoder_(encoder) {
        const AVCodecContext& description = encoder.context();
        decoder_.reset(avcodec_alloc_context3(avcodec_find_decoder(description.codec_id)));
        const auto size = static_cast<std::size_t>(description.extradata_size);
        decoder_->extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(decoder_->extradata, description.extradata, size);
        decoder_->extradata_size = description.extradata_size;
        decoder_->flags |= AV_CODEC_FLAG_LOW_DELAY;
        decoder_->thread_count = 1;
        EXPECT_GE(avcodec_open2(decoder_.get(), nullptr, nullptr), 0);
    }

    // The mean error of the picture as decoded; negative when none came.
    double show(int index, std::int64_t time) {
        const PicturePtr picture = pictureAt(index);
        double error = -1;
        const auto decode = [&](AVPacket& packet) -> Result<void> {
            EXPECT_EQ(packet.pts, time);
            EXPECT_EQ(packet.dts, time);
            if ((packet.flags & AV_PKT_FLAG_KEY) != 0) keyTimes.push_back(packet.pts);
            EXPECT_GE(avcodec_send_packet(decoder_.get(), &packet), 0);
            const FramePtr frame = newFrame();
            if (avcodec_receive_frame(decoder_.get(), frame.get()) >= 0) error = meanError(*frame, *picture);
            return {};
        };
        const auto encoded = encoder_.encode(*picture, time, decode);
        EXPECT_TRUE(encoded) << encoded.error().detail;
        return error;
    }

    std::vector<std::int64_t> keyTimes;

  private:
    LiveVideoEncoder& encoder_;
    CodecPtr decoder_;
};

LiveVideoSettings settingsFor(VideoCodec codec) {
    return {kSize, 30, 4'000'000, codec, 2};
}

TEST(LiveVideoEncoderTest, EveryPictureComesOutAtOnceWheneverItComes) {
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        auto encoder = LiveVideoEncoder::create(settingsFor(codec));
        ASSERT_TRUE(encoder) << encoder.error().detail;
        LiveStream stream(**encoder);
        // Frames at full speed, a screen that stands still for seconds, and two pictures a tick apart.
        const std::vector<double> seconds = {0,   0.033, 0.066, 0.1, 1.1, 2.1, 3.1, 3.1 + 1.0 / 90000,
                                             3.2, 9.5,   9.6,   9.7, 11.7};
        for (std::size_t i = 0; i < seconds.size(); ++i) {
            const auto time = static_cast<std::int64_t>(std::lround(seconds[i] * 90000));
            const double error = stream.show(static_cast<int>(i), time);
            EXPECT_GE(error, 0) << "picture " << i << " by " << (*encoder)->name();
            EXPECT_LT(error, 4) << "picture " << i << " by " << (*encoder)->name();
        }
        for (const double at : seconds) {
            const auto time = static_cast<std::int64_t>(std::lround(at * 90000));
            const auto key = std::ranges::upper_bound(stream.keyTimes, time);
            ASSERT_NE(key, stream.keyTimes.begin());
            EXPECT_LE(time - *(key - 1), 2 * 90000) << "no key frame within two seconds of " << at;
        }
    }
}

TEST(LiveVideoEncoderTest, ADecoderFollowsDownTheWholeLadder) {
    std::vector<LiveEncoderRung> ladder = liveLadder(settingsFor(VideoCodec::h264));
    std::erase_if(ladder, [](const LiveEncoderRung& rung) { return rung.codec != "libx264"; });
    const auto rungs = ladder.size();
    auto encoder = LiveVideoEncoder::create(settingsFor(VideoCodec::h264), ladder);
    ASSERT_TRUE(encoder) << encoder.error().detail;
    LiveStream stream(**encoder);
    int index = 0;
    std::vector<std::int64_t> switches = {0};
    do {
        for (int i = 0; i < 5; ++i, ++index) {
            const double error = stream.show(index, index * 3000);
            EXPECT_GE(error, 0) << index << " by " << (*encoder)->name();
            EXPECT_LT(error, 4) << index << " by " << (*encoder)->name();
        }
        switches.push_back(index * 3000);
    } while ((*encoder)->stepDown());
    switches.pop_back();
    EXPECT_EQ(switches.size(), rungs);
    EXPECT_EQ(stream.keyTimes, switches);
    EXPECT_EQ((*encoder)->name(), "libx264 ultrafast");
}

// Encoders that stand for cards: both number their parameter sets 0, as cards do, and code differently.
TEST(LiveVideoEncoderTest, ADecoderFollowsFromACardToSoftwareThoughThereAreTwoCards) {
    const std::vector<LiveEncoderRung> ladder = {
        {.codec = "libx264", .preset = "veryfast", .parameterSetId = 0},
        {.codec = "libx264", .preset = "ultrafast", .parameterSetId = 0},
        {.codec = "libx264", .preset = "superfast", .parameterSetId = 1},
    };
    auto encoder = LiveVideoEncoder::create(settingsFor(VideoCodec::h264), ladder);
    ASSERT_TRUE(encoder) << encoder.error().detail;
    LiveStream stream(**encoder);
    for (int i = 0; i < 10; ++i) {
        if (i == 5) {
            EXPECT_TRUE((*encoder)->stepDown());
        }
        const double error = stream.show(i, i * 3000);
        EXPECT_GE(error, 0) << i << " by " << (*encoder)->name();
        EXPECT_LT(error, 4) << i << " by " << (*encoder)->name();
    }
    EXPECT_EQ((*encoder)->name(), "libx264 superfast");
    EXPECT_FALSE((*encoder)->stepDown());
}

TEST(LiveVideoEncoderTest, ATrialThatGoesWrongCostsOneRung) {
    const std::vector<LiveEncoderRung> ladder = {
        {.codec = "h264_card"},
        {.codec = "libx264", .preset = "slow"},
        {.codec = "libx264", .preset = "quick"},
        {.codec = "libx264", .preset = "quicker"},
        {.codec = "libx264", .preset = "quicker, sliced", .isReserve = true},
    };
    struct Row {
        std::vector<std::optional<double>> loads; // of the rungs, as far as one is asked
        std::string chosen;
    };
    for (const Row& row : {Row{{0.4}, "h264_card"}, Row{{0.6, 0.4, 0.3}, "libx264 quick"},
                           Row{{std::nullopt, 0.3}, "libx264 slow"}, Row{{9, 9, 0.1}, "libx264 quick"},
                           Row{{9, 9, 9}, "libx264 quicker"}}) {
        std::size_t asked = 0;
        const auto rungs = fastEnough(ladder, settingsFor(VideoCodec::h264),
                                      [&](const LiveEncoderRung&, const LiveVideoSettings&) {
                                          return asked < row.loads.size() ? row.loads[asked++] : 0.0;
                                      });
        EXPECT_EQ(rungs.front().name(), row.chosen);
        EXPECT_TRUE(rungs.back().isReserve);
        EXPECT_EQ(asked, row.loads.size());
    }
}

TEST(LiveVideoEncoderTest, WhatDoesNotOpenIsIgnored) {
    const LiveEncoderRung working{.codec = "libx264", .preset = "ultrafast", .parameterSetId = 3};
    const std::vector<std::vector<LiveEncoderRung>> ladders = {
        {{.codec = "an encoder that FFmpeg lacks"}, working},
        {{.codec = "h264_v4l2m2m"}, working},
        {{.codec = "h264_vaapi", .deviceType = "no such device"}, working},
        {working, {.codec = "an encoder that FFmpeg lacks"}},
    };
    for (const auto& ladder : ladders) {
        auto encoder = LiveVideoEncoder::create(settingsFor(VideoCodec::h264), ladder);
        ASSERT_TRUE(encoder) << encoder.error().detail;
        EXPECT_EQ((*encoder)->name(), working.name());
        EXPECT_FALSE((*encoder)->stepDown());
        LiveStream stream(**encoder);
        EXPECT_GE(stream.show(0, 0), 0);
    }
    EXPECT_FALSE(LiveVideoEncoder::create(settingsFor(VideoCodec::h264), {{.codec = "none"}}));
}

TEST(LiveVideoEncoderTest, RecordsH264WhereHevcIsOutOfReach) {
    for (const auto& [size, fps, codec] :
         {std::tuple(kSize, 30, VideoCodec::hevc), {{1920, 1080}, 2000, VideoCodec::h264}}) {
        const auto encoder = LiveVideoEncoder::create({size, fps, 8'000'000, VideoCodec::hevc, 2});
        ASSERT_TRUE(encoder) << encoder.error().detail;
        EXPECT_EQ((*encoder)->codec(), codec) << size.width;
        EXPECT_EQ((*encoder)->context().codec_id,
                  codec == VideoCodec::hevc ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264);
    }
}

} // namespace
} // namespace glintro
