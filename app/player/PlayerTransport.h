#pragma once

#include <QObject>
#include <QString>
#include <optional>

#include "app/player/PlayRange.h"
#include "core/model/ProjectSettings.h"
#include "core/reel/Project.h"

namespace glintro {

// How soon, and how exactly, a picture is wanted.
enum class SeekKind {
    exact,     // the very picture
    scrubbing, // a nearby picture at once, the exact one as soon as no newer time is asked for
};

// What the editor's model asks of the player of a reel. All times are composition time; who asks turns source
// time into it by the time map of the settings that the player was given last. Every call returns at once,
// the newest of each kind wins, and what was superseded is never shown. Main thread.
class PlayerTransport : public QObject {
    Q_OBJECT

  public:
    using QObject::QObject;

    // Opens a reel and shows the picture at a time, paused. Ends with opened() or failed().
    virtual void open(const Project& project, const ProjectSettings& settings, Seconds compositionTime) = 0;
    // Other settings of the open reel. The player finds out by itself what has to be redone: where they
    // differ in structure it goes on at `compositionTime`, which is on the new map, else where it is.
    virtual void setSettings(const ProjectSettings& settings, Seconds compositionTime) = 0;
    virtual void seek(Seconds compositionTime, SeekKind kind) = 0;
    virtual void play() = 0;
    // Stays at the picture on screen, and tells by advanced() which one that is.
    virtual void pause() = 0;
    // Playing keeps to a range, such as a shot; `nullopt`: the whole reel. Forgotten by close() and by
    // changes of structure, which move what it means.
    virtual void setRange(std::optional<PlayRange> range) = 0;
    virtual void setLooping(bool isLooping) = 0; // over the whole reel, or the range
    // How many times as fast as the reel itself; held to 0.25..8.
    virtual void setRate(double rate) = 0;
    // Lets go of the reel's files.
    virtual void close() = 0;

  signals:
    void opened();
    void failed(const QString& message);
    // Where it is while it plays, about sixty times a second.
    void advanced(double compositionTime);
    // Everything was played: it is paused at the reel's end, or at the last picture of the range. Not while
    // it loops.
    void ended();
};

} // namespace glintro
