#include "app/recording/RecordingController.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr std::chrono::milliseconds kTickInterval{100};
constexpr const char* kStartHangs =
    "The desktop, the disk or a device did not answer while the start was taken back. Should a folder of it "
    "be left, “glintro recover” removes it.";

Failure diskHangs(const std::filesystem::path& folder) {
    return {
        fmt::format("The disk no longer answers. What reached it is kept in “{}” and will be completed "
                    "when the library is next opened, or by “glintro recover”.",
                    folder.string())};
}

} // namespace

RecordingController::RecordingController(const Seams& seams, const Timing& timing, QObject* parent)
    : QObject(parent),
      seams_(seams),
      switches_(seams.preferences),
      sound_(std::make_shared<SharedSound>(seams.platform.sound())),
      cameras_(std::make_shared<SharedCameras>(seams.platform.cameras())),
      microphoneLevel_(sound_),
      cameraPreview_(cameras_),
      countdown_(timing.countdownStep),
      background_(timing.finishTimeout),
      start_({seams.platform.screen(), sound_, cameras_, seams.library}, background_) {
    connectParts();
    connectStart();
    tick_.setInterval(kTickInterval);
    connect(&tick_, &QTimer::timeout, this, &RecordingController::tick);
    connect(&background_, &TakeBackground::stalled, this, &RecordingController::letGo);
}

void RecordingController::connectParts() {
    connect(&countdown_, &Countdown::numberChanged, this, &RecordingController::showCountdown);
    connect(&countdown_, &Countdown::ended, this, &RecordingController::countdownEnded);
    connect(&sources_, &RecordingSources::choiceChanged, this, &RecordingController::canStartChanged);
    const auto follow = [this] {
        microphoneLevel_.setInput(switches_.micOn(), switches_.microphone());
        cameraPreview_.setInput(switches_.cameraOn(), switches_.camera());
    };
    connect(&switches_, &TakeSwitches::changed, this, follow);
    follow();
}

void RecordingController::connectStart() {
    connect(&start_, &TakeStart::prepared, this, &RecordingController::handlePrepared);
    connect(&start_, &TakeStart::failed, this, &RecordingController::startFailed);
    connect(&start_, &TakeStart::started, this, &RecordingController::record);
    connect(&start_, &TakeStart::ended, this, [this] {
        emit canStartChanged();
        emit ended();
    });
}

RecordingController::~RecordingController() {
    blockSignals(true); // those who listened may have gone already
    start_.discardAtEnd();
    if (phase_ == Phase::recording) stop();
    background_.endWatch();
    const bool answers = background_.finish(take_ ? take_ : start_.take());
    background_.close();
    background_.release(std::exchange(take_, nullptr));
    start_.releaseAtEnd();
    if (answers) (void)background_.finish(nullptr);
}

void RecordingController::setBarShown(bool shown) {
    if (seams_.views.bar == nullptr) return;
    if (shown)
        seams_.views.bar->showBar();
    else
        seams_.views.bar->hideBar();
}

void RecordingController::openBar() {
    if (phase_ != Phase::idle) return;
    const bool hasAccess = seams_.platform.screen().hasAccess();
    seams_.library.setScreenAccess(hasAccess);
    if (!hasAccess) return seams_.views.mainWindow.presentPermissionSheet();
    setPhase(Phase::choosing);
    setBarShown(true);
    loadSources();
}

void RecordingController::closeBar() {
    if (phase_ != Phase::choosing) return;
    if (isStarting()) start_.cancel();
    setBarShown(false);
    setPhase(Phase::idle);
}

void RecordingController::loadSources() {
    background_.run([this, number = ++contentNumber_, &screen = seams_.platform.screen()] {
        return [this, number, content = screen.content()] {
            if (number == contentNumber_) handleContent(content);
        };
    });
}

void RecordingController::handleContent(const Result<ShareableContent>& content) {
    sources_.offer(content.value_or(ShareableContent()));
    if (!content) seams_.views.messages.notice(QString::fromStdString(content.error().message));
}

bool RecordingController::isChoosing() const {
    return (phase_ == Phase::choosing || phase_ == Phase::idle) && !isStarting();
}

void RecordingController::setMode(Mode mode) {
    if (mode == Mode::area) return chooseArea();
    if (isChoosing()) sources_.setMode(mode);
}

void RecordingController::chooseArea() {
    if (phase_ != Phase::choosing || isStarting() || seams_.views.areaPicker == nullptr) return;
    setBarShown(false);
    seams_.views.areaPicker->pickArea(sources_.area(), [this](const std::optional<Rect>& area) {
        if (phase_ != Phase::choosing) return;
        if (area) setArea(*area);
        setBarShown(true);
    });
}

void RecordingController::select(const CaptureSource::Kind& kind) {
    if (isChoosing()) sources_.select(kind);
}

void RecordingController::setArea(const Rect& area) {
    if (isChoosing()) sources_.setArea(area);
}

void RecordingController::chooseAgain() {
    if (isChoosing()) seams_.platform.screen().forgetChoice();
}

void RecordingController::start() {
    if (phase_ != Phase::choosing || !canStart()) return;
    const auto filter = sources_.choice().filter();
    if (!filter) {
        failed(filter.error());
        return emit ended();
    }
    ++takeNumber_;
    countsDown_ = switches_.countdownOn();
    failedEarly_.reset();
    progress_.set({});
    elapsed_ = 0;
    start_.prepare(order(*filter), handlers());
    emit canStartChanged();
}

