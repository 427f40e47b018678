#pragma once

#include <QObject>
#include <optional>
#include <vector>

#include "app/base/Toast.h"
#include "app/editor/ShotSelection.h"
#include "app/preferences/Preferences.h"
#include "core/model/RecordingEvents.h"

namespace glintro {

// What the user does to shots, by keys, buttons and menus. A shot is named by its number; 0 is the target,
// which is the selected shot or else the one under the playhead. An operation on a shot that is not there
// does nothing. Main thread.
class ShotActions : public QObject {
    Q_OBJECT

  public:
    static constexpr double kMostZoom = 10;
    static constexpr double kLeastRate = 0.25;
    static constexpr double kMostRate = 16;

    // All must outlive the actions.
    ShotActions(ReelEdits& edits, ShotSelection& selection, Playback& playback,
                const Preferences& preferences, QObject* parent = nullptr);

    // The recording's clicks, once they are known. autoShots() waits for them.
    void setClicks(std::vector<EventSample> clicks);

    Q_INVOKABLE void splitAtPlayhead();
    Q_INVOKABLE void cutShot(int number = 0); // or takes it back
    Q_INVOKABLE void cycleSpeed(int number = 0);
    Q_INVOKABLE void toggleZoom(int number = 0);
    Q_INVOKABLE void nudgeZoom(int tenths, int number = 0);
    Q_INVOKABLE void joinWithNext(int number = 0);
    // In a gesture as well as alone. Values are kept within 1 to kMostZoom, kLeastRate to kMostRate.
    Q_INVOKABLE void setZoom(int number, double scale);
    Q_INVOKABLE void setSpeed(int number, double rate);
    Q_INVOKABLE void moveBoundary(double from, double to);

    Q_INVOKABLE void autoShots();
    Q_INVOKABLE void trimStartHere();
    Q_INVOKABLE void trimEndHere();
    Q_INVOKABLE void clearTrim();

    // Plays a shot, with the playhead left in it; one that is cut cannot be played.
    Q_INVOKABLE void playShot(int number = 0);

  signals:
    void toastShown(const glintro::Toast& toast);
    void beeped();

  private:
    std::optional<Shot> shotOf(int number) const;

    ReelEdits& edits_;
    ShotSelection& selection_;
    Playback& playback_;
    const Preferences& preferences_;
    std::optional<std::vector<EventSample>> clicks_; // absent until they are read
    bool wantsAutoShots_ = false;
};

} // namespace glintro
