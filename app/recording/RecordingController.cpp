#include "app/recording/RecordingController.h"

#include <QCoreApplication>
#include <QRectF>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr int kCountdownFrom = 3;
constexpr std::chrono::milliseconds kTickInterval{100};

} // namespace

RecordingController::RecordingController(const Seams& seams, std::chrono::milliseconds countdownStep,
                                         QObject* parent)
    : QObject(parent), seams_(seams), preferences_(seams.preferences), countdownStep_(countdownStep) {
    countdownTimer_.setSingleShot(true);
    connect(&countdownTimer_, &QTimer::timeout, this, [this] { countDown(countdownNumber_ - 1); });
    tick_.setInterval(kTickInterval);
    connect(&tick_, &QTimer::timeout, this, &RecordingController::tick);
    connect(&preferences_, &Preferences::changed, this, &RecordingController::switchesChanged);
}

RecordingController::~RecordingController() {
    blockSignals(true); // those who listened may have gone already
    starting_.request_stop();
    if (phase_ == Phase::recording) stop();
}

// The work hands back what to do about it on the main thread, which is left undone when the controller has
// gone by then.
void RecordingController::inBackground(std::function<std::function<void()>()> work) {
    background_.post(
        [this, work = std::move(work)] { QMetaObject::invokeMethod(this, work(), Qt::QueuedConnection); });
}

void RecordingController::openBar() {
    if (phase_ != Phase::idle) return;
    const bool hasAccess = seams_.platform.screen().hasAccess();
    seams_.library.setScreenAccess(hasAccess);
    if (!hasAccess) {
        seams_.views.showMainWindow();
        seams_.views.presentPermissionSheet();
        return;
    }
    setPhase(Phase::choosing);
    seams_.views.showBar();
    loadSources();
}

void RecordingController::closeBar() {
    if (phase_ != Phase::choosing) return;
    starting_.request_stop();
    seams_.views.hideBar();
    setPhase(Phase::idle);
}

void RecordingController::loadSources() {
    const int number = ++contentNumber_;
    inBackground([this, number] {
        return [this, number, content = seams_.platform.screen().content()] {
            if (number == contentNumber_) takeContent(content);
        };
    });
}

void RecordingController::takeContent(const Result<ShareableContent>& content) {
    choice_.offer(content.value_or(ShareableContent()));
    emit sourcesChanged();
    emit choiceChanged();
    if (!content) seams_.views.notice(QString::fromStdString(content.error().message));
}

bool RecordingController::isChoosing() const {
    return (phase_ == Phase::choosing || phase_ == Phase::idle) && !isStarting_;
}

void RecordingController::setMode(Mode mode) {
    if (mode == Mode::area) return chooseArea();
    if (!isChoosing()) return;
    choice_.setMode(mode);
    emit choiceChanged();
}

void RecordingController::chooseArea() {
    if (phase_ != Phase::choosing || isStarting_) return;
    seams_.views.hideBar();
    seams_.views.pickArea(area(), [this](const std::optional<Rect>& area) {
        if (phase_ != Phase::choosing) return;
        if (area) setArea(*area);
        seams_.views.showBar();
    });
}

void RecordingController::select(const CaptureSource::Kind& kind) {
    if (!isChoosing()) return;
    choice_.select(kind);
    emit choiceChanged();
}

void RecordingController::chooseAgain() {
    if (isChoosing()) seams_.platform.screen().forgetChoice();
}

void RecordingController::setArea(const Rect& area) {
    if (!isChoosing()) return;
    choice_.setArea(area);
    emit choiceChanged();
}

void RecordingController::setDevices(std::optional<std::string> microphone,
                                     std::optional<std::string> camera) {
    microphone_ = std::move(microphone);
    camera_ = std::move(camera);
}

void RecordingController::setMicOn(bool on) {
    preferences_.setRecordMic(on);
}

void RecordingController::setCameraOn(bool on) {
    preferences_.setRecordCamera(on);
}

void RecordingController::setCountdownOn(bool on) {
    preferences_.setCountdown(on);
}

void RecordingController::start() {
    if (phase_ != Phase::choosing || !canStart()) return;
    if (countdownOn())
        countDown(kCountdownFrom);
    else
        begin();
}

void RecordingController::countDown(int number) {
    if (number == 0) {
        seams_.views.hideCountdown();
        begin();
        return;
    }
    countdownNumber_ = number;
    setPhase(Phase::countdown);
    seams_.views.showCountdown(number, targetScreen());
    countdownTimer_.start(countdownStep_);
}

void RecordingController::cancelCountdown() {
    if (phase_ != Phase::countdown) return;
    countdownTimer_.stop();
    starting_.request_stop();
    seams_.views.hideCountdown();
    setPhase(Phase::choosing);
}

