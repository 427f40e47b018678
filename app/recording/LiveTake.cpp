#include "app/recording/LiveTake.h"

#include <QDateTime>
#include <QLocale>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

#include <fmt/format.h>

#include "app/recording/EventLogger.h"
#include "core/reel/TakeJournal.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

Timestamp today() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

std::string reelName() {
    const QDateTime now = QDateTime::currentDateTime();
    return "Recording " + QLocale(QLocale::English).toString(now, "MMM d, H:mm").toStdString();
}

} // namespace

// In the order they are made; they go in the opposite one, for each uses those before it.
struct LiveTake::Impl {
    TakeLibrary& library;
    fs::path folder;
    std::unique_ptr<TakeJournal> journal = {};
    std::unique_ptr<CaptureEngine> engine = {};
    std::unique_ptr<EventLogger> logger = {};
    bool isOver = false; // finished or discarded
    std::atomic<bool> isLetGo = false;
    std::atomic<std::int64_t> finishedSteps = 0;

    Impl(TakeLibrary& takeLibrary, fs::path takeFolder)
        : library(takeLibrary), folder(std::move(takeFolder)) {}
    void follow(ScreenStream& stream, const TakeHandlers& handlers);
    Result<void> prepare(std::unique_ptr<ScreenStream> stream, const TakeOrder& order,
                         const TakeSources& sources, const TakeHandlers& handlers);
    Failure incomplete() const;
};

// A take without its pointer is still worth having.
void LiveTake::Impl::follow(ScreenStream& stream, const TakeHandlers& handlers) {
    PointerSource& pointer = stream.pointer();
    logger = std::make_unique<EventLogger>();
    pointer.setWarningHandler(handlers.notice);
    if (auto started = logger->start([&stream] { return stream.frame(); }, pointer, *journal); !started)
        handlers.notice(started.error().message);
    else if (const auto why = pointer.whyNoPresses())
        handlers.notice(*why);
}

Result<void> LiveTake::Impl::prepare(std::unique_ptr<ScreenStream> stream, const TakeOrder& order,
                                     const TakeSources& sources, const TakeHandlers& handlers) {
    auto made = TakeJournal::create(folder);
    if (!made) return std::unexpected(made.error());
    journal = *std::move(made);
    engine = std::make_unique<CaptureEngine>(folder, sources.sound, sources.cameras, *journal);
    engine->onError = handlers.failed;
    engine->onNotice = handlers.notice;
    if (stream->pointerIsEmbedded()) journal->pointerIsEmbedded();
    if (const auto choice = stream->rememberedChoice()) handlers.notice(*choice);
    CaptureSettings settings = order.settings;
    settings.pixelSize = stream->pixelSize();
    // Before the first picture, so that it is known where the pointer was then.
    follow(*stream, handlers);
    return engine->prepare(std::move(stream), settings);
}

// Why there is no reel yet, and how there can be one.
Failure LiveTake::Impl::incomplete() const {
    std::error_code unknown;
    if (!fs::exists(folder / "raw.mov", unknown) && !unknown)
        return {
            fmt::format("The recording is no longer in “{}”. If you moved it, “glintro recover” completes "
                        "it where it is now.",
                        folder.string())};
    return {
        fmt::format("The recording is kept in “{}”, but its project file can’t be written. It will be "
                    "completed when the library is next opened, or by “glintro recover”.",
                    folder.string())};
}

Result<std::unique_ptr<LiveTake>> LiveTake::prepare(const TakeOrder& order, const TakeSources& sources,
                                                    TakeLibrary& library, const TakeHandlers& handlers,
                                                    const std::stop_token& cancel) {
    auto stream = sources.screen.open(order.filter, cancel);
    if (!stream) return std::unexpected(stream.error());
    const PixelSize size = (*stream)->pixelSize();
    if (std::min(size.width, size.height) < 2)
        return failure("That is too small to be recorded: at least 2 × 2 pixels are needed.");
    if (cancel.stop_requested()) return std::unexpected(Failure::cancelled());
    auto folder = library.newProjectFolder(today());
    if (!folder) return std::unexpected(folder.error());
    std::unique_ptr<LiveTake> take(new LiveTake(std::make_unique<Impl>(library, *folder)));
    if (auto prepared = take->impl_->prepare(*std::move(stream), order, sources, handlers); !prepared)
        return std::unexpected(prepared.error());
    if (cancel.stop_requested()) return std::unexpected(Failure::cancelled());
    return take;
}

Result<void> LiveTake::start() {
    return impl_->engine->start();
}

LiveTake::LiveTake(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

LiveTake::~LiveTake() {
    discard();
}

void LiveTake::pause(Seconds hostTime) {
    impl_->engine->pause(hostTime);
}

void LiveTake::resume(Seconds hostTime) {
    impl_->engine->resume(hostTime);
}

CaptureProgress LiveTake::progress() const {
    return impl_->engine->progress();
}

std::optional<Seconds> LiveTake::firstFrameHostTime() const {
    return impl_->engine->firstFrameHostTime();
}

// Whatever step this ends at, the journal tells of an interrupted take, and the folder can be completed.
Result<std::optional<Project>> LiveTake::finish(const PauseClock& pauses) {
    const bool hasMovie = impl_->engine->stop();
    if (!hasMovie) {
        discard();
        return std::nullopt;
    }
    impl_->isOver = true;
    impl_->logger->finish();
    ++impl_->finishedSteps;
    if (impl_->isLetGo) return std::unexpected(impl_->incomplete());
    TakeRecord record = impl_->journal->record();
    record.pauses = pauses;
    ++impl_->finishedSteps;
    auto reel = impl_->library.registerRecording({impl_->folder, reelName(), std::move(record)});
    ++impl_->finishedSteps;
    if (!reel) return std::unexpected(impl_->incomplete());
    if (reel->notice) impl_->engine->onNotice(*reel->notice);
    return std::move(reel->project);
}

void LiveTake::discard() {
    if (std::exchange(impl_->isOver, true)) return;
    impl_->logger.reset();
    if (impl_->engine) impl_->engine->stop();
    if (!impl_->isLetGo) impl_->library.discardFolder(impl_->folder);
}

const std::filesystem::path& LiveTake::folder() const {
    return impl_->folder;
}

std::int64_t LiveTake::finishingProgress() const {
    return impl_->finishedSteps + impl_->engine->finishingProgress();
}

void LiveTake::letGo() {
    impl_->isLetGo = true;
}

} // namespace glintro
