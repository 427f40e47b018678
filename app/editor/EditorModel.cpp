#include "app/editor/EditorModel.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "app/base/Text.h"
#include "app/editor/ReelNotices.h"
#include "app/pictures/Moments.h"

namespace glintro {
namespace {

constexpr Seconds kLooksAfterOpening = 0.2;
constexpr Seconds kLooksAfterChange = 0.35;

} // namespace

EditorModel::EditorModel(const Project& project, const EditorSurroundings& surroundings, QObject* parent)
    : QObject(parent),
      folder_(project.folder()),
      player_(surroundings.player),
      edits_(project.info.settings, project.info.duration),
      playback_(edits_, surroundings.player),
      selection_(edits_, shots_, playback_),
      actions_(edits_, selection_, playback_, surroundings.preferences),
      panels_(edits_),
      looks_(edits_),
      saver_(project, surroundings.timers),
      pictures_(project),
      lookPreviews_(project, surroundings.wallpaper),
      post_(std::make_shared<MainThreadPost>(*this)) {
    shots_.setShots(edits_.shots());
    playback_.clock()->setTime(edits_.map().source(0));
    connectParts();
    connectSaver();
}

EditorModel::~EditorModel() {
    if (isOpen_) closeAndWait();
    post_->close();
}

void EditorModel::connectParts() {
    connect(&edits_, &ReelEdits::changed, this, &EditorModel::handleChange);
    connect(&edits_, &ReelEdits::gestureChanged, this, [this] {
        if (!edits_.isDragging() && std::exchange(showsEdge_, false)) playback_.showPlayhead();
    });
    connect(&looks_, &LookChoice::hoveredChanged, this, [this] { showSettings(false); });
    connect(&playback_, &Playback::rested, this, &EditorModel::refreshLooks);
    connect(&actions_, &ShotActions::toastShown, this, &EditorModel::toastShown);
    connect(&actions_, &ShotActions::beeped, this, &EditorModel::beeped);
    connect(&player_, &PlayerTransport::opened, this, [this] { isPlayable_ = true; });
    connect(&player_, &PlayerTransport::failed, this, &EditorModel::handlePlayerFailure);
}

void EditorModel::connectSaver() {
    connect(&saver_, &ProjectSaver::saved, this, &EditorModel::saved);
    connect(&saver_, &ProjectSaver::closed, this, &EditorModel::closed);
    connect(&saver_, &ProjectSaver::nameArrived, this, &EditorModel::nameChanged);
    connect(&saver_, &ProjectSaver::settingsArrived, this, &EditorModel::handleTheirs);
    connect(&saver_, &ProjectSaver::settingsOverruled, this, &EditorModel::handleOverruled);
    connect(&saver_, &ProjectSaver::isReelGoneChanged, this, &EditorModel::handleGone);
    connect(&saver_, &ProjectSaver::looked, this, [this] { hasLooked_ = true; });
}

void EditorModel::open() {
    isOpen_ = true;
    isPlayable_ = false;
    setHasFailed(false);
    player_.open(project(), edits_.settings(), playback_.playerTime());
    saver_.watch();
    reading_.post([post = post_, project = project(), this] {
        // The call runs on the main thread, and only while there is a model.
        (*post)([this, material = readMaterial(project)]() mutable { handleMaterial(std::move(material)); });
    });
    requestPictures();
    refreshLooks(kLooksAfterOpening);
}

void EditorModel::close() {
    stop();
    saver_.close();
}

bool EditorModel::closeAndWait() {
    stop();
    return saver_.closeAndWait();
}

void EditorModel::stop() {
    if (!std::exchange(isOpen_, false)) return;
    edits_.endEdgeDrag();
    edits_.endGesture();
    playback_.pause();
    player_.close();
    pictures_.request({});
    lookPreviews_.cancel();
}

// The one place that decides what a change of the settings sets in motion.
void EditorModel::handleChange(const SettingsChange& change) {
    if (change.shots) {
        shots_.setShots(edits_.shots());
        selection_.follow();
        requestPictures();
    }
    saver_.setSettings(edits_.settings());
    showSettings(change.structure);
    if (change.lookPreviews) refreshLooks(kLooksAfterChange);
}

void EditorModel::showSettings(bool isOtherStructure) {
    if (!isOpen_) return;
    const auto edge = edits_.draggedEdge();
    player_.setSettings(looks_.shown(), playback_.playerTime());
    if (isOtherStructure) playback_.keepRange();
    if (!edge) return;
    showsEdge_ = true;
    playback_.show(*edge);
}

void EditorModel::setCardsInSight(int first, int last) {
    if (first == firstInSight_ && last == lastInSight_) return;
    firstInSight_ = first;
    lastInSight_ = last;
    requestPictures();
}

void EditorModel::requestPictures() {
    if (!isOpen_) return;
    std::vector<Seconds> moments;
    const auto addCards = [&](bool inSight) {
        for (const Shot& shot : edits_.shots()) {
            const bool isInSight = shot.number >= firstInSight_ && shot.number <= lastInSight_;
            if (isInSight == inSight) moments.push_back(cardMoment(shot));
        }
    };
    addCards(true);
    const std::vector<Seconds> strip = stripMoments(duration());
    moments.insert(moments.end(), strip.begin(), strip.end());
    addCards(false);
    pictures_.request(moments);
}

void EditorModel::refreshLooks(Seconds delay) {
    if (isOpen_) lookPreviews_.refresh(edits_.settings(), playback_.clock()->time(), delay);
}

// Before anything was done here, the file is simply newer than what the library had loaded.
void EditorModel::handleTheirs(const ProjectSettings& theirs) {
    if (!hasLooked_ && !edits_.canUndo() && !edits_.canRedo()) return edits_.reset(theirs);
    edits_.adopt(theirs);
    emit toastShown({.text = toQt(notice::kChangedOutside), .symbol = "info"});
}

void EditorModel::handleOverruled(const ProjectSettings& theirs) {
    edits_.keepForUndo(theirs);
    emit toastShown({.text = toQt(notice::kOutsideOverruled), .symbol = "info"});
}

void EditorModel::handleGone() {
    const bool isGone = saver_.isReelGone();
    emit toastShown({.text = toQt(isGone ? notice::kReelGone : notice::kReelIsBack),
                     .symbol = isGone ? "warning" : "info",
                     .tone = isGone ? Toast::Tone::problem : Toast::Tone::plain});
}

// A recording that plays but for a frame, or a disk that stalls, leaves the editor of use.
void EditorModel::handlePlayerFailure(const QString& message) {
    if (!isPlayable_) return setHasFailed(true);
    emit toastShown({.text = message, .symbol = "warning", .tone = Toast::Tone::problem});
}

void EditorModel::setHasFailed(bool hasFailed) {
    if (std::exchange(hasFailed_, hasFailed) != hasFailed) emit failureChanged();
}

void EditorModel::handleMaterial(ReelMaterial material) {
    clickTimes_.clear();
    for (const EventSample& click : material.clicks) clickTimes_.append(click.sourceTime());
    actions_.setClicks(std::exchange(material.clicks, {}));
    material_ = std::move(material);
    emit materialChanged();
}

QString EditorModel::name() const {
    return QString::fromStdString(saver_.newest().name);
}

void EditorModel::rename(const QString& name) {
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed == this->name()) return;
    saver_.setName(trimmed.toStdString());
    saver_.saveNow();
    emit nameChanged();
    emit toastShown({.text = QStringLiteral("Renamed to “%1”").arg(trimmed), .symbol = "pencil"});
}

QString EditorModel::failure() const {
    return hasFailed_ ? toQt(notice::kCannotOpen) : QString();
}

QString EditorModel::failureAdvice() const {
    return hasFailed_ ? toQt(notice::kCannotOpenAdvice) : QString();
}

QString EditorModel::pointerNotice() const {
    return toQt(material_.pointerNotice);
}

QString EditorModel::cameraNotice() const {
    return toQt(material_.cameraNotice);
}

QString EditorModel::zoomsNotice() const {
    return toQt(material_.zoomsNotice);
}

} // namespace glintro
