#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "app/base/BackgroundQueue.h"
#include "app/player/ReelSound.h"
#include "core/base/Failure.h"
#include "platform/Sound.h"

namespace glintro {

// Opens the sound output; called off the main thread, possibly after who handed it in is gone.
using OpenSoundOutput = std::function<Result<std::unique_ptr<SoundOutput>>()>;

// The sound of one reel through a sound output. The output is opened, started and stopped in the background,
// so that a sound server that hangs holds nobody up; until it plays, where there is none, and once it is
// lost there is no sound and no heardTime(). One thread; no call waits.
class SoundPlayback {
  public:
    // `movie` is the one with the sound. Begins paused at `compositionTime`.
    SoundPlayback(const OpenSoundOutput& openOutput, const std::filesystem::path& movie, const TimeMap& map,
                  Seconds compositionTime);
    ~SoundPlayback();
    SoundPlayback(const SoundPlayback&) = delete;
    SoundPlayback& operator=(const SoundPlayback&) = delete;

    void play(Seconds hostTime);
    void pause() { sound_->pause(); }
    void seek(Seconds compositionTime) { sound_->seek(compositionTime); }
    void setMap(const TimeMap& map, Seconds compositionTime) { sound_->setMap(map, compositionTime); }
    void setRate(double rate) { sound_->setRate(rate); }

    // Whether an output plays it.
    bool isReady() const { return line_ != nullptr && line_->state == Line::State::playing; }
    // The composition time that is heard now; `nullopt` without an output. An output that stops asking for
    // sound while it should play is lost: it is released, and another one is opened by the next play().
    std::optional<Seconds> heardTime(Seconds hostTime);

  private:
    // What both threads share: the queue's writes `output`, then `state`. It is also destroyed there.
    struct Line {
        enum class State { opening, playing, failed };
        ~Line() {
            if (output) output->stop();
        }
        std::unique_ptr<SoundOutput> output;
        std::atomic<State> state = State::opening;
    };

    void openLine();
    void dropLine();

    OpenSoundOutput openOutput_;
    std::shared_ptr<ReelSound> sound_;
    std::shared_ptr<Line> line_; // null without an output
    Seconds lastHeard_ = 0;
    Seconds lastMoved_ = 0; // host time when lastHeard_ changed
    BackgroundQueue queue_;
};

} // namespace glintro
