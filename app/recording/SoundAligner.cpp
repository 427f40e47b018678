#include "app/recording/SoundAligner.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace glintro {
namespace {

// Stamps stray by less than this from where they should be.
constexpr Seconds kStray = 0.015;
// So many samples tell where they belong, by their stamps together.
constexpr std::size_t kProof = kSoundRate / 10;

constexpr std::array<float, kSoundRate / 20> kSilence{};

std::int64_t samplesOf(Seconds duration) {
    return std::llround(duration * kSoundRate);
}

} // namespace

void SoundAligner::begin(Seconds hostTime, const PauseClock& pauses) {
    hasBegun_ = true;
    origin_ = hostTime;
    cutBefore_ = samplesOf(pauses.paused(hostTime));
}

void SoundAligner::add(const SoundBlock& block, const PauseClock& pauses) {
    if (!hasBegun_ || block.samples.empty()) return;
    const Seconds error = isRunning_ ? placementError(block.hostTime) : 0;
    if (!isRunning_ || std::abs(error) > kStray) return hold(block, pauses);
    drift_.observe(error, static_cast<double>(block.samples.size()) / kSoundRate);
    heldStarts_.clear();
    append(std::exchange(held_, {}), pauses);
    append(block.samples, pauses);
}

void SoundAligner::hold(const SoundBlock& block, const PauseClock& pauses) {
    const auto startBy = [&] { return block.hostTime - static_cast<double>(held_.size()) / kSoundRate; };
    // A gap right after the beginning.
    if (!isRunning_ && !held_.empty() && std::abs(startBy() - heldStarts_.front()) > 2 * kStray)
        placeHeld(pauses);
    heldStarts_.push_back(startBy());
    held_.insert(held_.end(), block.samples.begin(), block.samples.end());
    if (held_.size() >= kProof) placeHeld(pauses);
}

void SoundAligner::fillTo(Seconds hostTime, const PauseClock& pauses) {
    if (!hasBegun_ || lineIndex(hostTime) <= line_) return;
    if (!held_.empty()) placeHeld(pauses);
    endRun(pauses);
    deliverSilence(lineIndex(hostTime) - line_, pauses);
}

// How much later than where the run would place them the next samples were heard.
Seconds SoundAligner::placementError(Seconds hostTime) const {
    const double ahead = (run_.left() + static_cast<double>(held_.size())) / drift_.speed();
    return hostTime - origin_ - (static_cast<double>(line_) + ahead) / kSoundRate;
}

// The first sample that is heard no earlier than a time.
std::int64_t SoundAligner::lineIndex(Seconds hostTime) const {
    return static_cast<std::int64_t>(std::ceil((hostTime - origin_) * kSoundRate - 1e-3));
}

void SoundAligner::startRun(Seconds hostTime, const PauseClock& pauses) {
    const std::int64_t start = lineIndex(hostTime);
    if (start > line_) deliverSilence(start - line_, pauses);
    run_.restart(static_cast<std::size_t>(line_ - start));
    drift_.errorWasCorrected();
    isRunning_ = true;
}

void SoundAligner::endRun(const PauseClock& pauses) {
    if (!isRunning_) return;
    std::vector<float> samples;
    run_.drain(drift_.speed(), samples);
    deliver(samples, pauses);
    isRunning_ = false;
}

void SoundAligner::append(std::span<const float> samples, const PauseClock& pauses) {
    run_.append(samples);
    std::vector<float> read;
    run_.read(drift_.speed(), read);
    deliver(read, pauses);
}

// Begins a run with what is held, where most of its stamps say.
void SoundAligner::placeHeld(const PauseClock& pauses) {
    const auto middle = heldStarts_.begin() + static_cast<std::ptrdiff_t>(heldStarts_.size() / 2);
    std::ranges::nth_element(heldStarts_, middle);
    const Seconds start = *middle;
    heldStarts_.clear();
    const std::vector<float> samples = std::exchange(held_, {});
    endRun(pauses);
    startRun(start, pauses);
    append(samples, pauses);
}

void SoundAligner::deliverSilence(std::int64_t count, const PauseClock& pauses) {
    while (count > 0) {
        const auto part = std::min<std::int64_t>(count, kSilence.size());
        deliver(std::span(kSilence).first(static_cast<std::size_t>(part)), pauses);
        count -= part;
    }
}

// Goes on along the host clock, and keeps what lies outside the pauses. What is cut is rounded on the running
// total, so that the line stays with the picture however many pauses there are.
void SoundAligner::deliver(std::span<const float> samples, const PauseClock& pauses) {
    const std::int64_t begin = line_;
    const std::int64_t end = begin + static_cast<std::int64_t>(samples.size());
    line_ = end;
    std::int64_t at = begin;
    std::int64_t cut = 0;
    const auto keepUntil = [&](std::int64_t until) {
        if (until <= at) return;
        keep(samples.subspan(static_cast<std::size_t>(at - begin), static_cast<std::size_t>(until - at)),
             at - (cut - cutBefore_));
    };
    Seconds paused = 0;
    for (const PauseClock::Gap& gap : pauses.gaps) {
        const std::int64_t start = lineIndex(gap.start);
        keepUntil(std::min(end, start));
        if (start >= end) return;
        at = std::max(at, start);
        if (!gap.end) return;
        paused += *gap.end - gap.start;
        const std::int64_t resumed = start + samplesOf(paused) - cut;
        cut = samplesOf(paused);
        at = std::max(at, std::min(end, resumed));
    }
    keepUntil(end);
}

// Writes samples at their place. A pause that was reported late has let too many or too few through before.
void SoundAligner::keep(std::span<const float> samples, std::int64_t place) {
    if (place > written_) writeSilence(place - written_);
    const auto repeated = std::min(samples.size(), static_cast<std::size_t>(written_ - place));
    samples = samples.subspan(repeated);
    written_ += static_cast<std::int64_t>(samples.size());
    if (!samples.empty()) sink_(samples);
}

void SoundAligner::writeSilence(std::int64_t count) {
    written_ += count;
    while (count > 0) {
        const auto part = std::min<std::int64_t>(count, kSilence.size());
        sink_(std::span(kSilence).first(static_cast<std::size_t>(part)));
        count -= part;
    }
}

} // namespace glintro
