#include "app/recording/CaptureEngine.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "app/recording/CameraRecorder.h"
#include "app/recording/MicrophoneRecorder.h"
#include "app/recording/RecordingFormat.h"
#include "app/recording/ScreenRecorder.h"
#include "app/recording/SerialQueue.h"
#include "app/recording/SharedInput.h"
#include "app/recording/TakeClock.h"
#include "app/recording/TakeHealth.h"
#include "core/reel/MediaTraces.h"
#include "platform/HostClock.h"

namespace glintro {
namespace {

// Samples that may wait on the queue: a third of a second of sound. A stream gives no more frames than it has
// buffers anyway.
constexpr std::size_t kWaitingSamples = 32;

constexpr const char* kTooSlowForHevc =
    "This computer is too slow to record HEVC in this size, so the recording is H.264.";

} // namespace

struct CaptureEngine::Impl {
    Impl(CaptureEngine& engine, std::filesystem::path reel, SoundSystem& soundSystem,
         CameraSystem& cameraSystem, TakeJournal& log)
        : owner(engine),
          rawMovie(reel / "raw.mov"),
          cameraMovie(reel / "camera.mov"),
          sound(soundSystem),
          cameras(cameraSystem),
          journal(log) {}

    Result<void> prepare(const CaptureSettings& settings);
    Result<void> openMovie();
    Result<void> startStream();
    void openTracks(std::unique_ptr<LiveMovieWriter> movie, const LiveVideoSettings& video);
    void openDevices();
    Result<void> start();
    void startCamera();

    // On the queue.
    void handle(ScreenFrame frame);
    void begin(Seconds stamp);
    void beginTracks();
    void endWriting();

    bool finish();
    bool finishScreen();
    void removeMovies() const;
    void fail(const Failure& failure);
    void notice(const std::string& sentence) const;
    TakeVitals vitals() const;

    CaptureEngine& owner;
    const std::filesystem::path rawMovie;
    const std::filesystem::path cameraMovie;
    SharedSound sound;
    SharedCameras cameras;
    TakeJournal& journal;
    CaptureSettings settings;

    // From any thread.
    std::atomic<bool> isEnding = false;
    std::atomic<bool> hasFailed = false;
    std::atomic<bool> isPaused = false;
    std::atomic<std::int64_t> finishedSteps = 0;
    std::atomic<Seconds> firstFrameHostTime = 0; // host time; 0 before it

    // Of the queue while recording.
    TakeClock clock;
    Seconds lastRecordedTime = 0;
    Seconds endRecordedTime = 0;

    // Keep the devices running from prepare() until the recorders use them.
    std::unique_ptr<Microphone> readyMicrophone;
    std::unique_ptr<Camera> readyCamera;