void RecordingController::begin() {
    const auto filter = choice_.filter();
    if (!filter) {
        failed(filter.error());
        emit ended();
        return;
    }
    ++takeNumber_;
    starting_ = std::stop_source();
    failedEarly_.reset();
    progress_ = {};
    elapsed_ = 0;
    setStarting(true);
    inBackground([this, order = order(*filter), handlers = handlers(), cancel = starting_.get_token()] {
        auto take = LiveTake::begin(order, seams_.platform, seams_.library, handlers, cancel);
        TakeResult result = std::unexpected(Failure());
        if (take)
            result = *std::move(take);
        else
            result = std::unexpected(take.error());
        return [this, result] { begun(result); };
    });
}

TakeOrder RecordingController::order(const ContentFilter& filter) const {
    return {filter,
            {.pixelSize = {}, // known once the stream is open
             .fps = preferences_.captureFPS(),
             .hevc = preferences_.useHEVC(),
             .mic = micOn(),
             .camera = cameraOn(),
             .micDevice = microphone_,
             .cameraDevice = camera_}};
}

// Whatever comes from a take that is not the running one any more is passed over.
TakeHandlers RecordingController::handlers() {
    const auto onMain = [this, number = takeNumber_](auto call) {
        QMetaObject::invokeMethod(
            this,
            [this, number, call] {
                if (number == takeNumber_) call();
            },
            Qt::QueuedConnection);
    };
    return {.failed = [this, onMain](const Failure& failure) { onMain([=, this] { takeFailed(failure); }); },
            .notice =
                [this, onMain](const std::string& sentence) {
                    onMain([=, this] { seams_.views.notice(QString::fromStdString(sentence)); });
                }};
}

void RecordingController::takeFailed(const Failure& failure) {
    if (isStarting_)
        failedEarly_ = failure; // judged once the take is known to run
    else if (take_)
        failed(failure);
}

void RecordingController::begun(const TakeResult& take) {
    const bool isTakenBack = starting_.stop_requested();
    setStarting(false);
    if (take && !isTakenBack) {
        record(*take);
        return;
    }
    if (take)
        discard(*take);
    else if (!isTakenBack && take.error().isCancelled())
        refused(take.error());
    else if (!isTakenBack)
        failed(take.error());
    emit ended();
}

void RecordingController::discard(const std::shared_ptr<LiveTake>& take) {
    inBackground([take] {
        take->discard();
        return [] {};
    });
}

// By the user, in the system's dialog: they may want to choose something else.
void RecordingController::refused(const Failure& failure) {
    setPhase(Phase::choosing);
    seams_.views.notice(QString::fromStdString(failure.message));
}

void RecordingController::record(const std::shared_ptr<LiveTake>& take) {
    take_ = take;
    startHost_ = hostTime();
    pauses_ = {};
    isPaused_ = false;
    setPhase(Phase::recording);
    seams_.views.showBar();
    tick_.start();
    if (failedEarly_) failed(*std::exchange(failedEarly_, std::nullopt));
}

void RecordingController::tick() {
    const Seconds now = hostTime();
    elapsed_ = std::max(0.0, now - startHost_ - pauses_.paused(now));
    emit elapsedChanged();
    progress_ = take_->progress();
    emit progressChanged();
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

void RecordingController::endPause(Seconds at) {
    pauses_.resume(at);
    take_->resume(at);
    isPaused_ = false;
}

void RecordingController::stop() {
    if (phase_ != Phase::recording) return;
    tick_.stop();
    if (isPaused_) endPause(hostTime());
    tick();
    setPhase(Phase::finishing);
    inBackground([this, take = take_, pauses = pauses_] {
        return [this, reel = take->finish(pauses)] { finished(reel); };
    });
}

void RecordingController::finished(const ReelResult& reel) {
    progress_ = take_->progress();
    emit progressChanged();
    take_.reset();
    seams_.views.hideBar();
    setPhase(Phase::idle);
    if (!reel)
        seams_.views.alert(QStringLiteral("Recording couldn’t be finished"),
                           QString::fromStdString(reel.error().message));
    else if (*reel)
        seams_.views.showReel(**reel);
    else
        seams_.views.alert(QStringLiteral("Nothing was recorded"),
                           QStringLiteral("No picture came from the screen, so there is nothing to keep."));
    emit ended();
}

void RecordingController::failed(const Failure& failure) {
    const QString text = QString::fromStdString(failure.message);
    if (take_) {
        stop();
        seams_.views.alert(QStringLiteral("Recording stopped"), text);
        return;
    }
    setPhase(Phase::idle);
    seams_.views.hideBar();
    seams_.library.setScreenAccess(seams_.platform.screen().hasAccess());
    seams_.views.alert(QStringLiteral("Recording couldn’t start"), text);
}

QVariant RecordingController::selectionValue() const {
    return selection() ? QVariant::fromValue(*selection()) : QVariant();
}

QVariant RecordingController::areaValue() const {
    return area() ? QVariant(QRectF(area()->x, area()->y, area()->width, area()->height)) : QVariant();
}

void RecordingController::setPhase(Phase phase) {
    phase_ = phase;
    emit phaseChanged();
}

void RecordingController::setStarting(bool starting) {
    isStarting_ = starting;
    emit choiceChanged();
}

} // namespace glintro
