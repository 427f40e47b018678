#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "core/media/FFmpegHandles.h"
#include "core/media/decode/MovieFile.h"

namespace glintro {

// The first audio track of a movie as an endless line of 48 kHz stereo samples: sample n is heard n / 48000 s
// after the first frame is shown, and where the track has nothing (or the movie has no track) there is
// silence.
class SoundTrack {
  public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kChannels = 2;

    // Fails where the movie cannot be opened and where nothing of its sound can be decoded.
    [[nodiscard]] static Result<std::unique_ptr<SoundTrack>> open(const std::filesystem::path& file);

    // Fills `interleaved` from sample `position` on. Ascending positions decode once; others seek. Packets
    // that cannot be decoded are heard as silence.
    [[nodiscard]] Result<void> read(std::int64_t position, std::span<float> interleaved);

  private:
    // Samples without a gap.
    struct Run {
        std::int64_t start = 0;
        std::vector<float> samples = {};
        std::int64_t end() const { return start + static_cast<std::int64_t>(samples.size()) / kChannels; }
    };

    SoundTrack(std::unique_ptr<MovieFile> file, CodecPtr decoder)
        : file_(std::move(file)), decoder_(std::move(decoder)), packet_(newPacket()), frame_(newFrame()) {}

    [[nodiscard]] Result<void> tryOut();
    bool isNear(std::int64_t position) const;
    [[nodiscard]] Result<void> seek(std::int64_t position);
    [[nodiscard]] Result<void> decodeMore();
    [[nodiscard]] Result<void> feed();
    [[nodiscard]] Result<void> accept(const AVFrame& frame);
    [[nodiscard]] Result<void> prepareResampler(const AVFrame& frame);
    void appendResampled(const AVFrame* frame);
    std::int64_t samplePosition(const AVFrame& frame) const;

    std::unique_ptr<MovieFile> file_;
    CodecPtr decoder_; // null where the movie has no sound
    PacketPtr packet_;
    FramePtr frame_;
    ResamplerPtr resampler_;
    FramePtr resampledFrom_;      // the parameters that resampler_ was made for
    std::deque<Run> runs_;        // decoded and not yet read
    std::int64_t decodedEnd_ = 0; // position of the next sample that resampler_ gives
    std::int64_t position_ = 0;   // of the next sample to be read
    bool ended_ = false;
    int refused_ = 0; // packets in a row that could not be decoded
};

} // namespace glintro
