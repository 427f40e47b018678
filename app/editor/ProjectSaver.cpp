#include "app/editor/ProjectSaver.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cerrno>
#include <utility>

#include "app/base/MainThreadPost.h"
#include "app/base/NewestOrder.h"
#include "app/base/Text.h"
#include "app/editor/ReelNotices.h"

namespace glintro {
namespace {

// A program that saves may touch several files of the folder in turn.
constexpr std::chrono::milliseconds kLookDelay{100};

QString pathOf(const std::filesystem::path& path) {
    return QString::fromStdString(path.string());
}

} // namespace

// What the background thread works on. It may outlive the saver, when the disk does not answer.
struct ProjectSaver::Worker {
    struct SaveOrder {
        ProjectInfo info;
        int ticket = 0;
    };

    Worker(const Project& project, QObject& receiver) : file(project), post(receiver) {}

    NewestOrder<SaveOrder> orders;
    ProjectFile file; // background thread only
    MainThreadPost post;
};

ProjectSaver::ProjectSaver(const Project& project, const DelayTimers& timers, QObject* parent)
    : QObject(parent),
      project_(project),
      newest_(project.info),
      onDisk_(project.info),
      debounce_(timers()),
      retry_(timers()),
      stall_(timers()),
      lookDelay_(timers()),
      worker_(std::make_shared<Worker>(project, *this)),
      queue_(std::make_shared<BackgroundQueue>()) {}

ProjectSaver::~ProjectSaver() {
    if (!isClosed_) closeAndWait();
    worker_->post.close();
}

void ProjectSaver::setSettings(const ProjectSettings& settings) {
    newest_.settings = settings;
    schedule();
}

void ProjectSaver::setName(const std::string& name) {
    newest_.name = name;
    schedule();
}

void ProjectSaver::schedule() {
    if (isUnsaved())
        debounce_->start(kDebounce, [this] { saveNow(); });
    else
        debounce_->stop();
    updateState();
}

void ProjectSaver::saveNow() {
    debounce_->stop();
    retry_->stop();
    if (isSaving_ ? handedOver_ == newest_ : !isUnsaved()) return;
    isSaving_ = true;
    handedOver_ = newest_;
    if (!worker_->orders.put({newest_, ++ticket_})) {
        awaitDisk();
        queue_->post([worker = worker_, queue = queue_, this] {
            // The calls run on the saver's thread, and only while there is a saver.
            while (const auto order = worker->orders.next())
                worker->post([this, ticket = order->ticket, outcome = worker->file.save(order->info)] {
                    finishSave(ticket, outcome);
                });
        });
    }
    updateState();
}

void ProjectSaver::awaitDisk() {
    stall_->start(kStall, [this] {
        setFailure(ETIMEDOUT);
        updateState();
    });
}

void ProjectSaver::finishSave(int ticket, const Outcome& outcome) {
    isSaving_ = ticket != ticket_;
    isSaving_ ? awaitDisk() : stall_->stop();
    if (!outcome) {
        setIsReelGone(outcome.error().nativeCode == ENOENT);
        setFailure(outcome.error().nativeCode);
        if (!isSaving_) retryLater();
        updateState();
    } else {
        setIsReelGone(false);
        message_.clear();
        nextRetry_ = kFirstRetry;
        absorb(*outcome);
        emit saved(Project(project_.folder(), outcome->now));
    }
    if (isClosed_ && !isSaving_) emit closed(!isUnsaved());
}

// What another program changed goes into the newest value, and the news to those who show it.
void ProjectSaver::absorb(const ProjectFile::News& news) {
    onDisk_ = news.now;
    isDamaged_ = news.isDamaged; // or half written: it is looked at once more before it is replaced
    const ProjectInfo ours = newest_;
    if (news.theirs) {
        const bool isRenamed = ours.name == news.before.name && news.theirs->name != ours.name;
        const bool isEdited =
            news.theirs->settings != news.before.settings && news.theirs->settings != ours.settings;
        const bool isOverruled = isEdited && ours.settings != news.before.settings;
        newest_ = *news.theirs;
        if (!isRenamed) newest_.name = ours.name;
        if (!isEdited || isOverruled) newest_.settings = ours.settings;
        if (isRenamed) emit nameArrived(newest_.name);
        if (isOverruled) emit settingsOverruled(news.theirs->settings);
        if (isEdited && !isOverruled) emit settingsArrived(news.theirs->settings);
    }
    if (isUnsaved() && !isSaving_ && !isClosed_ && !debounce_->isActive()) return schedule();
    updateState();
}

void ProjectSaver::setFailure(int error) {
    message_ = toQt(notice::notSaved(error));
}

void ProjectSaver::retryLater() {
    retry_->start(nextRetry_, [this] { saveNow(); });
    nextRetry_ = std::min(nextRetry_ * 2, kLastRetry);
}

void ProjectSaver::setIsReelGone(bool isGone) {
    if (std::exchange(isReelGone_, isGone) != isGone) emit isReelGoneChanged();
}

void ProjectSaver::updateState() {
    if (!isSaving_ && !isUnsaved()) {
        message_.clear();
        retry_->stop();
    }
    State state = isSaving_ ? State::saving : isUnsaved() ? State::unsaved : State::saved;
    if (!message_.isEmpty()) state = State::failed;
    const bool isSame = state == state_ && message_ == toldMessage_;
    state_ = state;
    toldMessage_ = message_;
    if (!isSame) emit stateChanged();
}

void ProjectSaver::watch() {
    if (!isClosed_ && !isLooking_) look();
}

void ProjectSaver::scheduleLook() {
    looksAgain_ = isLooking_;
    if (!isLooking_ && !lookDelay_->isActive()) lookDelay_->start(kLookDelay, [this] { look(); });
}

void ProjectSaver::look() {
    isLooking_ = true;
    queue_->post([worker = worker_, this] {
        worker->post([this, outcome = worker->file.look()] { finishLook(outcome); });
    });
}

void ProjectSaver::finishLook(const Outcome& outcome) {
    isLooking_ = false;
    if (isClosed_) return;
    const bool isGone = !outcome && outcome.error().nativeCode == ENOENT;
    const bool isBack = isReelGone_ && !isGone;
    setIsReelGone(isGone);
    if (outcome) absorb(*outcome);
    if (isBack) saveNow();
    watchFile();
    if (std::exchange(looksAgain_, false)) scheduleLook();
    emit looked();
}

// Renames show in the folder, the folder's own end in the one above it, and a file that is written in place
// only in itself; whoever replaces the file ends the watch on it. The disk has just answered, so this does
// not wait for it.
void ProjectSaver::watchFile() {
    if (!watcher_) {
        watcher_ = std::make_unique<QFileSystemWatcher>();
        connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, this, &ProjectSaver::scheduleLook);
        connect(watcher_.get(), &QFileSystemWatcher::fileChanged, this, &ProjectSaver::scheduleLook);
    }
    bool isNew = watcher_->addPath(pathOf(project_.folder().parent_path()));
    if (!isReelGone_) {
        isNew |= watcher_->addPath(pathOf(project_.folder()));
        isNew |= watcher_->addPath(pathOf(project_.infoURL()));
    }
    looksAgain_ |= isNew; // for what happened between the last look and now
}

void ProjectSaver::close() {
    watcher_.reset();
    lookDelay_->stop();
    saveNow();
    isClosed_ = true;
    if (!isSaving_) worker_->post([this] { emit closed(!isUnsaved()); });
}

bool ProjectSaver::closeAndWait(std::chrono::milliseconds timeout) {
    close();
    if (queue_->waitUntilIdle(timeout)) QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    return !isUnsaved() && !isSaving_;
}

} // namespace glintro
