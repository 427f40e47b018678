#include "core/media/decode/AudioMix.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "core/media/decode/SoundTrack.h"
#include "core/media/decode/TimeStretch.h"

namespace glintro {
namespace {

static_assert(AudioMix::kSampleRate == SoundTrack::kSampleRate
              && AudioMix::kChannels == SoundTrack::kChannels);

// Long enough to hide the crack of a cut, too short to hear: 2 ms.
constexpr std::int64_t kFade = AudioMix::kSampleRate / 500;

// A piece on the samples of the mix.
struct LaidPiece {
    AudioPiece piece;
    std::int64_t first = 0;
    std::int64_t end = 0;
    std::int64_t sourceFirst() const { return std::llround(piece.start * AudioMix::kSampleRate); }
    std::int64_t sourceEnd() const { return std::llround(piece.end * AudioMix::kSampleRate); }
    bool isStretched() const { return piece.rate != 1; }
};

bool isPlayable(const AudioPiece& piece) {
    return std::isfinite(piece.start) && std::isfinite(piece.end) && piece.end > piece.start
           && std::isfinite(piece.rate) && piece.rate > 0;
}

// Pieces that simply go on are one, so that no joint is made between them.
std::vector<AudioPiece> joined(const std::vector<AudioPiece>& pieces) {
    std::vector<AudioPiece> result;
    for (const AudioPiece& piece : pieces) {
        if (!isPlayable(piece)) continue;
        const bool goesOn =
            !result.empty() && result.back().end == piece.start && result.back().rate == piece.rate;
        if (goesOn) {
            result.back().end = piece.end;
        } else {
            result.push_back(piece);
        }
    }
    return result;
}

std::vector<LaidPiece> lay(const std::vector<AudioPiece>& pieces) {
    std::vector<LaidPiece> result;
    Seconds total = 0;
    std::int64_t first = 0;
    for (const AudioPiece& piece : joined(pieces)) {
        total += (piece.end - piece.start) / piece.rate;
        const std::int64_t end = std::llround(total * AudioMix::kSampleRate);
        result.push_back({piece, first, end});
        first = end;
    }
    return result;
}

} // namespace

struct AudioMix::Impl {
    std::unique_ptr<SoundTrack> track; // null: all is silence
    std::vector<LaidPiece> pieces;
    std::size_t current = 0;            // index of the piece that holds the position
    std::int64_t position = 0;          // of the next sample
    std::optional<TimeStretch> stretch; // of the current piece, once some of it was read

    std::int64_t length() const { return pieces.empty() ? 0 : pieces.back().end; }
    void moveTo(std::int64_t sample);
    Result<void> readPiece(const LaidPiece& piece, std::span<float> samples);
    void fade(const LaidPiece& piece, std::span<float> samples) const;
};

void AudioMix::Impl::moveTo(std::int64_t sample) {
    position = std::clamp<std::int64_t>(sample, 0, length());
    const auto holder = std::ranges::upper_bound(pieces, position, {}, &LaidPiece::end);
    current = static_cast<std::size_t>(holder - pieces.begin());
    stretch.reset();
}

Result<void> AudioMix::Impl::readPiece(const LaidPiece& piece, std::span<float> samples) {
    if (!track) {
        std::ranges::fill(samples, 0.0F);
        return {};
    }
    if (!piece.isStretched()) return track->read(piece.sourceFirst() + (position - piece.first), samples);
    if (!stretch) {
        const std::int64_t start = piece.sourceFirst();
        auto input = [this, start](std::int64_t at, std::span<float> target) {
            return track->read(start + at, target);
        };
        stretch.emplace(std::move(input), piece.sourceEnd() - start, piece.piece.rate,
                        position - piece.first);
    }
    return stretch->read(samples);
}

// Towards the joints with other pieces; the mix's own beginning and end stay as they are.
void AudioMix::Impl::fade(const LaidPiece& piece, std::span<float> samples) const {
    const auto count = static_cast<std::int64_t>(samples.size()) / kChannels;
    for (std::int64_t i = 0; i < count; ++i) {
        const std::int64_t at = position + i;
        const std::int64_t fromStart = piece.first > 0 ? at - piece.first : kFade;
        const std::int64_t toEnd = piece.end < length() ? piece.end - 1 - at : kFade;
        const std::int64_t nearest = std::min(fromStart, toEnd);
        if (nearest >= kFade) continue;
        const float gain = (static_cast<float>(nearest) + 0.5F) / static_cast<float>(kFade);
        for (std::int64_t channel = 0; channel < kChannels; ++channel) {
            samples[static_cast<std::size_t>(i * kChannels + channel)] *= gain;
        }
    }
}

AudioMix::AudioMix(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AudioMix::~AudioMix() = default;

Result<std::unique_ptr<AudioMix>> AudioMix::open(const std::filesystem::path& file,
                                                 std::vector<AudioPiece> pieces) {
    auto track = SoundTrack::open(file);
    if (!track) return std::unexpected(track.error());
    auto mix = silent(std::move(pieces));
    mix->impl_->track = *std::move(track);
    return mix;
}

std::unique_ptr<AudioMix> AudioMix::silent(std::vector<AudioPiece> pieces) {
    std::unique_ptr<AudioMix> mix(new AudioMix(std::make_unique<Impl>()));
    mix->setPieces(std::move(pieces));
    return mix;
}

std::int64_t AudioMix::length() const {
    return impl_->length();
}

std::int64_t AudioMix::position() const {
    return impl_->position;
}

void AudioMix::setPieces(std::vector<AudioPiece> pieces) {
    impl_->pieces = lay(pieces);
    impl_->moveTo(0);
}

void AudioMix::seek(Seconds compositionTime) {
    const Seconds end = static_cast<Seconds>(length()) / kSampleRate;
    impl_->moveTo(std::llround(std::clamp(compositionTime, 0.0, end) * kSampleRate));
}

void AudioMix::mute() {
    impl_->track.reset();
    impl_->stretch.reset();
}

Result<int> AudioMix::read(std::span<float> interleaved) {
    Impl& mix = *impl_;
    const std::int64_t room = static_cast<std::int64_t>(interleaved.size()) / kChannels;
    const std::int64_t wanted = std::min(room, mix.length() - mix.position);
    for (std::int64_t done = 0; done < wanted;) {
        const LaidPiece& piece = mix.pieces[mix.current];
        if (mix.position == piece.end) {
            ++mix.current;
            mix.stretch.reset();
            continue;
        }
        const std::int64_t count = std::min(wanted - done, piece.end - mix.position);
        const std::span<float> part = interleaved.subspan(static_cast<std::size_t>(done * kChannels),
                                                          static_cast<std::size_t>(count * kChannels));
        if (auto read = mix.readPiece(piece, part); !read) return std::unexpected(read.error());
        mix.fade(piece, part);
        mix.position += count;
        done += count;
    }
    return static_cast<int>(wanted);
}

} // namespace glintro
