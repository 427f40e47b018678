#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "app/player/SoundHistory.h"
#include "app/player/SoundRing.h"
#include "core/base/Failure.h"
#include "core/media/decode/AudioMix.h"
#include "core/timeline/TimeMap.h"

namespace glintro {

// The sound of a reel for a player: 48 kHz stereo, decoded ahead by a thread of its own into a ring that a
// sound output's callback reads.
//
//   setMap, seek, setRate, play, pause ──► decoding thread ──► ring ──► fill() ──► sound output
//   heardTime() ◄──────────────────────────────────────────────────────┘
//
// It is also the player's clock: what heardTime() answers moves on only with what was handed to the output,
// so the picture that follows it stays in sync across seeks, changes of rate, pauses and underruns. Nothing
// here waits for the disk or the decoder: a movie that is slow to open is silent until it is ready. Sound
// that cannot be read is replaced by silence, so that the clock runs on; failure() says why.
//
// An output that keeps running during a pause lets the sound of a seek be decoded by the time play() is
// called.
//
// fill() belongs to the output's thread; all else to one other thread. Stop the output before destroying
// this.
class ReelSound {
  public:
    // `movie` is the one with the reel's sound; none for a reel without. Starts paused at the reel's
    // beginning.
    ReelSound(std::optional<std::filesystem::path> movie, const TimeMap& map);
    ~ReelSound();
    ReelSound(const ReelSound&) = delete;
    ReelSound& operator=(const ReelSound&) = delete;

    void play();
    void pause();
    bool isPlaying() const { return isPlaying_.load(std::memory_order_relaxed); }

    // Plays on from a composition time. What was decoded for other times is never handed over after this.
    void seek(Seconds compositionTime);
    // Plays another cut of the same recording, from a time of its composition on.
    void setMap(const TimeMap& map, Seconds compositionTime);
    // How many times as fast as the reel itself, in kSlowest..kFastest, with its pitch kept. Goes on where it
    // is.
    void setRate(double rate);
    double rate() const { return rate_; }
    static constexpr double kSlowest = 0.25;
    static constexpr double kFastest = 8;

    // The composition time that is heard now through an output with this latency (SoundOutput::latency).
    // After a seek: the time sought, until its first sample is heard.
    Seconds heardTime(Seconds latency = 0) const;
    // Whether all samples were handed to the output.
    bool hasEnded() const;
    // Samples of silence, per channel, that were handed over because decoding was too slow. The wait for the
    // first sound after a seek or a change does not count.
    std::int64_t underruns() const { return underruns_.load(std::memory_order_relaxed); }
    // Why the sound, or the rest of it, is silent.
    std::optional<Failure> failure() const;

    // Fills all of the span with interleaved samples, silence where there is nothing to play. Never waits,
    // locks or allocates.
    void fill(std::span<float> interleaved) noexcept;

  private:
    // What the decoding thread is to do next; a newer order replaces an older one.
    struct Order {
        std::uint32_t generation = 0;
        std::vector<AudioPiece> pieces;
        Seconds compositionTime = 0;
        double rate = 1;
    };

    void orderFrom(Seconds compositionTime);
    void decode(const std::stop_token& stop);
    std::optional<Order> awaitWork(const std::stop_token& stop);
    void startOrder(Order order);
    void fillBlock(MixedBlock& block);
    void setFailure(const Failure& why);

    const MixedBlock* currentBlock() noexcept;
    bool mayStart(std::uint32_t generation) const noexcept;
    std::size_t handOver(const MixedBlock& block, std::span<float> interleaved) noexcept;
    void handSilence(std::span<float> interleaved) noexcept;

    // Of the thread that controls the player.
    std::vector<AudioPiece> pieces_;
    double rate_ = 1;
    std::uint32_t seekGeneration_ = 0; // of the last order that was not a mere change of rate
    Seconds sought_ = 0;               // where that one goes on

    // Between the controlling thread and the decoding thread.
    mutable std::mutex mutex_; // guards the two below
    std::optional<Order> order_;
    std::optional<Failure> failure_;
    std::condition_variable_any changed_;

    // Between all threads.
    std::atomic<std::uint32_t> wanted_ = 0; // the generation that may be handed over
    std::atomic<bool> isPlaying_ = false;
    std::atomic<std::int64_t> underruns_ = 0;
    std::atomic<std::uint32_t> decoded_ = 0; // the last generation that was decoded to its end
    std::atomic<std::uint32_t> ended_ = 0;   // the last generation that was handed over to its end
    SoundRing ring_;
    SoundHistory history_;

    // Of the output's thread.
    std::size_t offset_ = 0;              // samples of the ring's oldest block that were handed over
    SoundHistory::Moment next_;           // what the next sample stands for
    std::uint32_t startedGeneration_ = 0; // the last one of which anything was handed over

    // Of the decoding thread.
    std::optional<std::filesystem::path> movie_;
    std::unique_ptr<AudioMix> mix_;
    std::vector<AudioPiece> mixedPieces_; // as mix_ plays them, the rate included
    Order current_;
    bool isAtEnd_ = true;
    std::int64_t fadeIn_ =
        0; // samples of the current order handed to the ring so far, up to the fade's length

    std::jthread thread_; // last, so that it ends before what it uses is destroyed
};

} // namespace glintro