    // Made by prepare() and start(), and kept until the end. The lock is for who asks for writer and camera
    // meanwhile, who must not wait: never held while anything is done with them.
    mutable std::mutex mutex;
    std::unique_ptr<LiveMovieWriter> writer;
    SerialQueue queue{kWaitingSamples};
    std::unique_ptr<MicrophoneRecorder> microphone;
    std::unique_ptr<CameraRecorder> camera;
    std::unique_ptr<ScreenStream> stream; // until the recorder below has it
    std::unique_ptr<ScreenRecorder> screen;
    std::unique_ptr<DiskWatch> disk;
    std::unique_ptr<TakeHealth> health;
};

// An encoder is tried and devices wake up for some tenths of a second each, so both at the same time.
Result<void> CaptureEngine::Impl::prepare(const CaptureSettings& wanted) {
    settings = wanted;
    screen = std::make_unique<ScreenRecorder>(std::move(stream), queue,
                                              [this](const Failure& failure) { fail(failure); });
    std::jthread opening([this] { openDevices(); });
    auto opened = settings.startsAtOnce ? startStream() : Result<void>();
    if (opened) opened = openMovie();
    opening.join();
    if (!opened) return opened;
    if (microphone && readyMicrophone) microphone->open(sound, settings.micDevice);
    readyMicrophone.reset();
    return {};
}

Result<void> CaptureEngine::Impl::startStream() {
    return screen->start(settings.fps, [this](ScreenFrame frame) { handle(std::move(frame)); });
}

Result<void> CaptureEngine::Impl::openMovie() {
    const auto space = DiskWatch::ask(rawMovie).freeSpace;
    if (space && *space < TakeDiagnosis::kLeastFreeSpace) return std::unexpected(diskNearlyFullAtStart());
    const auto video =
        screenVideo(settings.pixelSize, settings.fps, settings.hevc ? VideoCodec::hevc : VideoCodec::h264);
    const auto audio = settings.mic ? std::optional(microphoneSound()) : std::nullopt;
    auto created = LiveMovieWriter::create(rawMovie, video, audio);
    if (!created) return std::unexpected(created.error());
    if (settings.hevc && (*created)->codec() != VideoCodec::hevc) notice(kTooSlowForHevc);
    queue.run([&] { openTracks(*std::move(created), video); });
    return {};
}

void CaptureEngine::Impl::openTracks(std::unique_ptr<LiveMovieWriter> movie, const LiveVideoSettings& video) {
    {
        const std::scoped_lock lock(mutex);
        writer = std::move(movie);
    }
    if (settings.mic)
        microphone = std::make_unique<MicrophoneRecorder>(
            *writer, queue, clock.pauses(),
            MicrophoneRecorder::Handlers{[this](const std::string& sentence) { notice(sentence); },
                                         [this](const Failure& failure) { fail(failure); }});
    if (clock.hasBegun()) beginTracks();
    screen->openTrack(*writer, video);
}

void CaptureEngine::Impl::openDevices() {
    if (settings.mic) {
        auto opened = sound.openMicrophone(settings.micDevice);
        if (opened)
            readyMicrophone = *std::move(opened);
        else
            notice(opened.error().message);
    }
    if (settings.camera) {
        auto opened = cameras.openCamera(settings.cameraDevice);
        if (opened)
            readyCamera = *std::move(opened);
        else
            notice(opened.error().message);
    }
}

Result<void> CaptureEngine::Impl::start() {
    if (readyCamera) startCamera();
    if (!settings.startsAtOnce)
        if (auto started = startStream(); !started) return started;
    disk = std::make_unique<DiskWatch>([movie = rawMovie] { return DiskWatch::ask(movie); });
    health = std::make_unique<TakeHealth>([this] { return vitals(); },
                                          [this](const Failure& failure) { fail(failure); });
    return {};
}

void CaptureEngine::Impl::startCamera() {
    auto recorder = std::make_unique<CameraRecorder>(
        cameraMovie, queue, clock.pauses(),
        CameraRecorder::Handlers{[this](const std::string& sentence) { notice(sentence); },
                                 [this](Seconds hostTime) { journal.cameraStarted(hostTime); }});
    {
        const std::scoped_lock lock(mutex);
        camera = std::move(recorder);
    }
    camera->start(cameras, settings.cameraDevice);
    readyCamera.reset();
}

void CaptureEngine::Impl::handle(ScreenFrame frame) {
    const Seconds now = hostTime();
    if (microphone) microphone->keepGoing(now);
    if (clock.isInPause(frame.hostTime)) return screen->skip(std::move(frame));
    if (!clock.hasBegun()) begin(frame.hostTime);
    const Seconds recordedTime = *clock.recordedTime(frame.hostTime);
    lastRecordedTime = std::max(lastRecordedTime, recordedTime);
    screen->record(std::move(frame), recordedTime);
}

void CaptureEngine::Impl::begin(Seconds stamp) {
    clock.begin(stamp, hostTime());
    firstFrameHostTime = clock.firstHostTime();
    if (writer) beginTracks();
}

// The journal tells of a first picture once there is a movie to hold it.
void CaptureEngine::Impl::beginTracks() {
    journal.firstFrame(clock.firstHostTime());
    if (microphone) microphone->begin(clock.firstHostTime());
}

void CaptureEngine::Impl::endWriting() {
    const Seconds now = hostTime();
    if (clock.hasBegun()) {
        endRecordedTime = clock.endTime(lastRecordedTime, now);
        if (microphone) microphone->end(now);
    }
    if (camera) camera->setEnd(clock.firstShiftedTime() + endRecordedTime);
}

bool CaptureEngine::Impl::finish() {
    if (isEnding.exchange(true)) return false;
    health.reset();
    disk.reset();
    if (!screen) return false;
    screen->stop();
    ++finishedSteps;
    if (camera) camera->stop();
    ++finishedSteps;
    if (microphone) microphone->close();
    readyCamera.reset();
    ++finishedSteps;
    queue.run([this] { endWriting(); });
    const bool hasMovie = finishScreen();
    ++finishedSteps;
    if (camera) camera->finish();
    ++finishedSteps;
    return hasMovie;
}

bool CaptureEngine::Impl::finishScreen() {
    screen->close();
    ++finishedSteps;
    if (microphone) microphone->flush();
    ++finishedSteps;
    if (screen->writtenFrames() > 0) {
        const auto finished = writer->finish(endRecordedTime);
        if (!finished && !hasFailed) notice(finished.error().message);
        if (finished || writer->progress().seconds > 0 || holdsMedia(rawMovie)) return true;
    }
    std::error_code ignored;
    std::filesystem::remove(rawMovie, ignored);
    return false;
}

void CaptureEngine::Impl::removeMovies() const {
    std::error_code ignored;
    std::filesystem::remove(rawMovie, ignored);
    std::filesystem::remove(cameraMovie, ignored);
}

void CaptureEngine::Impl::fail(const Failure& failure) {
    if (isEnding || hasFailed.exchange(true)) return;
    if (owner.onError) owner.onError(failure);
}

void CaptureEngine::Impl::notice(const std::string& sentence) const {
    if (owner.onNotice) owner.onNotice(sentence);
}

TakeVitals CaptureEngine::Impl::vitals() const {
    const auto& counts = screen->counts();
    return {counts.seen, counts.due, screen->writtenFrames(), isPaused, writer->progress(), disk->latest()};
}

CaptureEngine::CaptureEngine(std::filesystem::path folder, SoundSystem& sound, CameraSystem& cameras,
                             TakeJournal& journal)
    : impl_(std::make_unique<Impl>(*this, std::move(folder), sound, cameras, journal)) {}

CaptureEngine::~CaptureEngine() {
    if (!impl_->isEnding) stop();
}

Result<void> CaptureEngine::prepare(std::unique_ptr<ScreenStream> stream, const CaptureSettings& settings) {
    impl_->stream = std::move(stream);
    auto prepared = impl_->prepare(settings);
    if (prepared) return prepared;
    stop();
    impl_->removeMovies();
    return prepared;
}

Result<void> CaptureEngine::start() {
    auto started = impl_->start();
    if (started) return started;
    stop();
    impl_->removeMovies();
    return started;
}

void CaptureEngine::pause(Seconds hostTime) {
    impl_->queue.post([this, hostTime] {
        impl_->clock.pause(hostTime);
        impl_->isPaused = true;
        impl_->journal.pause(hostTime);
    });
}

void CaptureEngine::resume(Seconds hostTime) {
    impl_->queue.post([this, hostTime] {
        impl_->clock.resume(hostTime);
        impl_->isPaused = false;
        impl_->journal.resume(hostTime);
    });
}

bool CaptureEngine::stop() {
    return impl_->finish();
}

CaptureProgress CaptureEngine::progress() const {
    const std::scoped_lock lock(impl_->mutex);
    if (!impl_->writer) return {};
    const auto [seconds, bytes] = impl_->writer->progress();
    const auto& counts = impl_->screen->counts();
    return {seconds, bytes, counts.accepted, counts.dropped, impl_->screen->encoderName()};
}

std::optional<Seconds> CaptureEngine::firstFrameHostTime() const {
    const Seconds time = impl_->firstFrameHostTime;
    return time > 0 ? std::optional(time) : std::nullopt;
}

std::int64_t CaptureEngine::finishingProgress() const {
    const std::scoped_lock lock(impl_->mutex);
    std::int64_t done = impl_->finishedSteps;
    if (impl_->writer) done += impl_->screen->writtenFrames() + impl_->writer->answeredAccesses();
    if (impl_->camera) done += impl_->camera->progress();
    return done;
}

} // namespace glintro
