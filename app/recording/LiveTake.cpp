#include "app/recording/LiveTake.h"

#include <QDateTime>
#include <QLocale>
#include <algorithm>
#include <chrono>
#include <utility>

#include <fmt/format.h>

#include "app/recording/EventLogger.h"
#include "core/media/decode/MovieReader.h"
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

Seconds durationOf(const fs::path& movie) {
    const auto reader = MovieReader::open(movie, MovieReader::Access::single);
    return reader ? (*reader)->properties().duration : 0;
}

} // namespace

// In the order they are made; they go in the opposite one, for each uses those before it.
struct LiveTake::Impl {
    TakeLibrary& library;
    fs::path folder;
    std::unique_ptr<TakeJournal> journal = {};
    std::unique_ptr<CaptureEngine> engine = {};
    std::unique_ptr<EventLogger> logger = {};
    bool pointerIsEmbedded = false;
    bool isCapturing = false;
    bool isOver = false;

    void follow(ScreenStream& stream, const TakeHandlers& handlers);
    Result<void> start(std::unique_ptr<ScreenStream> stream, const TakeOrder& order, Platform& platform,
                       const TakeHandlers& handlers);
    Result<void> saveEvents(const CaptureResult& captured, const PauseClock& pauses);
    std::optional<Project> registerReel(const CaptureResult& captured);
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

Result<void> LiveTake::Impl::start(std::unique_ptr<ScreenStream> stream, const TakeOrder& order,
                                   Platform& platform, const TakeHandlers& handlers) {
    auto made = TakeJournal::create(folder);
    if (!made) return std::unexpected(made.error());
    journal = *std::move(made);
    engine = std::make_unique<CaptureEngine>(folder, platform.sound(), platform.cameras(), *journal);
    engine->onError = handlers.failed;
    engine->onNotice = handlers.notice;
    pointerIsEmbedded = stream->pointerIsEmbedded();
    if (pointerIsEmbedded) journal->pointerIsEmbedded();
    CaptureSettings settings = order.settings;
    settings.pixelSize = stream->pixelSize();
    // Before the first picture, so that it is known where the pointer was then.
    follow(*stream, handlers);
    auto started = engine->start(std::move(stream), settings);
    if (!started) return started;
    isCapturing = true;
    return {};
}

Result<void> LiveTake::Impl::saveEvents(const CaptureResult& captured, const PauseClock& pauses) {
    const Seconds duration = durationOf(folder / "raw.mov");
    const RecordingEvents events = logger->finish(captured.firstFrameHost, duration, pauses);
    return writeEvents(events, folder / "events.json");
}

std::optional<Project> LiveTake::Impl::registerReel(const CaptureResult& captured) {
    auto project = library.registerRecording({.folder = folder,
                                              .name = reelName(),
                                              .hasCamera = captured.hasCamera,
                                              .cameraOffset = captured.cameraOffset,
                                              .hasAudio = captured.hasAudio});
    if (!project || !pointerIsEmbedded) return project;
    // The picture shows the pointer already: a second one beside it would only confuse.
    project->info.settings.showCursor = false;
    if (!project->save()) return std::nullopt;
    return project;
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

Result<std::unique_ptr<LiveTake>> LiveTake::begin(const TakeOrder& order, Platform& platform,
                                                  TakeLibrary& library, const TakeHandlers& handlers,
                                                  const std::stop_token& cancel) {
    auto stream = platform.screen().open(order.filter, cancel);
    if (!stream) return std::unexpected(stream.error());
    const PixelSize size = (*stream)->pixelSize();
    if (std::min(size.width, size.height) < 2)
        return failure("That is too small to be recorded: at least 2 × 2 pixels are needed.");
    auto folder = library.newProjectFolder(today());
    if (!folder) return std::unexpected(folder.error());
    std::unique_ptr<LiveTake> take(new LiveTake(std::make_unique<Impl>(Impl{library, *folder})));
    if (auto started = take->impl_->start(*std::move(stream), order, platform, handlers); !started)
        return std::unexpected(started.error());
    return take;
}

LiveTake::LiveTake(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

LiveTake::~LiveTake() {
    discard();
}

void LiveTake::pause(Seconds at) {
    impl_->engine->pause(at);
}

void LiveTake::resume(Seconds at) {
    impl_->engine->resume(at);
}

CaptureProgress LiveTake::progress() const {
    return impl_->engine->progress();
}

// Each step leaves a folder that a scan can complete: the movies are whole before the events are placed in
// them, and the journal, which tells of an interrupted take, goes last.
Result<std::optional<Project>> LiveTake::finish(const PauseClock& pauses) {
    const CaptureResult captured = impl_->engine->stop();
    impl_->isCapturing = false;
    if (!captured.hasFrames) {
        discard();
        return std::nullopt;
    }
    impl_->isOver = true;
    // Without events the reel is one wide shot until the journal has given them back: better than no reel.
    const auto saved = impl_->saveEvents(captured, pauses);
    auto project = impl_->registerReel(captured);
    if (!project) return std::unexpected(impl_->incomplete());
    if (saved) impl_->journal->remove();
    return project;
}

void LiveTake::discard() {
    if (std::exchange(impl_->isOver, true)) return;
    if (std::exchange(impl_->isCapturing, false)) impl_->engine->stop();
    impl_->logger.reset();
    impl_->library.discardFolder(impl_->folder);
}

} // namespace glintro
