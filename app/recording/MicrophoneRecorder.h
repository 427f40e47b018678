#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/recording/SerialQueue.h"
#include "app/recording/TakeSound.h"
#include "core/timeline/PauseClock.h"
#include "platform/Sound.h"

namespace glintro {

// A microphone's sound on its way into the screen's movie, whose sound track has no hole: silence stands for
// what is missing. A microphone that is not there or goes away is a notice, and the take goes on.
class MicrophoneRecorder {
  public:
    struct Handlers {
        std::function<void(const std::string&)> notice; // one sentence, from any thread
        std::function<void(const Failure&)> failed;     // the sound cannot be written; at most once
    };

    // Sound is handled on the queue, which is also the one thread that uses `pauses`. Writer, queue and
    // pauses outlive this.
    MicrophoneRecorder(LiveMovieWriter& writer, SerialQueue& queue, const PauseClock& pauses,
                       Handlers handlers);

    // The microphone runs from here on; sound before begin() is discarded.
    void open(SoundSystem& sound, std::optional<std::string> device);
    // No sound comes any more when this returns, and the device is released. Not on the queue.
    void close();
    // Waits until all sound is written.
    void flush() { track_.flush(); }

    // On the queue: recording begins at a host time; silence is added while the microphone gives nothing; and
    // the recording ends.
    void begin(Seconds hostTime) { track_.line().begin(hostTime, pauses_); }
    void keepGoing(Seconds hostTime);
    void end(Seconds hostTime) { track_.line().fillTo(hostTime, pauses_); }

  private:
    void hear(const SoundBlock& block);

    SerialQueue& queue_;
    const PauseClock& pauses_;
    const Handlers handlers_;
    TakeSound track_;
    std::atomic<bool> isHearing_ = false;
    std::unique_ptr<Microphone> microphone_; // last: its thread uses all of the above
};

} // namespace glintro
