#include "app/player/ReelSound.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "core/export/AudioPieces.h"

namespace glintro {
namespace {

constexpr std::size_t kChannels = AudioMix::kChannels;
// How often a full ring is looked at: the output's thread must not wake this one up, as that may block.
constexpr std::chrono::milliseconds kPoll{20};
// Decoded before anything of it is heard, so that the beginning does not stutter: 40 ms.
constexpr std::uint64_t kBlocksAhead = 4;
// Long enough to take the crack out of sound that sets in at full strength: 2 ms.
constexpr std::int64_t kFadeIn = AudioMix::kSampleRate / 500;

// Also where the count of generations has begun again.
bool isOlder(std::uint32_t generation, std::uint32_t wanted) {
    return static_cast<std::int32_t>(generation - wanted) < 0;
}

std::vector<AudioPiece> atRate(std::vector<AudioPiece> pieces, double rate) {
    for (AudioPiece& piece : pieces) piece.rate *= rate;
    return pieces;
}

} // namespace

ReelSound::ReelSound(std::optional<std::filesystem::path> movie, const TimeMap& map)
    : pieces_(audioPieces(map)), movie_(std::move(movie)) {
    seek(0);
    thread_ = std::jthread([this](const std::stop_token& stop) { decode(stop); });
}

ReelSound::~ReelSound() = default;

// The controlling thread.

void ReelSound::play() {
    {
        // Without it, the decoding thread might miss this between looking and waiting.
        const std::scoped_lock guard(mutex_);
        isPlaying_.store(true, std::memory_order_relaxed);
    }
    changed_.notify_all();
}

void ReelSound::pause() {
    isPlaying_.store(false, std::memory_order_relaxed);
}

void ReelSound::seek(Seconds compositionTime) {
    seekGeneration_ = wanted_.load(std::memory_order_relaxed) + 1;
    sought_ = compositionTime;
    orderFrom(compositionTime);
}

void ReelSound::setMap(const TimeMap& map, Seconds compositionTime) {
    pieces_ = audioPieces(map);
    seek(compositionTime);
}

void ReelSound::setRate(double rate) {
    const double held = std::clamp(rate, kSlowest, kFastest);
    if (std::exchange(rate_, held) == held) return;
    // From the last moment handed over, not the one that is heard: what lies between is still to be heard.
    orderFrom(heardTime());
}

void ReelSound::orderFrom(Seconds compositionTime) {
    {
        const std::scoped_lock guard(mutex_);
        const std::uint32_t generation = wanted_.load(std::memory_order_relaxed) + 1;
        order_ = Order{generation, pieces_, compositionTime, rate_};
        wanted_.store(generation, std::memory_order_release);
    }
    changed_.notify_all();
}

Seconds ReelSound::heardTime(Seconds latency) const {
    const SoundHistory::Moment heard = history_.before(latency * AudioMix::kSampleRate);
    return heard.generation < seekGeneration_ ? sought_ : heard.compositionTime;
}

bool ReelSound::hasEnded() const {
    return ended_.load(std::memory_order_acquire) == wanted_.load(std::memory_order_relaxed);
}

std::optional<Failure> ReelSound::failure() const {
    const std::scoped_lock guard(mutex_);
    return failure_;
}

// The output's thread.

void ReelSound::fill(std::span<float> interleaved) noexcept {
    while (interleaved.size() >= kChannels) {
        const MixedBlock* block = currentBlock();
        if (!isPlaying_.load(std::memory_order_relaxed)) break;
        if (block == nullptr) {
            const std::uint32_t wanted = wanted_.load(std::memory_order_relaxed);
            if (startedGeneration_ == wanted && ended_.load(std::memory_order_relaxed) != wanted)
                underruns_.fetch_add(static_cast<std::int64_t>(interleaved.size() / kChannels),
                                     std::memory_order_relaxed);
            break;
        }
        interleaved = interleaved.subspan(handOver(*block, interleaved));
    }
    handSilence(interleaved);
}

// The block to go on with; what was decoded for an older order is dropped. A block of a newer order, given
// since `wanted` was read, waits for the next call: it must not be lost.
const MixedBlock* ReelSound::currentBlock() noexcept {
    const std::uint32_t wanted = wanted_.load(std::memory_order_acquire);
    const MixedBlock* block = ring_.toRead();
    while (block != nullptr && isOlder(block->generation, wanted)) {
        offset_ = 0;
        ring_.hasRead();
        block = ring_.toRead();
    }
    if (block == nullptr || block->generation != wanted) return nullptr;
    return startedGeneration_ == wanted || mayStart(wanted) ? block : nullptr;
}

// Whether enough of an order's sound has been decoded. The ring holds that of one order only.
bool ReelSound::mayStart(std::uint32_t generation) const noexcept {
    return ring_.readable() >= kBlocksAhead || decoded_.load(std::memory_order_acquire) == generation;
}

// Returns how many floats were written.
std::size_t ReelSound::handOver(const MixedBlock& block, std::span<float> interleaved) noexcept {
    const std::size_t left = static_cast<std::size_t>(block.count) - offset_;
    const std::size_t count = std::min(left, interleaved.size() / kChannels);
    std::copy_n(block.samples.begin() + static_cast<std::ptrdiff_t>(offset_ * kChannels), count * kChannels,
                interleaved.begin());
    const Seconds start = block.compositionTime + static_cast<double>(offset_) * block.step;
    startedGeneration_ = block.generation;
    history_.add(static_cast<std::int64_t>(count), {start, block.generation}, block.step);
    next_ = {start + static_cast<double>(count) * block.step, block.generation};
    offset_ += count;
    if (count == left) {
        if (block.isLast) ended_.store(block.generation, std::memory_order_release);
        offset_ = 0;
        ring_.hasRead();
    }
    return count * kChannels;
}

void ReelSound::handSilence(std::span<float> interleaved) noexcept {
    if (interleaved.empty()) return;
    std::ranges::fill(interleaved, 0.0F);
    history_.add(static_cast<std::int64_t>(interleaved.size() / kChannels), next_, 0);
}

// The decoding thread.

void ReelSound::decode(const std::stop_token& stop) {
    if (movie_) {
        auto opened = AudioMix::open(*movie_, {});
        if (opened)
            mix_ = *std::move(opened);
        else
            setFailure(opened.error());
    }
    if (!mix_) mix_ = AudioMix::silent({});
    while (!stop.stop_requested()) {
        if (auto order = awaitWork(stop)) startOrder(*std::move(order));
        MixedBlock* block = isAtEnd_ ? nullptr : ring_.toWrite();
        if (block == nullptr) continue;
        fillBlock(*block);
        ring_.wrote();
        if (isAtEnd_) decoded_.store(current_.generation, std::memory_order_release);
    }
}

// Returns when there is an order, which it hands out, or may be room in the ring.
std::optional<ReelSound::Order> ReelSound::awaitWork(const std::stop_token& stop) {
    std::unique_lock guard(mutex_);
    const auto hasWork = [this] { return order_.has_value(); };
    const bool isFull = isAtEnd_ || ring_.toWrite() == nullptr;
    if (isFull && isPlaying() && !isAtEnd_) {
        changed_.wait_for(guard, stop, kPoll, hasWork);
    } else if (isFull) {
        // Playing on makes room, without an order.
        changed_.wait(guard, stop, [&] { return hasWork() || (isPlaying() && !isAtEnd_); });
    }
    return std::exchange(order_, std::nullopt);
}

void ReelSound::startOrder(Order order) {
    current_ = std::move(order);
    mix_->setPieces(atRate(current_.pieces, current_.rate));
    mix_->seek(current_.compositionTime / current_.rate);
    isAtEnd_ = false;
    fadeIn_ = 0;
}

void ReelSound::fillBlock(MixedBlock& block) {
    const std::int64_t position = mix_->position();
    auto count = mix_->read(block.samples);
    if (!count) {
        setFailure(count.error());
        mix_->mute();
        mix_->seek(static_cast<Seconds>(position) / AudioMix::kSampleRate);
        count = mix_->read(block.samples);
    }
    block.generation = current_.generation;
    block.step = current_.rate / AudioMix::kSampleRate;
    block.compositionTime = static_cast<double>(position) * block.step;
    block.count = *count;
    block.isLast = isAtEnd_ = mix_->position() == mix_->length();
    for (std::int64_t i = 0; i < block.count && fadeIn_ < kFadeIn; ++i, ++fadeIn_) {
        const float gain = (static_cast<float>(fadeIn_) + 0.5F) / static_cast<float>(kFadeIn);
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            block.samples[static_cast<std::size_t>(i) * kChannels + channel] *= gain;
    }
}

void ReelSound::setFailure(const Failure& why) {
    const std::scoped_lock guard(mutex_);
    if (!failure_) failure_ = why;
}

} // namespace glintro
