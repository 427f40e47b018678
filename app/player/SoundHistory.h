#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "core/base/Geometry.h"

namespace glintro {

// Remembers which moments of a reel were handed to a sound output, so that one can tell what is heard now: an
// output asks for samples ahead of time, so seeks, pauses and gaps take effect a little later than they are
// handed over. One thread adds, without ever waiting; any thread asks.
class SoundHistory {
  public:
    struct Moment {
        Seconds compositionTime = 0;
        std::uint32_t generation = 0;
    };

    // `count` more samples were handed over: the first one stands for `start`, each later one for `step` more
    // composition time. Silence in place of sound has a step of 0.
    void add(std::int64_t count, Moment start, Seconds step);

    // What the sample `ago` samples before the next one stands for; 0 is the next one itself. Sixteen changes
    // are remembered: for a sample before them it answers the oldest moment known.
    Moment before(double ago) const;

  private:
    static constexpr std::size_t kRuns = 16;

    // Samples that follow one another evenly, from number `first` on.
    struct Run {
        std::int64_t first = 0;
        Moment start;
        Seconds step = 0;
    };
    // The same, readable while it is being changed: sequence_ tells whether that happened.
    struct SharedRun {
        std::atomic<std::int64_t> first = 0;
        std::atomic<Seconds> compositionTime = 0;
        std::atomic<Seconds> step = 0;
        std::atomic<std::uint32_t> generation = 0;
    };

    bool continues(Moment start, Seconds step) const;
    Run load(std::uint64_t index) const;
    bool tryBefore(double ago, Moment& found) const;

    std::array<SharedRun, kRuns> runs_;
    std::atomic<std::uint64_t> count_ = 0;    // runs added so far; the newest is at (count_ - 1) % kRuns
    std::atomic<std::int64_t> samples_ = 0;   // handed over so far
    std::atomic<std::uint64_t> sequence_ = 0; // odd while a change is under way
    static_assert(std::atomic<Seconds>::is_always_lock_free);
};

} // namespace glintro
