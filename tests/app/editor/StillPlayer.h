#pragma once

#include <optional>
#include <vector>

#include "app/player/PlayerTransport.h"

namespace glintro::test {

// A player that shows nothing, and notes what it is asked for. A test plays it by emitting its signals.
class StillPlayer final : public PlayerTransport {
  public:
    void open(const Project&, const ProjectSettings& settings, Seconds compositionTime) override {
        isOpen = true;
        shown = settings;
        at = compositionTime;
    }
    void setSettings(const ProjectSettings& settings, Seconds compositionTime) override {
        shown = settings;
        settingsAt = compositionTime;
    }
    void seek(Seconds compositionTime, SeekKind kind) override {
        at = compositionTime;
        lastKind = kind;
    }
    void play() override { isPlaying = true; }
    void pause() override {
        isPlaying = false;
        emit advanced(at);
    }
    void setRange(std::optional<PlayRange> kept) override { range = kept; }
    void setLooping(bool loops) override { isLooping = loops; }
    void setRate(double factor) override { rate = factor; }

    // Plays on to a time, and stops there when that is the end of what it plays.
    void playTo(Seconds compositionTime, bool isEnd = false) {
        at = compositionTime;
        emit advanced(at);
        if (!isEnd) return;
        isPlaying = false;
        emit ended();
    }
    void close() override { isOpen = false; }

    bool isOpen = false;
    bool isPlaying = false;
    bool isLooping = false;
    double rate = 1;
    std::optional<PlayRange> range;
    ProjectSettings shown;
    Seconds settingsAt = -1;
    Seconds at = -1;
    SeekKind lastKind = SeekKind::exact;
};

} // namespace glintro::test
