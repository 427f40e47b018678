#pragma once

#include <memory>
#include <optional>

#include "app/player/PlayClock.h"
#include "app/player/PlayRange.h"
#include "app/player/SoundPlayback.h"

namespace glintro {

// The pictures that playing shows at rate 1, those of an export with sixty frames a second.
inline constexpr int kPicturesASecond = 60;

// The composition time of the last picture before a time: a whole number of frames; at least 0.
Seconds lastPictureBefore(Seconds compositionTime);
// The composition time of the picture on screen at a time.
Seconds pictureAt(Seconds compositionTime);

// Where the reel is played, whether, and how fast. Sound is the clock where it is heard, else the host's.
//
//   paused ──play──► priming ──first picture──► starting ──first sound──► running
//      ▲ pause, end      ▲──────────── seek, loop, rate ────────────────────┘
//
// Sound and pictures begin together: a start waits for the first picture, and the clock for the first sound.
// The caller hands in the host time, which ascends, and calls advance() some sixty times a second while
// isPlaying(). One thread; no call waits.
class Transport {
  public:
    enum class Event {
        none,
        restarted, // it goes on elsewhere: the loop has begun again, or sound came up
        ended,     // paused at the end of the reel or range
    };
    static constexpr double kSlowest = ReelSound::kSlowest;
    static constexpr double kFastest = ReelSound::kFastest;

    // A reel of this length, paused at a time. `sound` may be null.
    void open(Seconds duration, Seconds compositionTime, std::unique_ptr<SoundPlayback> sound);
    void close();
    // The same recording under other cuts, playing on from a time.
    void setMap(const TimeMap& map, Seconds compositionTime, Seconds hostTime);

    void seek(Seconds compositionTime, Seconds hostTime);
    // At the end of the reel or range it begins again.
    void play(Seconds hostTime);
    // Stays at the picture that is on screen.
    void pause(Seconds hostTime);
    void setRate(double rate, Seconds hostTime); // held to kSlowest..kFastest
    // Playing keeps to the range; `nullopt`: the whole reel.
    void setRange(std::optional<PlayRange> range) { range_ = range; }
    void setLooping(bool isLooping) { isLooping_ = isLooping; }

    // The first picture since the last seek, play or restart is there.
    void showsFirstPicture(Seconds hostTime);
    Event advance(Seconds hostTime);

    bool isPlaying() const { return state_ != State::paused; }
    bool isPriming() const { return state_ == State::priming; }
    bool isRunning() const { return state_ == State::running; }
    bool isLooping() const { return isLooping_; }
    double rate() const { return rate_; }
    Seconds position(Seconds hostTime) const;
    Seconds duration() const { return duration_; }
    PlayRange range() const; // the one that is kept to: within the reel
    const PlayClock& clock() const { return clock_; }

  private:
    enum class State { paused, priming, starting, running };

    Seconds clamped(Seconds compositionTime) const;
    void restart(Seconds compositionTime, Seconds hostTime);
    void start(Seconds hostTime);
    void followSound(Seconds hostTime);
    Event reachEnd(Seconds hostTime);

    State state_ = State::paused;
    PlayClock clock_;
    double rate_ = 1;
    Seconds duration_ = 0;
    std::optional<PlayRange> range_;
    bool isLooping_ = false;
    Seconds since_ = 0;                    // host time at which state_ began
    bool isSoundClock_ = false;            // of this run
    std::unique_ptr<SoundPlayback> sound_; // null for a reel without
    std::optional<TimeMap> soundMap_;      // not handed to the sound yet
};

} // namespace glintro
