#pragma once

#include <QList>
#include <QObject>
#include <QTimer>
#include <QVariant>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "app/preferences/Preferences.h"
#include "app/recording/LiveTake.h"
#include "app/recording/RecordingChoice.h"
#include "app/recording/RecordingViews.h"
#include "app/recording/SerialQueue.h"
#include "app/recording/TakeLibrary.h"
#include "core/timeline/PauseClock.h"
#include "platform/Platform.h"

namespace glintro {

// The state machine of recording. Lives on the main thread, which it never lets wait: what blocks runs in the
// background and comes back as an event.
//
//   idle ──openBar──► choosing ──start──► [countdown] ──► recording ──stop──► finishing ──► idle
//    ▲                 │    ▲                  │
//    └────closeBar─────┘    └─cancelCountdown──┘
//
// The phase is choosing or countdown while the take begins, which may ask the user in a dialog of the
// system's; isStarting is then true. A take that still runs when the controller is destroyed is finished
// first, which does wait.
class RecordingController : public QObject {
    Q_OBJECT
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged FINAL)
    Q_PROPERTY(int countdownNumber READ countdownNumber NOTIFY phaseChanged FINAL)
    Q_PROPERTY(bool isStarting READ isStarting NOTIFY choiceChanged FINAL)
    Q_PROPERTY(bool canStart READ canStart NOTIFY choiceChanged FINAL)
    Q_PROPERTY(RecordingChoice::Mode mode READ mode WRITE setMode NOTIFY choiceChanged FINAL)
    Q_PROPERTY(bool isChosenInDialog READ isChosenInDialog NOTIFY sourcesChanged FINAL)
    Q_PROPERTY(QList<CaptureSource> displays READ displays NOTIFY sourcesChanged FINAL)
    Q_PROPERTY(QList<CaptureSource> windows READ windows NOTIFY sourcesChanged FINAL)
    Q_PROPERTY(QVariant selection READ selectionValue NOTIFY choiceChanged FINAL)
    Q_PROPERTY(QVariant area READ areaValue NOTIFY choiceChanged FINAL)
    Q_PROPERTY(double elapsed READ elapsed NOTIFY elapsedChanged FINAL)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY phaseChanged FINAL)
    Q_PROPERTY(bool micOn READ micOn WRITE setMicOn NOTIFY switchesChanged FINAL)
    Q_PROPERTY(bool cameraOn READ cameraOn WRITE setCameraOn NOTIFY switchesChanged FINAL)
    Q_PROPERTY(bool countdownOn READ countdownOn WRITE setCountdownOn NOTIFY switchesChanged FINAL)
    Q_PROPERTY(double secondsOnDisk READ secondsOnDisk NOTIFY progressChanged FINAL)
    Q_PROPERTY(qint64 bytesOnDisk READ bytesOnDisk NOTIFY progressChanged FINAL)
    Q_PROPERTY(qint64 droppedFrames READ droppedFrames NOTIFY progressChanged FINAL)

  public:
    enum class Phase { idle, choosing, countdown, recording, finishing };
    Q_ENUM(Phase)
    using Mode = RecordingChoice::Mode;

    // All of them outlive the controller.
    struct Seams {
        Platform& platform;
        Preferences& preferences;
        RecordingViews& views;
        TakeLibrary& library;
    };

    explicit RecordingController(const Seams& seams,
                                 std::chrono::milliseconds countdownStep = std::chrono::milliseconds(900),
                                 QObject* parent = nullptr);
    ~RecordingController() override;

    Q_INVOKABLE void openBar();
    Q_INVOKABLE void closeBar();
    Q_INVOKABLE void loadSources(); // in the background; sourcesChanged when they are there
    void setMode(Mode mode);        // an area is asked for at once, and becomes the mode when there is one
    Q_INVOKABLE void chooseArea();
    Q_INVOKABLE void select(const CaptureSource::Kind& kind); // and its mode
    void setArea(const Rect& area);                           // and its mode
    // By id or name, for takes to come; the default ones when absent.
    void setDevices(std::optional<std::string> microphone, std::optional<std::string> camera);

    // The next take asks in the system's dialog, also where that would repeat the last choice.
    Q_INVOKABLE void chooseAgain();

    Q_INVOKABLE void start();
    Q_INVOKABLE void cancelCountdown();
    Q_INVOKABLE void togglePause();
    Q_INVOKABLE void stop();
    // A start that went wrong, or a take that cannot go on: the latter is finished with what it has.
    void failed(const Failure& failure);

    Phase phase() const { return phase_; }
    int countdownNumber() const { return phase_ == Phase::countdown ? countdownNumber_ : 0; }
    bool isStarting() const { return isStarting_; }
    bool canStart() const { return !isStarting_ && choice_.isComplete(); }
    bool isChosenInDialog() const { return choice_.isMadeInDialog(); }
    Mode mode() const { return choice_.mode(); }
    const QList<CaptureSource>& displays() const { return choice_.displays(); }
    const QList<CaptureSource>& windows() const { return choice_.windows(); }
    const std::optional<CaptureSource::Kind>& selection() const { return choice_.selection(); }
    const std::optional<Rect>& area() const { return choice_.area(); }
    // The display to show the countdown on; nothing when it is not known.
    std::optional<ShareableDisplay> targetScreen() const { return choice_.targetScreen(); }
    Seconds elapsed() const { return elapsed_; } // recorded, without pauses
    bool isPaused() const { return isPaused_; }
    bool micOn() const { return preferences_.recordMic(); }
    bool cameraOn() const { return preferences_.recordCamera(); }
    bool countdownOn() const { return preferences_.countdown(); }
    void setMicOn(bool on);
    void setCameraOn(bool on);
    void setCountdownOn(bool on);

    // What has become of the take, or of the last one.
    const CaptureProgress& progress() const { return progress_; }
    Seconds secondsOnDisk() const { return progress_.secondsOnDisk; }
    qint64 bytesOnDisk() const { return progress_.bytesOnDisk; }
    qint64 droppedFrames() const { return progress_.droppedFrames; }

  signals:
    void phaseChanged();
    void choiceChanged();
    void sourcesChanged();
    void switchesChanged();
    void elapsedChanged();
    void progressChanged();
    // A take, or the attempt to start one, is over, and the views have been told all about it.
    void ended();

  private:
    using TakeResult = Result<std::shared_ptr<LiveTake>>;
    using ReelResult = Result<std::optional<Project>>;

    void inBackground(std::function<std::function<void()>()> work);
    bool isChoosing() const;
    QVariant selectionValue() const;
    QVariant areaValue() const;
    void takeContent(const Result<ShareableContent>& content);
    void setPhase(Phase phase);
    void setStarting(bool starting);
    void countDown(int number);
    TakeOrder order(const ContentFilter& filter) const;
    TakeHandlers handlers();
    void takeFailed(const Failure& failure);
    void begin();
    void begun(const TakeResult& take);
    void discard(const std::shared_ptr<LiveTake>& take);
    void refused(const Failure& failure);
    void record(const std::shared_ptr<LiveTake>& take);
    void tick();
    void endPause(Seconds at);
    void finished(const ReelResult& reel);

    Seams seams_;
    Preferences& preferences_;
    std::chrono::milliseconds countdownStep_;
    QTimer countdownTimer_;
    QTimer tick_;

    Phase phase_ = Phase::idle;
    int countdownNumber_ = 0;
    RecordingChoice choice_;
    int contentNumber_ = 0; // of the newest question for what can be recorded
    std::optional<std::string> microphone_;
    std::optional<std::string> camera_;

    bool isStarting_ = false;
    std::stop_source starting_;
    std::optional<Failure> failedEarly_; // told before the take was known to run
    int takeNumber_ = 0;
    std::shared_ptr<LiveTake> take_;
    Seconds startHost_ = 0;
    PauseClock pauses_;
    bool isPaused_ = false;
    Seconds elapsed_ = 0;
    CaptureProgress progress_;
    SerialQueue background_{0}; // the last member, so that its work sees all others alive
};

} // namespace glintro
