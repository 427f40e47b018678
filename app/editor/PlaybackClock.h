#pragma once

#include <QObject>
#include <utility>

#include "core/base/Geometry.h"

namespace glintro {

// The playhead of an open reel. It stands on the recording's clock, so that it stays at the same moment when
// cuts and speeds change. Main thread.
class PlaybackClock : public QObject {
    Q_OBJECT
    Q_PROPERTY(double time READ time NOTIFY timeChanged FINAL)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged FINAL)

  public:
    using QObject::QObject;

    Seconds time() const { return time_; } // source seconds
    bool isPlaying() const { return isPlaying_; }

    void setTime(Seconds sourceTime) {
        if (std::exchange(time_, sourceTime) != sourceTime) emit timeChanged();
    }
    void setIsPlaying(bool isPlaying) {
        if (std::exchange(isPlaying_, isPlaying) != isPlaying) emit isPlayingChanged();
    }

  signals:
    void timeChanged();
    void isPlayingChanged();

  private:
    Seconds time_ = 0;
    bool isPlaying_ = false;
};

} // namespace glintro