TakeOrder RecordingController::order(const ContentFilter& filter) const {
    return {filter,
            {.pixelSize = {}, // known once the stream is open
             .fps = seams_.preferences.captureFPS(),
             .hevc = seams_.preferences.useHEVC(),
             .mic = switches_.micOn(),
             .camera = switches_.cameraOn(),
             .startsAtOnce = !countsDown_,
             .micDevice = switches_.microphone(),
             .cameraDevice = switches_.camera()}};
}

// What comes from a take that is not the current one any more is ignored.
TakeHandlers RecordingController::handlers() {
    const auto onMain = [this, post = background_.mainThread(), number = takeNumber_](auto call) {
        (*post)([this, number, call] {
            if (number == takeNumber_) call();
        });
    };
    return {
        .failed = [this, onMain](const Failure& failure) { onMain([=, this] { handleFailure(failure); }); },
        .notice =
            [this, onMain](const std::string& sentence) {
                onMain([=, this] { seams_.views.messages.notice(QString::fromStdString(sentence)); });
            }};
}

void RecordingController::handleFailure(const Failure& failure) {
    if (isStarting())
        failedEarly_ = failure; // judged once the take is known to run
    else if (take_ && phase_ == Phase::recording)
        failed(failure);
}

void RecordingController::handlePrepared() {
    if (countsDown_)
        countdown_.start();
    else
        start_.launch();
}

// Users who refuse in the system's dialog may want to choose something else.
void RecordingController::startFailed(const Failure& failure) {
    if (failure.isCancelled())
        seams_.views.messages.notice(QString::fromStdString(failure.message));
    else
        failed(failure);
}

void RecordingController::showCountdown() {
    setPhase(Phase::countdown);
    if (seams_.views.countdown != nullptr)
        seams_.views.countdown->showCountdown(countdown_.number(), targetScreen());
}

void RecordingController::countdownEnded() {
    start_.launch();
    if (seams_.views.countdown != nullptr) seams_.views.countdown->hideCountdown();
}

void RecordingController::cancelCountdown() {
    if (phase_ != Phase::countdown) return;
    countdown_.cancel();
    start_.cancel();
    if (seams_.views.countdown != nullptr) seams_.views.countdown->hideCountdown();
    setPhase(Phase::choosing);
}

void RecordingController::record(const std::shared_ptr<LiveTake>& take, Seconds startHost) {
    take_ = take;
    startHost_ = take_->firstFrameHostTime().value_or(startHost);
    pauses_ = {};
    isPaused_ = false;
    emit canStartChanged();
    tick();
    setPhase(Phase::recording);
    setBarShown(true);
    tick_.start();
    if (failedEarly_) failed(*std::exchange(failedEarly_, std::nullopt));
}

void RecordingController::tick() {
    const Seconds now = hostTime();
    startHost_ = take_->firstFrameHostTime().value_or(startHost_);
    elapsed_ = std::max(0.0, now - startHost_ - pauses_.paused(now));
    emit elapsedChanged();
    progress_.set(take_->progress());
}

void RecordingController::togglePause() {
    if (phase_ != Phase::recording) return;
    const Seconds now = hostTime();
    if (isPaused_) {
        endPause(now);
    } else {
        pauses_.pause(now);
        take_->pause(now);
        isPaused_ = true;
    }
    emit phaseChanged();
    tick();
}

void RecordingController::endPause(Seconds hostTime) {
    pauses_.resume(hostTime);
    take_->resume(hostTime);
    isPaused_ = false;
}

void RecordingController::stop() {
    if (phase_ != Phase::recording) return;
    tick_.stop();
    if (isPaused_) endPause(hostTime());
    tick();
    setPhase(Phase::finishing);
    background_.watch(take_);
    background_.run([this, number = takeNumber_, take = take_, pauses = pauses_] {
        return [this, number, reel = take->finish(pauses)] {
            if (number == takeNumber_) finished(reel);
        };
    });
}

void RecordingController::letGo() {
    if (take_) return letTakeGo();
    seams_.views.messages.alert(QStringLiteral("Recording couldn’t be cancelled"),
                                QString::fromUtf8(kStartHangs));
    start_.letGo();
}

// The thread that hangs is left behind, and the take with it.
void RecordingController::letTakeGo() {
    const QString text = QString::fromStdString(diskHangs(take_->folder()).message);
    take_->letGo();
    ++takeNumber_;
    background_.abandon();
    endTake();
    seams_.views.messages.alert(QStringLiteral("Recording couldn’t be finished"), text);
    emit ended();
}

void RecordingController::endTake() {
    background_.endWatch();
    background_.release(std::exchange(take_, nullptr));
    setBarShown(false);
    setPhase(Phase::idle);
}

void RecordingController::finished(const ReelResult& reel) {
    progress_.set(take_->progress());
    endTake();
    if (!reel)
        seams_.views.messages.alert(QStringLiteral("Recording couldn’t be finished"),
                                    QString::fromStdString(reel.error().message));
    else if (*reel)
        seams_.views.mainWindow.showReel(**reel);
    else
        seams_.views.messages.alert(
            QStringLiteral("Nothing was recorded"),
            QStringLiteral("No picture came from the screen, so there is nothing to keep."));
    emit ended();
}

void RecordingController::failed(const Failure& failure) {
    const QString text = QString::fromStdString(failure.message);
    if (take_) {
        stop();
        return seams_.views.messages.alert(QStringLiteral("Recording stopped"), text);
    }
    setPhase(Phase::idle);
    setBarShown(false);
    seams_.library.setScreenAccess(seams_.platform.screen().hasAccess());
    seams_.views.messages.alert(QStringLiteral("Recording couldn’t start"), text);
}

void RecordingController::setPhase(Phase phase) {
    phase_ = phase;
    emit phaseChanged();
}

} // namespace glintro
