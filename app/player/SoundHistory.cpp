#include "app/player/SoundHistory.h"

#include <algorithm>
#include <cmath>

namespace glintro {
namespace {

constexpr Seconds kSameMoment = 1e-6;

Seconds momentIn(std::int64_t first, Seconds start, Seconds step, double sample) {
    return start + std::max(sample - static_cast<double>(first), 0.0) * step;
}

} // namespace

// A reader that sees any of these stores also sees the odd sequence before it, and so tries once more.
void SoundHistory::add(std::int64_t count, Moment start, Seconds step) {
    const std::uint64_t sequence = sequence_.load(std::memory_order_relaxed);
    sequence_.store(sequence + 1, std::memory_order_relaxed);
    const std::int64_t first = samples_.load(std::memory_order_relaxed);
    if (!continues(start, step)) {
        const std::uint64_t index = count_.load(std::memory_order_relaxed);
        SharedRun& run = runs_[index % kRuns];
        run.first.store(first, std::memory_order_release);
        run.compositionTime.store(start.compositionTime, std::memory_order_release);
        run.step.store(step, std::memory_order_release);
        run.generation.store(start.generation, std::memory_order_release);
        count_.store(index + 1, std::memory_order_release);
    }
    samples_.store(first + count, std::memory_order_release);
    sequence_.store(sequence + 2, std::memory_order_release);
}

bool SoundHistory::continues(Moment start, Seconds step) const {
    const std::uint64_t count = count_.load(std::memory_order_relaxed);
    if (count == 0) return false;
    const Run newest = load(count - 1);
    const auto sample = static_cast<double>(samples_.load(std::memory_order_relaxed));
    const Seconds expected = momentIn(newest.first, newest.start.compositionTime, newest.step, sample);
    return newest.start.generation == start.generation && newest.step == step
           && std::abs(expected - start.compositionTime) < kSameMoment;
}

SoundHistory::Run SoundHistory::load(std::uint64_t index) const {
    const SharedRun& run = runs_[index % kRuns];
    return {.first = run.first.load(std::memory_order_acquire),
            .start = {run.compositionTime.load(std::memory_order_acquire),
                      run.generation.load(std::memory_order_acquire)},
            .step = run.step.load(std::memory_order_acquire)};
}

SoundHistory::Moment SoundHistory::before(double ago) const {
    Moment found;
    while (!tryBefore(ago, found)) {
    }
    return found;
}

bool SoundHistory::tryBefore(double ago, Moment& found) const {
    const std::uint64_t sequence = sequence_.load(std::memory_order_acquire);
    if (sequence % 2 != 0) return false;
    const double sample = static_cast<double>(samples_.load(std::memory_order_acquire)) - ago;
    const std::uint64_t count = count_.load(std::memory_order_acquire);
    found = {};
    for (std::uint64_t index = count; index-- > 0 && count - index <= kRuns;) {
        const Run run = load(index);
        found = {momentIn(run.first, run.start.compositionTime, run.step, sample), run.start.generation};
        if (static_cast<double>(run.first) <= sample) break;
    }
    return sequence_.load(std::memory_order_relaxed) == sequence;
}

} // namespace glintro
