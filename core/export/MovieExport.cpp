#include "core/export/MovieExport.h"

#include <algorithm>
#include <vector>

#include "core/export/AudioPieces.h"
#include "core/export/FrameReporting.h"
#include "core/media/encode/MovieWriter.h"

namespace glintro {
namespace {

constexpr std::size_t kAudioBlock = 4096;

constexpr auto kNoSound = "The recording’s sound can’t be decoded, so the movie has none.";
constexpr auto kSoundEndsEarly =
    "Part of the recording’s sound can’t be read, so the movie is silent from there on.";

// The sound of the reel, written as far as the picture has come.
class ReelAudio {
  public:
    explicit ReelAudio(std::unique_ptr<AudioMix> mix)
        : mix_(std::move(mix)), block_(kAudioBlock * AudioMix::kChannels) {}

    // Writes all samples before a composition time.
    Result<void> writeUntil(Seconds compositionTime, MovieWriter& writer) {
        while (static_cast<double>(mix_->position()) < compositionTime * AudioMix::kSampleRate) {
            const std::span<const float> samples = readBlock();
            if (samples.empty()) return {};
            if (auto result = writer.writeAudio(samples); !result) return result;
        }
        return {};
    }

    Result<void> writeRest(MovieWriter& writer) {
        return writeUntil(static_cast<double>(mix_->length()) / AudioMix::kSampleRate, writer);
    }

    bool endedEarly() const { return endedEarly_; }

  private:
    // Empty at the end.
    std::span<const float> readBlock() {
        const std::int64_t position = mix_->position();
        auto samples = mix_->read(block_);
        if (!samples) {
            endedEarly_ = true;
            mix_->mute();
            mix_->seek(static_cast<Seconds>(position) / AudioMix::kSampleRate);
            samples = mix_->read(block_);
        }
        return std::span(block_).first(static_cast<std::size_t>(*samples) * AudioMix::kChannels);
    }

    std::unique_ptr<AudioMix> mix_;
    std::vector<float> block_;
    bool endedEarly_ = false;
};

// Null where the reel has no sound that can be decoded; the outcome says which of the two it is.
std::unique_ptr<ReelAudio> openAudio(const ReelComposition& reel, ExportOutcome& outcome) {
    if (!reel.hasAudio) return nullptr;
    auto mix = AudioMix::open(reel.audio, audioPieces(reel.map));
    if (mix) return std::make_unique<ReelAudio>(*std::move(mix));
    outcome.warnings.emplace_back(kNoSound);
    return nullptr;
}

} // namespace

std::int64_t movieBitRate(PixelSize canvas, int fps) {
    const double bits = static_cast<double>(canvas.width) * canvas.height * fps * 0.11;
    return std::max<std::int64_t>(static_cast<std::int64_t>(bits), 4'000'000);
}

Result<ExportOutcome> writeMovie(ReelComposition& reel, const FrameRenderer& renderer, PixelSize canvas,
                                 const ExportRequest& request, const std::filesystem::path& file) {
    const int fps = request.options.fps;
    const std::int64_t total = frameCount(reel.map.compDuration(), fps);
    ExportOutcome outcome;
    const std::unique_ptr<ReelAudio> audio = openAudio(reel, outcome);
    auto writer = MovieWriter::create(
        file, {.size = canvas, .fps = fps, .bitRate = movieBitRate(canvas, fps), .keyFrameInterval = 2 * fps},
        audio ? std::optional(AudioTrackSettings{}) : std::nullopt);
    if (!writer) return std::unexpected(writer.error());

    const FrameJob job{
        reel, renderer, PixelLayout::yuv420, canvas, fps, total, drawingThreads(request.workers)};
    const auto write = [&](const Picture& picture, std::int64_t index, FrameChange) -> Result<void> {
        if (auto result = (*writer)->writeFrame(picture, index); !result) return result;
        reportFrame(request, picture, index + 1, total);
        return audio ? audio->writeUntil(static_cast<double>(index + 1) / fps, **writer) : Result<void>{};
    };
    if (auto result = pumpFrames(job, *request.cancel, write); !result)
        return std::unexpected(result.error());
    if (audio) {
        if (auto result = audio->writeRest(**writer); !result) return std::unexpected(result.error());
        if (audio->endedEarly()) outcome.warnings.emplace_back(kSoundEndsEarly);
    }
    const auto isCancelled = [&] { return request.cancel->isCancelled(); };
    if (auto result = (*writer)->finish(isCancelled); !result) return std::unexpected(result.error());
    return outcome;
}

} // namespace glintro
