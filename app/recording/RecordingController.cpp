#include "app/recording/RecordingController.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr std::chrono::milliseconds kTickInterval{100};
constexpr std::chrono::milliseconds kWatchTickInterval{200};

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
      finishTimeout_(timing.finishTimeout),
      switches_(seams.preferences),
      sound_(std::make_shared<SharedSound>(seams.platform.sound())),
      cameras_(std::make_shared<SharedCameras>(seams.platform.cameras())),
      microphoneLevel_(sound_),
      cameraPreview_(cameras_),
      countdown_(timing.countdownStep),
      mainThread_(std::make_shared<MainThreadPost>(*this)) {
    connectParts();
    tick_.setInterval(kTickInterval);
    connect(&tick_, &QTimer::timeout, this, &RecordingController::tick);
    watchTick_.setInterval(kWatchTickInterval);
    connect(&watchTick_, &QTimer::timeout, this, &RecordingController::watchBackground);
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

RecordingController::~RecordingController() {
    blockSignals(true); // those who listened may have gone already
    starting_.request_stop();
    if (startingTake_) background_.post([take = startingTake_] { take->discard(); });
    if (phase_ == Phase::recording) stop();
    const bool answers = waitForBackground();
    mainThread_->close();
    releaseInBackground(std::exchange(take_, nullptr));
    releaseInBackground(std::exchange(startingTake_, nullptr));
    if (handover_) releaseInBackground(handover_->close());
    if (answers) (void)waitForBackground();
}

// Its end closes files and devices.
void RecordingController::releaseInBackground(TakePtr take) {
    if (take) background_.post([take = std::move(take)]() mutable { take.reset(); });
}

std::int64_t RecordingController::doneInBackground() const {
    const TakePtr& take = take_ ? take_ : startingTake_;
    return take ? take->finishingProgress() : 0;
}

// False when it hangs, and was left behind.
bool RecordingController::waitForBackground() {
    ProgressWatch progress;
    while (!background_.waitUntilIdle(kTickInterval)) {
        if (progress.stalledFor(doneInBackground(), hostTime()) < finishTimeout_) continue;
        if (take_) take_->letGo();
        if (startingTake_) startingTake_->letGo();
        background_.abandon();
        return false;
    }
    return true;
}

// The work hands back what to do about it on the main thread, which is dropped when the controller has gone
// by then. The work itself may outlive the controller.
void RecordingController::inBackground(std::function<std::function<void()>()> work) {
    background_.post([post = mainThread_, work = std::move(work)] { (*post)(work()); });
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
    if (isStarting_) cancelStart();
    setBarShown(false);
    setPhase(Phase::idle);
}

void RecordingController::loadSources() {
    inBackground([this, number = ++contentNumber_, &screen = seams_.platform.screen()] {
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
    return (phase_ == Phase::choosing || phase_ == Phase::idle) && !isStarting_;
}

void RecordingController::setMode(Mode mode) {
    if (mode == Mode::area) return chooseArea();
    if (isChoosing()) sources_.setMode(mode);
}

void RecordingController::chooseArea() {
    if (phase_ != Phase::choosing || isStarting_ || seams_.views.areaPicker == nullptr) return;
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
    if (filter) return prepare(*filter);
    failed(filter.error());
    emit ended();
}

void RecordingController::prepare(const ContentFilter& filter) {
    ++takeNumber_;
    starting_ = std::stop_source();
    countsDown_ = switches_.countdownOn();
    failedEarly_.reset();
    progress_.set({});
    elapsed_ = 0;
    handover_ = std::make_shared<Handover<LiveTake>>();
    setStarting(true);
    inBackground([this, number = takeNumber_, handover = handover_, order = order(filter),
                  handlers = handlers(), &screen = seams_.platform.screen(), sound = sound_,
                  cameras = cameras_, &library = seams_.library, cancel = starting_.get_token()] {
        auto take = LiveTake::prepare(order, {screen, *sound, *cameras}, library, handlers, cancel);
        Result<void> result;
        if (take)
            handover->put(*std::move(take));
        else
            result = std::unexpected(take.error());
        return [this, number, result] {
            if (number == takeNumber_) prepared(result);
        };
    });
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
    const auto onMain = [this, post = mainThread_, number = takeNumber_](auto call) {
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
    if (isStarting_)
        failedEarly_ = failure; // judged once the take is known to run
    else if (take_ && phase_ == Phase::recording)
        failed(failure);
}

void RecordingController::prepared(const Result<void>& result) {
    startingTake_ = handover_->get();
    const bool isCancelled = starting_.stop_requested();
    if (result && isCancelled) return discardStart();
    if (!result) {
        if (!isCancelled && result.error().isCancelled())
            refused(result.error());
        else if (!isCancelled)
            failed(result.error());
        return endStart();
    }
    if (countsDown_)
        countdown_.start();
    else
        launch();
}

void RecordingController::showCountdown() {
    setPhase(Phase::countdown);
    if (seams_.views.countdown != nullptr)
        seams_.views.countdown->showCountdown(countdown_.number(), targetScreen());
}

void RecordingController::countdownEnded() {
    launch();
    if (seams_.views.countdown != nullptr) seams_.views.countdown->hideCountdown();
}

void RecordingController::cancelCountdown() {
    if (phase_ != Phase::countdown) return;
    countdown_.cancel();
    cancelStart();
    if (seams_.views.countdown != nullptr) seams_.views.countdown->hideCountdown();
    setPhase(Phase::choosing);
    if (!isLaunching_) discardStart(); // else launched() does so
}

void RecordingController::launch() {
    isLaunching_ = true;
    inBackground([this, number = takeNumber_, take = startingTake_] {
        const Seconds startHost = hostTime();
        const auto started = take->start();
        if (!started) take->discard();
        return [this, number, startHost, started] {
            if (number == takeNumber_) launched(started, startHost);
        };
    });
}

void RecordingController::launched(const Result<void>& started, Seconds startHost) {
    isLaunching_ = false;
    const bool isCancelled = starting_.stop_requested();
    if (started && isCancelled) return discardStart();
    if (started) return record(startHost);
    if (!isCancelled) failed(started.error());
    endStart();
}

void RecordingController::cancelStart() {
    starting_.request_stop();
    watch_ = {};
    watchTick_.start();
}

void RecordingController::discardStart() {
    inBackground([this, number = takeNumber_, take = startingTake_] {
        take->discard();
        return [this, number] {
            if (number == takeNumber_) endStart();
        };
    });
}

void RecordingController::endStart() {
    watchTick_.stop();
    isLaunching_ = false;
    releaseInBackground(std::exchange(startingTake_, nullptr));
    setStarting(false);
    emit ended();
}

// By the user, in the system's dialog: they may want to choose something else.
void RecordingController::refused(const Failure& failure) {
    seams_.views.messages.notice(QString::fromStdString(failure.message));
}

void RecordingController::record(Seconds startHost) {
    take_ = std::exchange(startingTake_, nullptr);
    startHost_ = take_->firstFrameTime().value_or(startHost);
    pauses_ = {};
    isPaused_ = false;
    setStarting(false);
    tick();
    setPhase(Phase::recording);
    setBarShown(true);
    tick_.start();
    if (failedEarly_) failed(*std::exchange(failedEarly_, std::nullopt));
}

void RecordingController::tick() {
    const Seconds now = hostTime();
    startHost_ = take_->firstFrameTime().value_or(startHost_);
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
    watch_ = {};
    watchTick_.start();
    inBackground([this, number = takeNumber_, take = take_, pauses = pauses_] {
        return [this, number, reel = take->finish(pauses)] {
            if (number == takeNumber_) finished(reel);
        };
    });
}

void RecordingController::watchBackground() {
    if (watch_.stalledFor(doneInBackground(), hostTime()) < finishTimeout_) return;
    if (take_)
        letGo();
    else
        letStartGo();
}

// The thread that hangs is left behind, and the take with it.
void RecordingController::letGo() {
    const QString text = QString::fromStdString(diskHangs(take_->folder()).message);
    take_->letGo();
    ++takeNumber_;
    background_.abandon();
    endTake();
    seams_.views.messages.alert(QStringLiteral("Recording couldn’t be finished"), text);
    emit ended();
}

// Nobody waits for its take any more, and a later start must not wait for its thread.
void RecordingController::letStartGo() {
    if (startingTake_) startingTake_->letGo();
    ++takeNumber_;
    background_.abandon();
    releaseInBackground(handover_->close());
    endStart();
}

void RecordingController::endTake() {
    watchTick_.stop();
    releaseInBackground(std::exchange(take_, nullptr));
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

void RecordingController::setStarting(bool starting) {
    isStarting_ = starting;
    emit canStartChanged();
}

} // namespace glintro
