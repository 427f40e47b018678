#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "app/preferences/Preferences.h"
#include "app/recording/CameraPreview.h"
#include "app/recording/Countdown.h"
#include "app/recording/MicrophoneLevel.h"
#include "app/recording/RecordingSources.h"
#include "app/recording/RecordingViews.h"
#include "app/recording/SharedInput.h"
#include "app/recording/TakeBackground.h"
#include "app/recording/TakeLibrary.h"
#include "app/recording/TakeProgress.h"
#include "app/recording/TakeStart.h"
#include "app/recording/TakeSwitches.h"
#include "core/timeline/PauseClock.h"
#include "platform/Platform.h"

namespace glintro {

// The state machine of recording. Lives on the main thread and never blocks it: what blocks runs in the
// background and comes back as an event.
//
//   idle ──openBar──► choosing ──start──► (prepare) ──► [countdown] ──► recording ──stop──► finishing ──►
//   idle
//    ▲                 │    ▲                 │              │
//    └────closeBar─────┘    └─────refused─────┴─cancelCountdown
//
// While a take is prepared the phase is still choosing and isStarting is true: the system may ask the user in
// a dialog of its own, the encoder is chosen and the devices are opened, so that after the countdown the
// first picture comes at once. Without a countdown the screen is recorded as soon as its stream is open. A
// start that is cancelled leaves nothing behind.
//
// A take that still runs when the controller is destroyed is finished first. Finishing is waited for while it
// makes progress; after five seconds without any, on a disk that hangs, the take is let go: its folder stays
// for a later recovery. A start that is cancelled is let go likewise when it hangs, and the user told.
class RecordingController : public QObject {
    Q_OBJECT
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged FINAL)
    Q_PROPERTY(int countdownNumber READ countdownNumber NOTIFY phaseChanged FINAL)
    Q_PROPERTY(bool isStarting READ isStarting NOTIFY canStartChanged FINAL)
    Q_PROPERTY(bool canStart READ canStart NOTIFY canStartChanged FINAL)
    Q_PROPERTY(double elapsed READ elapsed NOTIFY elapsedChanged FINAL)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY phaseChanged FINAL)
    Q_PROPERTY(RecordingSources* sources READ sources CONSTANT FINAL)
    Q_PROPERTY(TakeSwitches* switches READ switches CONSTANT FINAL)
    Q_PROPERTY(TakeProgress* progress READ progress CONSTANT FINAL)
    Q_PROPERTY(MicrophoneLevel* microphoneLevel READ microphoneLevel CONSTANT FINAL)
    Q_PROPERTY(CameraPreview* cameraPreview READ cameraPreview CONSTANT FINAL)

  public:
    enum class Phase { idle, choosing, countdown, recording, finishing };
    Q_ENUM(Phase)
    using Mode = RecordingChoice::Mode;

    // All of them outlive the controller. A take that was let go may still use platform and library, should
    // the disk answer again.
    struct Seams {
        Platform& platform;
        Preferences& preferences;
        RecordingViews views;
        TakeLibrary& library;
    };
    struct Timing {
        std::chrono::milliseconds countdownStep = Countdown::kStep;
        Seconds finishTimeout = 5; // without progress, of a finish or of what a cancelled start still does
    };

    explicit RecordingController(const Seams& seams, const Timing& timing, QObject* parent = nullptr);
    explicit RecordingController(const Seams& seams) : RecordingController(seams, Timing()) {}
    ~RecordingController() override;

    Q_INVOKABLE void openBar();
    Q_INVOKABLE void closeBar();
    Q_INVOKABLE void loadSources(); // in the background; the sources' offerChanged when they are there
    // An area is asked for at once, and becomes the mode when there is one.
    Q_INVOKABLE void setMode(RecordingChoice::Mode mode);
    Q_INVOKABLE void chooseArea();
    Q_INVOKABLE void select(const CaptureSourceKind& kind); // and its mode
    void setArea(const Rect& area);                         // and its mode
    // The next take asks in the system's dialog, also where that would repeat the last choice.
    Q_INVOKABLE void chooseAgain();

    Q_INVOKABLE void start();
    Q_INVOKABLE void cancelCountdown();
    Q_INVOKABLE void togglePause();
    Q_INVOKABLE void stop();
    // A start that went wrong, or a take that cannot go on: the latter is finished with what it has.
    void failed(const Failure& failure);

    Phase phase() const { return phase_; }
    int countdownNumber() const { return phase_ == Phase::countdown ? countdown_.number() : 0; }
    bool isStarting() const { return start_.isRunning(); }
    bool canStart() const { return !isStarting() && sources_.choice().isComplete(); }
    // The display to show the countdown on; absent when it is not known.
    std::optional<ShareableDisplay> targetScreen() const { return sources_.choice().targetScreen(); }
    Seconds elapsed() const { return elapsed_; } // recorded, without pauses
    bool isPaused() const { return isPaused_; }
    // Host time at which the last countdown ended; 0 when there was none.
    Seconds countdownEnd() const { return countdown_.endTime(); }

    // Owned by the controller.
    RecordingSources* sources() { return &sources_; }
    TakeSwitches* switches() { return &switches_; }
    TakeProgress* progress() { return &progress_; }
    MicrophoneLevel* microphoneLevel() { return &microphoneLevel_; }
    CameraPreview* cameraPreview() { return &cameraPreview_; }

  signals:
    void phaseChanged();
    void canStartChanged();
    void elapsedChanged();
    // A take, or the attempt to start one, is over, and the views have been told all about it.
    void ended();

  private:
    using ReelResult = Result<std::optional<Project>>;

    void connectParts();
    void connectStart();
    bool isChoosing() const;
    void handleContent(const Result<ShareableContent>& content);
    void setPhase(Phase phase);
    void setBarShown(bool shown);

    TakeOrder order(const ContentFilter& filter) const;
    TakeHandlers handlers();
    void handleFailure(const Failure& failure);
    void handlePrepared();
    void startFailed(const Failure& failure);
    void showCountdown();
    void countdownEnded();
    void record(const std::shared_ptr<LiveTake>& take, Seconds startHost);
    void tick();
    void endPause(Seconds hostTime);
    void finished(const ReelResult& reel);
    void endTake();
    void letGo();
    void letTakeGo();

    const Seams seams_;
    RecordingSources sources_;
    TakeSwitches switches_;
    TakeProgress progress_;
    std::shared_ptr<SharedSound> sound_;
    std::shared_ptr<SharedCameras> cameras_;
    MicrophoneLevel microphoneLevel_;
    CameraPreview cameraPreview_;
    Countdown countdown_;
    TakeBackground background_;
    TakeStart start_;
    QTimer tick_;

    Phase phase_ = Phase::idle;
    int contentNumber_ = 0;              // of the newest question for what can be recorded
    int takeNumber_ = 0;                 // of the newest take; what earlier ones say is ignored
    bool countsDown_ = false;            // this start
    std::optional<Failure> failedEarly_; // told before the take was known to run

    std::shared_ptr<LiveTake> take_; // records or is finished
    Seconds startHost_ = 0;
    PauseClock pauses_;
    bool isPaused_ = false;
    Seconds elapsed_ = 0;
};

} // namespace glintro
