// What of the recording controller has to do with choosing: sources, mode, area and switches.

#include <QRectF>

#include <unistd.h>

#include "app/recording/RecordingController.h"

namespace glintro {

void RecordingController::loadSources() {
    const int number = ++contentNumber_;
    inBackground([this, number] {
        return [this, number, content = seams_.platform.screen().content()] {
            if (number == contentNumber_) takeContent(content);
        };
    });
}

void RecordingController::takeContent(const Result<ShareableContent>& content) {
    content_ = content.value_or(ShareableContent());
    displays_ = displaySources(content_);
    windows_ = windowSources(content_, ::getpid());
    selectOffered();
    emit sourcesChanged();
    emit choiceChanged();
    if (!content) seams_.views.notice(QString::fromStdString(content.error().message));
}

// Keeps the selection while it can be recorded in this mode; else the first source offered takes its place.
void RecordingController::selectOffered() {
    if (mode_ == Mode::area) return;
    const bool wantsDisplay = mode_ == Mode::display;
    if (selection_ && selection_->isDisplay() == wantsDisplay && isShareable(*selection_, content_)) return;
    const QList<CaptureSource>& offered = wantsDisplay ? displays_ : windows_;
    selection_ = offered.isEmpty() ? std::nullopt : std::optional(offered.front().kind);
}

bool RecordingController::isChoosing() const {
    return (phase_ == Phase::choosing || phase_ == Phase::idle) && !isStarting_;
}

void RecordingController::setMode(Mode mode) {
    if (mode == Mode::area) return chooseArea();
    if (!isChoosing()) return;
    mode_ = mode;
    selectOffered();
    emit choiceChanged();
}

void RecordingController::chooseArea() {
    if (phase_ != Phase::choosing || isStarting_) return;
    seams_.views.hideBar();
    seams_.views.pickArea(area_, [this](const std::optional<Rect>& area) {
        if (phase_ != Phase::choosing) return;
        if (area) setArea(*area);
        seams_.views.showBar();
    });
}

void RecordingController::select(const CaptureSource::Kind& kind) {
    if (!isChoosing()) return;
    mode_ = kind.isDisplay() ? Mode::display : Mode::window;
    selection_ = kind;
    emit choiceChanged();
}

void RecordingController::setArea(const Rect& area) {
    if (!isChoosing()) return;
    mode_ = Mode::area;
    area_ = area;
    emit choiceChanged();
}

bool RecordingController::canStart() const {
    if (isStarting_) return false;
    return mode_ == Mode::area ? area_.has_value()
                               : selection_ && selection_->isDisplay() == (mode_ == Mode::display);
}

Result<ContentFilter> RecordingController::chosenFilter() const {
    if (mode_ == Mode::area) return filterFor(*area_, content_);
    return filterFor(*selection_);
}

std::optional<ShareableDisplay> RecordingController::targetScreen() const {
    std::optional<ShareableDisplay> screen;
    if (mode_ == Mode::area && area_) screen = displayAt(centreOf(*area_), content_);
    if (mode_ != Mode::area && selection_) screen = displayOf(*selection_, content_);
    if (screen || content_.displays.empty()) return screen;
    return content_.displays.front();
}

void RecordingController::setDevices(std::optional<std::string> microphone,
                                     std::optional<std::string> camera) {
    microphone_ = std::move(microphone);
    camera_ = std::move(camera);
}

void RecordingController::setMicOn(bool on) {
    if (micOn_ == on) return;
    micOn_ = on;
    preferences_.setRecordMic(on);
    emit switchesChanged();
}

void RecordingController::setCameraOn(bool on) {
    if (cameraOn_ == on) return;
    cameraOn_ = on;
    preferences_.setRecordCamera(on);
    emit switchesChanged();
}

void RecordingController::setCountdownOn(bool on) {
    if (countdownOn_ == on) return;
    countdownOn_ = on;
    preferences_.setCountdown(on);
    emit switchesChanged();
}

QVariant RecordingController::selectionValue() const {
    return selection_ ? QVariant::fromValue(*selection_) : QVariant();
}

QVariant RecordingController::areaValue() const {
    return area_ ? QVariant(QRectF(area_->x, area_->y, area_->width, area_->height)) : QVariant();
}

} // namespace glintro
