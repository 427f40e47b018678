#include "app/player/SoundPlayback.h"

#include <algorithm>
#include <utility>

namespace glintro {
namespace {

// Longer than an output's buffer and the decoding after a seek take on a busy machine.
constexpr Seconds kLost = 1.5;

} // namespace

SoundPlayback::SoundPlayback(const OpenSoundOutput& openOutput, const std::filesystem::path& movie,
                             const TimeMap& map, Seconds compositionTime)
    : openOutput_(openOutput), sound_(std::make_shared<ReelSound>(movie, map)) {
    sound_->seek(compositionTime);
    openLine();
}

SoundPlayback::~SoundPlayback() {
    dropLine();
    // Its thread may be waiting for the disk.
    queue_.post([sound = std::move(sound_)]() mutable { sound = nullptr; });
}

void SoundPlayback::openLine() {
    if (!openOutput_) return;
    line_ = std::make_shared<Line>();
    queue_.post([open = openOutput_, line = line_, sound = sound_] {
        auto output = open();
        const bool plays =
            output && (*output)->start([sound](std::span<float> samples) { sound->fill(samples); });
        if (plays) line->output = *std::move(output);
        line->state = plays ? Line::State::playing : Line::State::failed;
    });
}

void SoundPlayback::dropLine() {
    if (!line_) return;
    queue_.post([line = std::exchange(line_, nullptr)]() mutable { line = nullptr; });
}

void SoundPlayback::play(Seconds hostTime) {
    if (line_ && line_->state == Line::State::failed) dropLine();
    if (!line_) openLine();
    lastMoved_ = hostTime;
    sound_->play();
}

std::optional<Seconds> SoundPlayback::heardTime(Seconds hostTime) {
    if (!isReady()) return std::nullopt;
    const Seconds heard = sound_->heardTime(line_->output->latency());
    if (std::exchange(lastHeard_, heard) != heard || !sound_->isPlaying()) lastMoved_ = hostTime;
    if (hostTime - lastMoved_ > kLost && !sound_->hasEnded()) {
        dropLine();
        return std::nullopt;
    }
    return heard;
}

} // namespace glintro
