#include "app/editor/ExportJob.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "app/base/Images.h"
#include "app/base/Text.h"
#include "app/editor/ReelNotices.h"

namespace glintro {
namespace {

// Below this, a rate says more about opening files than about rendering.
constexpr double kEnoughProgress = 0.02;

} // namespace

ExportJob::ExportJob(QObject* parent) : QObject(parent) {}

ExportJob::~ExportJob() {
    if (cancel_) cancel_->cancel();
}

void ExportJob::run(const Project& project, const ProjectSettings& settings, const ExportOptions& options,
                    const std::filesystem::path& url, std::shared_ptr<const BgraImage> wallpaper) {
    if (state_ == State::running) return;
    if (task_.joinable()) task_.join();
    cancel_ = std::make_shared<ExportCancel>();
    progress_ = 0;
    frame_ = QImage();
    frameIndex_ = frameTotal_ = 0;
    started_ = QDateTime::currentDateTime();
    file_ = QUrl();
    message_.clear();
    setState(State::running);
    emit progressChanged();
    emit frameChanged();

    ExportRequest request{.project = project,
                          .settings = settings,
                          .options = options,
                          .to = url,
                          .wallpaper = std::move(wallpaper),
                          .cancel = cancel_};
    request.progress = [this](const ExportProgress& progress) {
        post([&](Mailbox& mailbox) { mailbox.progress = progress.fraction; });
    };
    request.onFrame = [this](const ExportFrame& frame) {
        post([&](Mailbox& mailbox) { mailbox.frame = frame; });
    };
    task_ = std::jthread([this, request = std::move(request)] {
        const Result<ExportOutcome> result = Exporter::run(request);
        QMetaObject::invokeMethod(
            this, [this, result, url = request.to] { finish(result, url); }, Qt::QueuedConnection);
    });
}

void ExportJob::cancel() {
    if (state_ != State::running || isCancelling_) return;
    cancel_->cancel();
    isCancelling_ = true;
    emit stateChanged();
}

// On the render's threads. One call to publish() is under way at a time, however fast reports come.
template <class Put>
void ExportJob::post(Put put) {
    const std::scoped_lock guard(mailbox_.mutex);
    const bool underWay = mailbox_.progress || mailbox_.frame;
    put(mailbox_);
    if (!underWay) QMetaObject::invokeMethod(this, &ExportJob::publish, Qt::QueuedConnection);
}

void ExportJob::publish() {
    std::unique_lock guard(mailbox_.mutex);
    const auto progress = std::exchange(mailbox_.progress, std::nullopt);
    const auto frame = std::exchange(mailbox_.frame, std::nullopt);
    guard.unlock();
    if (progress) {
        progress_ = *progress;
        emit progressChanged();
    }
    if (frame) {
        frame_ = toImage(frame->image);
        frameIndex_ = frame->index;
        frameTotal_ = frame->total;
        emit frameChanged();
    }
}

void ExportJob::finish(const Result<ExportOutcome>& result, const std::filesystem::path& url) {
    publish();
    if (result) {
        file_ = QUrl::fromLocalFile(QString::fromStdString(url.string()));
        message_ = QString::fromStdString(fmt::format("{}", fmt::join(result->warnings, " ")));
        setState(State::done);
    } else if (result.error().isCancelled()) {
        setState(State::setup);
    } else {
        message_ = QString::fromStdString(result.error().message);
        setState(State::failed);
    }
}

void ExportJob::setState(State state) {
    state_ = state;
    isCancelling_ = false;
    emit stateChanged();
}

QString ExportJob::title() const {
    if (state_ == State::done) return toQt(notice::kRenderDone);
    return state_ == State::failed ? toQt(notice::kRenderFailed) : QString();
}

QString ExportJob::advice() const {
    return state_ == State::failed ? toQt(notice::kRenderAdvice) : QString();
}

double ExportJob::remaining() const {
    if (state_ != State::running || progress_ < kEnoughProgress) return -1;
    const double elapsed = static_cast<double>(started_.msecsTo(QDateTime::currentDateTime())) / 1000;
    return std::max(elapsed * (1 - progress_) / progress_, 0.0);
}

QString ExportJob::counter() const {
    return QString::fromStdString(fmt::format("FRAME {:04} / {:04}", frameIndex_, frameTotal_));
}

} // namespace glintro
