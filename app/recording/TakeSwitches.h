#pragma once

#include <QObject>
#include <optional>
#include <string>

#include "app/preferences/Preferences.h"

namespace glintro {

// What a take is recorded with, kept in the preferences, which outlive this. Main thread.
class TakeSwitches : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool micOn READ micOn WRITE setMicOn NOTIFY changed FINAL)
    Q_PROPERTY(bool cameraOn READ cameraOn WRITE setCameraOn NOTIFY changed FINAL)
    Q_PROPERTY(bool countdownOn READ countdownOn WRITE setCountdownOn NOTIFY changed FINAL)

  public:
    explicit TakeSwitches(Preferences& preferences) : preferences_(preferences) {
        connect(&preferences_, &Preferences::changed, this, &TakeSwitches::changed);
    }

    bool micOn() const { return preferences_.recordMic(); }
    bool cameraOn() const { return preferences_.recordCamera(); }
    bool countdownOn() const { return preferences_.countdown(); }
    void setMicOn(bool on) { preferences_.setRecordMic(on); }
    void setCameraOn(bool on) { preferences_.setRecordCamera(on); }
    void setCountdownOn(bool on) { preferences_.setCountdown(on); }

    // By id or name, for takes to come; the default ones when absent.
    void setDevices(std::optional<std::string> microphone, std::optional<std::string> camera);
    const std::optional<std::string>& microphone() const { return microphone_; }
    const std::optional<std::string>& camera() const { return camera_; }

  signals:
    void changed();

  private:
    Preferences& preferences_;
    std::optional<std::string> microphone_;
    std::optional<std::string> camera_;
};

} // namespace glintro
