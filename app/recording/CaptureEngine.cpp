#include "app/recording/CaptureEngine.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "app/recording/CameraRecorder.h"
#include "app/recording/ChangedRows.h"
#include "app/recording/RecordingFormat.h"
#include "app/recording/ScreenTrack.h"
#include "app/recording/SerialQueue.h"
#include "app/recording/TakeHealth.h"
#include "app/recording/TakeSound.h"
#include "core/timeline/PauseClock.h"
#include "platform/HostClock.h"

namespace glintro {
namespace {

// Samples that may wait on the queue: a third of a second of sound. A stream gives no more frames than it has
// buffers anyway.
constexpr std::size_t kWaitingSamples = 32;
// A stream whose first time stamp is further off than this is not on the host clock.
constexpr Seconds kTrustedStamp = 1.0;
// The last picture is held until the stop only when it is younger than this.
constexpr Seconds kLongestHold = 2.0;
// A microphone that has given nothing for so long has given nothing for good, or will come back with a gap.
constexpr Seconds kMicrophonePatience = 2.0;
constexpr Seconds kSilenceStep = 0.25;

constexpr const char* kMicrophoneLost = "The microphone stopped, so the recording is silent from here on.";

constexpr const char* kTooSlowForHevc =
    "This computer is too slow to record HEVC in this size, so the recording is H.264.";

} // namespace

struct CaptureEngine::Impl {
    Impl(CaptureEngine& engine, std::filesystem::path reel, SoundSystem& soundSystem,
         CameraSystem& cameraSystem, TakeJournal& log)
        : owner(engine), folder(std::move(reel)), sound(soundSystem), cameras(cameraSystem), journal(log) {}

    Result<void> open(const CaptureSettings& settings);
    void startMicrophone(const CaptureSettings& settings);
    void startCamera(const CaptureSettings& settings);
    Result<void> startStream(const CaptureSettings& settings);
    void stopSources();

    // On the stream's thread.
    void see(ScreenFrame frame);
    // On the microphone's thread.
    void hear(const SoundBlock& block);

    // On the queue.
    void handle(ScreenFrame frame);
    void begin(Seconds hostTime, Seconds pts);
    void keepSoundGoing();
    void endWriting();
    CaptureResult describe() const;

    CaptureResult finish();
    bool finishScreen();
    void fail(const Failure& failure);
    void notice(std::string sentence);
    TakeVitals vitals() const;

    CaptureEngine& owner;
    const std::filesystem::path folder;
    SoundSystem& sound;
    CameraSystem& cameras;
    TakeJournal& journal;
    std::filesystem::path rawMovie() const { return folder / "raw.mov"; }
    std::filesystem::path cameraMovie() const { return folder / "camera.mov"; }

    // From any thread.
    std::atomic<bool> isEnding = false;
    std::atomic<bool> hasFailed = false;
    std::atomic<bool> isPaused = false;
    std::atomic<bool> hasMicrophone = false; // one that still gives sound
    std::atomic<std::int64_t> framesSeen = 0;
    std::atomic<std::int64_t> framesDue = 0;
    std::atomic<std::int64_t> framesTaken = 0;
    std::atomic<std::int64_t> framesDropped = 0;

    ChangedRows entrance; // of the stream's thread

    // Of the queue while capturing.
    PauseClock pauses;
    bool started = false;
    Seconds firstPts = 0; // pauses cut out, as lastPts and endPts
    Seconds lastPts = 0;
    Seconds endPts = 0;
    Seconds firstFrameHost = 0;

    // Made before anything is captured, and kept until the end. The lock is for who asks meanwhile.
    mutable std::mutex making;
    std::unique_ptr<LiveMovieWriter> writer;
    std::unique_ptr<ScreenTrack> screen;
    std::unique_ptr<TakeSound> microphoneSound;

