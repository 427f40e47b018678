#pragma once

#include <QDateTime>
#include <QImage>
#include <QObject>
#include <QString>
#include <QUrl>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "core/export/Exporter.h"

namespace glintro {

// One render of the export sheet: runs it in the background and publishes state, progress and a live frame on
// the thread that owns the job. Destroying a job that runs cancels it, waits, and leaves no file.
//
//   setup ──run──► running ──► done | failed ──run──► running ...
//                     └─cancel──► setup
class ExportJob : public QObject {
    Q_OBJECT
    Q_PROPERTY(State state READ state NOTIFY stateChanged FINAL)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged FINAL)
    Q_PROPERTY(double remaining READ remaining NOTIFY progressChanged FINAL)
    Q_PROPERTY(QDateTime started READ started NOTIFY stateChanged FINAL)
    Q_PROPERTY(QUrl file READ file NOTIFY stateChanged FINAL)
    Q_PROPERTY(bool isCancelling READ isCancelling NOTIFY stateChanged FINAL)
    Q_PROPERTY(QString title READ title NOTIFY stateChanged FINAL)
    Q_PROPERTY(QString message READ message NOTIFY stateChanged FINAL)
    Q_PROPERTY(QString advice READ advice NOTIFY stateChanged FINAL)
    Q_PROPERTY(QImage frame READ frame NOTIFY frameChanged FINAL)
    Q_PROPERTY(int frameIndex READ frameIndex NOTIFY frameChanged FINAL)
    Q_PROPERTY(int frameTotal READ frameTotal NOTIFY frameChanged FINAL)
    Q_PROPERTY(QString counter READ counter NOTIFY frameChanged FINAL)

  public:
    enum class State { setup, running, done, failed };
    Q_ENUM(State)

    explicit ExportJob(QObject* parent = nullptr);
    ~ExportJob() override;

    // Starts a render; does nothing while one runs.
    void run(const Project& project, const ProjectSettings& settings, const ExportOptions& options,
             const std::filesystem::path& url, std::shared_ptr<const BgraImage> wallpaper);

    // Asks the render to stop before its next frame, or while the file is being finished; the unfinished file
    // is removed and the job is in setup again. A file that is in its place already stays: the job is done.
    Q_INVOKABLE void cancel();

    State state() const { return state_; }
    double progress() const { return progress_; } // 0..1
    double remaining() const;                     // seconds; below 0 while it is too early to tell
    QDateTime started() const { return started_; }
    bool isCancelling() const { return isCancelling_; } // cancelled, and not yet stopped
    QUrl file() const { return file_; }                 // of the finished movie, when done
    QString title() const;                              // the outcome in a few words: when done or failed
    QString message() const { return message_; }        // why it failed; when done, what the movie lacks
    QString advice() const;                             // what to try, when failed
    QImage frame() const { return frame_; }             // the last preview
    int frameIndex() const { return frameIndex_; }
    int frameTotal() const { return frameTotal_; }
    QString counter() const; // "FRAME 0004 / 0151"

  signals:
    void stateChanged();
    void progressChanged();
    void frameChanged();

  private:
    // What the render has reported and the owner's thread has not published yet: only the newest counts.
    struct Mailbox {
        std::mutex mutex;
        std::optional<double> progress;   // guarded by mutex
        std::optional<ExportFrame> frame; // guarded by mutex
    };
    template <class Put>
    void post(Put put);
    void publish();
    void finish(const Result<ExportOutcome>& result, const std::filesystem::path& url);
    void setState(State state);

    State state_ = State::setup;
    bool isCancelling_ = false;
    double progress_ = 0;
    QDateTime started_;
    QUrl file_;
    QString message_;
    QImage frame_;
    int frameIndex_ = 0;
    int frameTotal_ = 0;

    std::shared_ptr<ExportCancel> cancel_;
    Mailbox mailbox_;
    std::jthread task_;
};

} // namespace glintro
