#pragma once

#include <QObject>
#include <optional>

#include "app/editor/PlaybackClock.h"
#include "app/editor/ReelEdits.h"
#include "app/player/PlayerTransport.h"

namespace glintro {

// The transport of an open reel: brings the playhead, which stands on the recording's clock, and the player,
// which plays the composition, to the same moment. Times are source seconds unless they are called
// composition times. Main thread.
class Playback : public QObject {
    Q_OBJECT
    Q_PROPERTY(PlaybackClock* clock READ clock CONSTANT FINAL)
    Q_PROPERTY(double compositionTime READ compositionTime NOTIFY compositionTimeChanged FINAL)
    Q_PROPERTY(double compositionDuration READ compositionDuration NOTIFY compositionTimeChanged FINAL)
    Q_PROPERTY(double frameDuration READ frameDuration CONSTANT FINAL)
    Q_PROPERTY(bool isLooping READ isLooping WRITE setIsLooping NOTIFY isLoopingChanged FINAL)
    Q_PROPERTY(double rate READ rate NOTIFY rateChanged FINAL)

  public:
    // Delays after which pictures of the new moment are made, in seconds.
    static constexpr Seconds kAfterStop = 0.3;
    static constexpr Seconds kAfterSeek = 0.35;
    static constexpr double kFrameRate = 60;
    static constexpr double kFast = 2;

    // Both must outlive the playback.
    Playback(const ReelEdits& edits, PlayerTransport& player, QObject* parent = nullptr);

    PlaybackClock* clock() { return &clock_; }
    Seconds compositionTime() const;
    Seconds compositionDuration() const { return edits_.map().compDuration(); }
    // Composition seconds. Pointer and zooms move in every frame of the reel, however fast it was recorded.
    static Seconds frameDuration() { return 1 / kFrameRate; }
    bool isLooping() const { return isLooping_; }
    void setIsLooping(bool isLooping);    // over the reel, or the range that plays
    double rate() const { return rate_; } // of the preview only: 1, or kFast after playFaster()

    // Times are kept within the recording. Scrubbing shows a nearby picture sooner.
    Q_INVOKABLE void seek(double sourceTime);
    Q_INVOKABLE void scrub(double sourceTime);
    // Forwards and backwards in the reel; a step by frames pauses and ends on a frame's first moment.
    Q_INVOKABLE void skip(double compositionSeconds);
    Q_INVOKABLE void stepFrames(int count);
    // The first and the last kept moment.
    Q_INVOKABLE void seekToStart();
    Q_INVOKABLE void seekToEnd();

    // Plays from the start when the playhead is at the end of the reel.
    Q_INVOKABLE void togglePlay();
    Q_INVOKABLE void pause();
    // Plays; faster if it plays already, until it is paused.
    Q_INVOKABLE void playFaster();
    // Plays what is kept of a range, once or, when looping, again and again; stops at its last picture.
    void playRange(Seconds start, Seconds end);

    // Shows a moment while the playhead stays, and goes back to the playhead. Ignored while it plays.
    void show(Seconds sourceTime);
    void showPlayhead();
    // Call it when the player was given settings of another structure.
    void keepRange();

    // Where the player has to be for the playhead, by the map of the settings as they are.
    Seconds playerTime() const;

  signals:
    void compositionTimeChanged();
    void isLoopingChanged();
    void rateChanged();
    // A moment to rest at was found; pictures of it are worth making after the delay, in seconds.
    void rested(double delay);

  private:
    void moveTo(Seconds sourceTime, SeekKind kind);
    void moveToComposition(Seconds compositionTime);
    void start();
    void stop();
    void setRate(double rate);
    void setRange(std::optional<PlayRange> sourceRange);
    void tellRange();
    void advance(Seconds compositionTime);
    void seekPlayer(Seconds sourceTime, SeekKind kind);
    Seconds playerTimeOf(Seconds sourceTime) const;

    const ReelEdits& edits_;
    PlayerTransport& player_;
    PlaybackClock clock_;
    bool isLooping_ = false;
    double rate_ = 1;
    std::optional<PlayRange> range_; // in source time: what plays, when not all of the reel
};

} // namespace glintro
