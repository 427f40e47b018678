#include "core/export/MovieExport.h"

#include <algorithm>
#include <vector>

#include "core/export/FrameReporting.h"
#include "core/media/decode/AudioMix.h"
#include "core/media/encode/MovieWriter.h"

namespace glintro {
namespace {

constexpr std::size_t kAudioBlock = 4096;

// The sound of the reel, written as far as the picture has come.
class SoundTrack {
  public:
    static Result<std::unique_ptr<SoundTrack>> open(const ReelComposition& reel) {
        std::vector<AudioPiece> pieces;
        for (const TimeMap::Piece& piece : reel.map.pieces())
            pieces.push_back({piece.src0, piece.src1, piece.rate});
        auto mix = AudioMix::open(reel.audio, std::move(pieces));
        if (!mix) return std::unexpected(mix.error());
        return std::make_unique<SoundTrack>(*std::move(mix));
    }

    explicit SoundTrack(std::unique_ptr<AudioMix> mix)
        : mix_(std::move(mix)), block_(kAudioBlock * AudioMix::kChannels) {}

    // Writes all samples before a composition time.
    Result<void> writeUntil(Seconds compositionTime, MovieWriter& writer) {
        while (static_cast<double>(written_) < compositionTime * AudioMix::kSampleRate) {
            const auto samples = mix_->read(block_);
            if (!samples) return std::unexpected(samples.error());
            if (*samples == 0) return {};
            const auto count = static_cast<std::size_t>(*samples) * AudioMix::kChannels;
            if (auto result = writer.writeAudio(std::span(block_).first(count)); !result) return result;
            written_ += *samples;
        }
        return {};
    }

    Result<void> writeRest(MovieWriter& writer) {
        return writeUntil(static_cast<double>(mix_->length()) / AudioMix::kSampleRate, writer);
    }

  private:
    std::unique_ptr<AudioMix> mix_;
    std::vector<float> block_;
    std::int64_t written_ = 0;
};

} // namespace

std::int64_t movieBitRate(PixelSize canvas, int fps) {
    const double bits = static_cast<double>(canvas.width) * canvas.height * fps * 0.11;
    return std::max<std::int64_t>(static_cast<std::int64_t>(bits), 4'000'000);
}

Result<void> writeMovie(ReelComposition& reel, const FrameRenderer& renderer, PixelSize canvas,
                        const ExportRequest& request, const std::filesystem::path& file) {
    const int fps = request.options.fps;
    const std::int64_t total = frameCount(reel.map.compDuration(), fps);
    std::unique_ptr<SoundTrack> sound;
    if (reel.hasAudio) {
        auto opened = SoundTrack::open(reel);
        if (!opened) return std::unexpected(opened.error());
        sound = *std::move(opened);
    }
    auto writer = MovieWriter::create(
        file, {.size = canvas, .fps = fps, .bitRate = movieBitRate(canvas, fps), .keyFrameInterval = 2 * fps},
        sound ? std::optional(AudioTrackSettings{}) : std::nullopt);
    if (!writer) return std::unexpected(writer.error());

    const FrameJob job{
        reel, renderer, PixelLayout::yuv420, canvas, fps, total, drawingThreads(request.workers)};
    const auto write = [&](const Picture& picture, std::int64_t index, FrameChange) -> Result<void> {
        if (auto result = (*writer)->writeFrame(picture, index); !result) return result;
        reportFrame(request, picture, index + 1, total);
        return sound ? sound->writeUntil(static_cast<double>(index + 1) / fps, **writer) : Result<void>{};
    };
    if (auto result = pumpFrames(job, *request.cancel, write); !result) return result;
    if (sound)
        if (auto result = sound->writeRest(**writer); !result) return result;
    return (*writer)->finish();
}

} // namespace glintro
