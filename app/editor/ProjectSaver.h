#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <chrono>
#include <memory>
#include <string>

#include "app/base/BackgroundQueue.h"
#include "app/editor/DelayTimer.h"
#include "app/editor/ProjectFile.h"

namespace glintro {

// Keeps the project file of an open reel up to date, without the main thread ever waiting for the disk: the
// newest value is written 600 ms after the last change, and a save that failed is tried again until it
// succeeds. Other programs may write the file too. What they changed comes in, unless it was changed here as
// well: then the later save holds. A file that they damage is written again. Main thread.
//
//   saved ──change──► unsaved ──600 ms──► saving ──► saved
//                                            └──► failed ──change, back-off, "Try again"──► failed or saved
class ProjectSaver : public QObject {
    Q_OBJECT
    Q_PROPERTY(State state READ state NOTIFY stateChanged FINAL)
    Q_PROPERTY(QString message READ message NOTIFY stateChanged FINAL)
    Q_PROPERTY(bool isReelGone READ isReelGone NOTIFY isReelGoneChanged FINAL)

  public:
    enum class State { saved, unsaved, saving, failed };
    Q_ENUM(State)

    static constexpr std::chrono::milliseconds kDebounce{600};
    static constexpr std::chrono::milliseconds kFirstRetry{1000}; // each later one waits twice as long
    static constexpr std::chrono::milliseconds kLastRetry{60'000};
    static constexpr std::chrono::milliseconds kStall{
        10'000}; // a write that lasts longer is a failure to the user
    static constexpr std::chrono::milliseconds kCloseTimeout{5'000};

    // `project` is the reel as it was loaded.
    ProjectSaver(const Project& project, const DelayTimers& timers, QObject* parent = nullptr);
    ~ProjectSaver() override;

    // Looks at the file once and watches it from then on.
    void watch();

    void setSettings(const ProjectSettings& settings);
    void setName(const std::string& name);
    // What was set last, and what other programs have written.
    const ProjectInfo& newest() const { return newest_; }

    // Writes at once what is not written. Also the way to try again.
    Q_INVOKABLE void saveNow();
    // The same, and watching ends. closed() tells when the disk has answered. What is not saved then is tried
    // again as long as this object lives; a write that was begun goes on without it, as long as the program
    // does.
    void close();
    // For the program's end: the same, and waits for the disk no longer than the timeout: whether everything
    // is saved. A saver that was not closed does this when it is destroyed.
    bool closeAndWait(std::chrono::milliseconds timeout = kCloseTimeout);

    State state() const { return state_; }
    QString message() const { return message_; } // what the user is told, when failed
    bool isReelGone() const { return isReelGone_; }

  signals:
    void stateChanged();
    void isReelGoneChanged();
    void saved(const Project& project);
    // Another program changed the settings, which were unchanged here: they are the newest now.
    void settingsArrived(const ProjectSettings& theirs);
    // Another program changed the settings, and those from here hold.
    void settingsOverruled(const ProjectSettings& theirs);
    void nameArrived(const std::string& name);
    // No write goes on any more since close(); again after each further try.
    void closed(bool isSaved);
    // What watch() looked at first has been judged.
    void looked();

  private:
    struct Worker;
    using Outcome = Result<ProjectFile::News>;

    bool isUnsaved() const { return isDamaged_ || newest_ != onDisk_; }
    void schedule();
    void awaitDisk();
    void scheduleLook();
    void look();
    void watchFile();
    void finishSave(int ticket, const Outcome& outcome);
    void finishLook(const Outcome& outcome);
    void absorb(const ProjectFile::News& news);
    void setFailure(int error);
    void retryLater();
    void setIsReelGone(bool isGone);
    void updateState();

    const Project project_;
    ProjectInfo newest_;
    ProjectInfo onDisk_;     // as far as this thread knows
    bool isDamaged_ = false; // what is on the disk
    State state_ = State::saved;
    QString message_;        // of the failure that was not yet overcome; empty for none
    QString toldMessage_;    // the one that stateChanged() has told
    ProjectInfo handedOver_; // to the thread last, with this ticket
    int ticket_ = 0;
    bool isSaving_ = false;
    bool isLooking_ = false;
    bool looksAgain_ = false; // something changed while a look was under way
    bool isReelGone_ = false;
    bool isClosed_ = false;
    std::chrono::milliseconds nextRetry_ = kFirstRetry;

    std::unique_ptr<DelayTimer> debounce_;
    std::unique_ptr<DelayTimer> retry_;
    std::unique_ptr<DelayTimer> stall_;
    std::unique_ptr<DelayTimer> lookDelay_;
    std::unique_ptr<QFileSystemWatcher> watcher_; // null while nothing is watched
    std::shared_ptr<Worker> worker_;              // shared with the thread
    std::shared_ptr<BackgroundQueue> queue_;      // shared with the saves that it has not carried out
};

} // namespace glintro