    SerialQueue queue{kWaitingSamples};
    std::unique_ptr<CameraRecorder> camera;
    std::unique_ptr<Microphone> microphone;
    std::unique_ptr<ScreenStream> stream;
    std::unique_ptr<TakeHealth> health;
};

Result<void> CaptureEngine::Impl::open(const CaptureSettings& settings) {
    if (const auto space = freeSpaceOf(folder)(); space && *space < TakeDiagnosis::kLeastFreeSpace)
        return std::unexpected(diskNearlyFullAtStart());
    const auto video =
        screenVideo(settings.pixelSize, settings.fps, settings.hevc ? VideoCodec::hevc : VideoCodec::h264);
    const auto audio = settings.mic ? std::optional(glintro::microphoneSound()) : std::nullopt;
    auto created = LiveMovieWriter::create(rawMovie(), video, audio);
    if (!created) return std::unexpected(created.error());

    if (settings.hevc && (*created)->codec() != VideoCodec::hevc) notice(kTooSlowForHevc);

    const std::scoped_lock lock(making);
    writer = std::move(*created);
    const auto failed = [this](const Failure& failure) { fail(failure); };
    screen = std::make_unique<ScreenTrack>(*writer, video.size, video.fps, failed);
    if (settings.mic) microphoneSound = std::make_unique<TakeSound>(*writer, failed);
    return {};
}

void CaptureEngine::Impl::startMicrophone(const CaptureSettings& settings) {
    auto opened = sound.openMicrophone(settings.micDevice);
    if (!opened) return notice(opened.error().message);
    microphone = std::move(*opened);
    hasMicrophone = true;
    const auto running = microphone->start([this](const SoundBlock& block) { hear(block); },
                                           [this](const Failure&) {
                                               hasMicrophone = false;
                                               notice(kMicrophoneLost);
                                           });
    if (running) return;
    hasMicrophone = false;
    notice(running.error().message);
}

void CaptureEngine::Impl::startCamera(const CaptureSettings& settings) {
    camera = std::make_unique<CameraRecorder>(
        cameraMovie(), queue, pauses,
        CameraRecorder::Handlers{[this](const std::string& sentence) { notice(sentence); },
                                 [this](Seconds hostTime) { journal.cameraStarted(hostTime); }});
    camera->start(cameras, settings.cameraDevice);
}

Result<void> CaptureEngine::Impl::startStream(const CaptureSettings& settings) {
    return stream->start({.fps = settings.fps},
                         {.frame = [this](ScreenFrame frame) { see(std::move(frame)); },
                          .stopped = [this](const Failure& failure) { fail(failure); },
                          .dropped = [this] { ++framesDropped; }});
}

void CaptureEngine::Impl::stopSources() {
    isEnding = true;
    health.reset();
    stream->stop();
    if (camera) camera->stop();
    if (microphone) microphone->stop();
}

void CaptureEngine::Impl::see(ScreenFrame frame) {
    ++framesSeen;
    entrance.addTo(frame);
    ScreenFrame rows = frame;
    rows.storage.reset();
    if (queue.offer([this, taken = std::move(frame)]() mutable { handle(std::move(taken)); })) {
        entrance.clear();
        return;
    }
    entrance.accumulate(rows);
    ++framesDropped;
}

// Sound that finds no room is silence.
void CaptureEngine::Impl::hear(const SoundBlock& block) {
    (void)queue.offer([this, hostTime = block.hostTime,
                       samples = std::vector<float>(block.samples.begin(), block.samples.end())] {
        microphoneSound->line().add({samples, hostTime}, pauses);
    });
}

void CaptureEngine::Impl::handle(ScreenFrame frame) {
    keepSoundGoing();
    const Seconds hostTime = frame.hostTime;
    const auto pts = pauses.shifted(hostTime);
    if (!pts) return screen->drop(std::move(frame));
    if (!started) begin(hostTime, *pts);
    lastPts = std::max(lastPts, *pts);
    ++framesDue;
    if (screen->offer(std::move(frame), *pts - firstPts))
        ++framesTaken;
    else
        ++framesDropped;
}

void CaptureEngine::Impl::begin(Seconds hostTime, Seconds pts) {
    started = true;
    firstPts = pts;
    lastPts = pts;
    const Seconds now = glintro::hostTime();
    const bool isOnHostClock = std::abs(pts - now) < kTrustedStamp;
    firstFrameHost = isOnHostClock ? pts : now;
    journal.firstFrame(isOnHostClock ? hostTime : now);
    if (microphoneSound) microphoneSound->line().begin(isOnHostClock ? hostTime : now, pauses);
}

// The movie's sound goes on while the microphone gives none.
void CaptureEngine::Impl::keepSoundGoing() {
    if (!microphoneSound || !microphoneSound->line().hasBegun()) return;
    SoundAligner& line = microphoneSound->line();
    const Seconds patience = hasMicrophone ? kMicrophonePatience : kSilenceStep;
    const Seconds now = hostTime();
    if (now - line.reached() > patience) line.fillTo(now - (patience - kSilenceStep), pauses);
}

void CaptureEngine::Impl::endWriting() {
    const Seconds now = hostTime();
    const Seconds end = now - pauses.paused(now);
    endPts = end > lastPts && end - lastPts < kLongestHold ? end : lastPts;
    if (microphoneSound && started) microphoneSound->line().fillTo(now, pauses);
    if (camera) camera->setEnd(endPts);
}

CaptureResult CaptureEngine::Impl::describe() const {
    CaptureResult result;
    result.firstFrameHost = firstFrameHost;
    result.hasAudio = microphoneSound != nullptr;
    const Seconds cameraStart = camera ? camera->startTime() : 0;
    if (firstFrameHost > 0 && cameraStart > 0) result.cameraOffset = cameraStart - firstFrameHost;
    return result;
}

CaptureResult CaptureEngine::Impl::finish() {
    stopSources();
    CaptureResult result;
    queue.run([this, &result] {
        endWriting();
        result = describe();
    });
    result.hasFrames = finishScreen();
    result.hasCamera = camera && camera->finish();
    queue.run([] {}); // notices come before the end
    return result;
}

bool CaptureEngine::Impl::finishScreen() {
    screen->video().close();
    if (microphoneSound) microphoneSound->flush();
    if (screen->video().writtenFrames() > 0) {
        const auto finished = writer->finish(endPts - firstPts);
        if (!finished && !hasFailed) notice(finished.error().message);
        if (finished || writer->progress().seconds > 0) return true;
    }
    std::error_code ignored;
    std::filesystem::remove(rawMovie(), ignored);
    return false;
}

void CaptureEngine::Impl::fail(const Failure& failure) {
    if (isEnding || hasFailed.exchange(true)) return;
    queue.post([this, failure] {
        if (owner.onError) owner.onError(failure);
    });
}

void CaptureEngine::Impl::notice(std::string sentence) {
    queue.post([this, told = std::move(sentence)] {
        if (owner.onNotice) owner.onNotice(told);
    });
}

TakeVitals CaptureEngine::Impl::vitals() const {
    std::error_code unknown;
    const bool isInPlace = std::filesystem::exists(rawMovie(), unknown) || unknown;
    return {framesSeen, framesDue, screen->video().writtenFrames(), isPaused, writer->progress(), isInPlace};
}

CaptureEngine::CaptureEngine(std::filesystem::path folder, SoundSystem& sound, CameraSystem& cameras,
                             TakeJournal& journal)
    : impl_(std::make_unique<Impl>(*this, std::move(folder), sound, cameras, journal)) {}

CaptureEngine::~CaptureEngine() {
    if (impl_->screen && !impl_->isEnding) stop();
}

Result<void> CaptureEngine::start(std::unique_ptr<ScreenStream> stream, const CaptureSettings& settings) {
    impl_->stream = std::move(stream);
    if (auto opened = impl_->open(settings); !opened) return opened;
    if (settings.mic) impl_->startMicrophone(settings);
    if (settings.camera) impl_->startCamera(settings);
    if (auto started = impl_->startStream(settings); !started) {
        stop();
        std::error_code ignored;
        std::filesystem::remove(impl_->cameraMovie(), ignored);
        return started;
    }
    impl_->health = std::make_unique<TakeHealth>(
        freeSpaceOf(impl_->folder), [this] { return impl_->vitals(); },
        [this](const Failure& failure) { impl_->fail(failure); });
    return {};
}

void CaptureEngine::pause(Seconds at) {
    impl_->queue.post([this, at] {
        impl_->pauses.pause(at);
        impl_->isPaused = true;
        impl_->journal.pause(at);
    });
}

void CaptureEngine::resume(Seconds at) {
    impl_->queue.post([this, at] {
        impl_->pauses.resume(at);
        impl_->isPaused = false;
        impl_->journal.resume(at);
    });
}

CaptureResult CaptureEngine::stop() {
    return impl_->finish();
}

CaptureProgress CaptureEngine::progress() const {
    const std::scoped_lock lock(impl_->making);
    if (!impl_->writer) return {};
    const auto [seconds, bytes] = impl_->writer->progress();
    return {seconds, bytes, impl_->framesTaken, impl_->framesDropped, impl_->screen->video().encoderName()};
}

} // namespace glintro
