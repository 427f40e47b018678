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

// Makes one line of sound without a hole of a microphone's blocks: sample n of it is heard n / kSoundRate
// seconds after the start, on the host clock with the pauses cut out.
//
//   blocks    |--a--||--b--|   (lost)   |--c--||--d--|
//   host      |--a--b-------  silence ---c--|=== pause ===|---d--|
//   written   |--a--b-------  silence ---c--|---d--|
//
// The device's clock, which runs a little faster or slower, is followed without a click; sound that is off
// for longer (lost or repeated) is moved to its place.
class SoundAligner {
  public:
    using Sink = std::function<void(std::span<const float>)>;

    explicit SoundAligner(Sink sink) : sink_(std::move(sink)) {}

    // Nothing is written before. Once; later blocks may begin earlier, and are cut.
    void begin(Seconds hostTime, const PauseClock& pauses);
    bool hasBegun() const { return hasBegun_; }
    // Host time that the line has reached.
    Seconds reached() const { return origin_ + static_cast<double>(line_) / kSoundRate; }
    void add(const SoundBlock& block, const PauseClock& pauses);
    // Silence where nothing was heard up to a time. What comes later for an earlier time is thrown away.
    void fillTo(Seconds hostTime, const PauseClock& pauses);

  private:
    Seconds placementError(Seconds hostTime) const;
    std::int64_t lineIndex(Seconds hostTime) const;
    void startRun(Seconds hostTime, const PauseClock& pauses);
    void endRun(const PauseClock& pauses);
    void append(std::span<const float> samples, const PauseClock& pauses);
    void hold(const SoundBlock& block, const PauseClock& pauses);
    void placeHeld(const PauseClock& pauses);
    void emitSilence(std::int64_t count, const PauseClock& pauses);
    void emit(std::span<const float> samples, const PauseClock& pauses);
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
