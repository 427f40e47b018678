#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "app/recording/DriftControl.h"
#include "app/recording/SampleStretcher.h"
#include "core/timeline/PauseClock.h"
#include "platform/Sound.h"

namespace glintro {

// Turns a microphone's blocks into continuous sound: sample n is heard n / kSoundRate seconds after the
// start, on the host clock with the pauses cut out. Mono float samples. One thread at a time.
//
//   blocks    |--a--||--b--|   (lost)   |--c--||--d--|
//   host      |--a--b-------  silence ---c--|=== pause ===|---d--|
//   written   |--a--b-------  silence ---c--|---d--|
//
// The device's clock runs a little faster or slower than the host's; the difference is resampled away without
// a click. Sound that is off for longer (lost or repeated) is moved to its place.
class SoundAligner {
  public:
    using Sink = std::function<void(std::span<const float>)>;

    explicit SoundAligner(Sink sink) : sink_(std::move(sink)) {}

    // Call once, before the first add(); earlier samples are discarded.
    void begin(Seconds hostTime, const PauseClock& pauses);
    bool hasBegun() const { return hasBegun_; }
    // Host time that the line has reached.
    Seconds reached() const { return origin_ + static_cast<double>(line_) / kSoundRate; }
    void add(const SoundBlock& block, const PauseClock& pauses);
    // Writes silence up to a host time. Samples that come later for an earlier time are discarded.
    void fillTo(Seconds hostTime, const PauseClock& pauses);

  private:
    Seconds placementError(Seconds hostTime) const;
    std::int64_t lineIndex(Seconds hostTime) const;
    void startRun(Seconds hostTime, const PauseClock& pauses);
    void endRun(const PauseClock& pauses);
    void append(std::span<const float> samples, const PauseClock& pauses);
    void hold(const SoundBlock& block, const PauseClock& pauses);
    void placeHeld(const PauseClock& pauses);
    void deliverSilence(std::int64_t count, const PauseClock& pauses);
    void deliver(std::span<const float> samples, const PauseClock& pauses);
    void keep(std::span<const float> samples, std::int64_t place);
    void writeSilence(std::int64_t count);

    Sink sink_;
    bool hasBegun_ = false;
    Seconds origin_ = 0;         // host time of line index 0
    std::int64_t cutBefore_ = 0; // samples of pauses before it
    std::int64_t line_ = 0;      // samples emitted on the host clock, pauses included
    std::int64_t written_ = 0;   // samples written

    bool isRunning_ = false; // sound is being heard without a gap
    SampleStretcher run_;
    DriftControl drift_;
    // Blocks that are no part of the run: the first ones, a stray stamp, or the beginning of a gap.
    std::vector<float> held_;
    std::vector<Seconds> heldStarts_; // when the first held sample was heard, as each block's stamp has it
};

} // namespace glintro
