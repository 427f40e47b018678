#include "sample/SampleReel.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <fmt/format.h>

#include "core/media/encode/MovieWriter.h"
#include "core/raster/Convert.h"
#include "sample/CameraPainter.h"
#include "sample/SampleFolder.h"
#include "sample/ScreenRecording.h"
#include "sample/SpeechVoice.h"

namespace glintro {
namespace {

using namespace sample;

constexpr Seconds kCameraOffset = 0.12; // the camera starts this much after the screen
constexpr int kCameraFps = 30;
constexpr Seconds kLongestStill = 0.5; // a recorder repeats a still picture this often

using Progress = std::function<bool(double)>;

Result<void> check(const SampleOptions& options) {
    const auto fits = [](int extent) { return extent >= 64 && extent <= 8192 && extent % 2 == 0; };
    const bool lasts = options.seconds >= 0.5 && options.seconds <= 3600; // false for what is not a number
    if (!lasts) return failure("A sample lasts from 0.5 to 3600 seconds.");
    if (!fits(options.size.width) || !fits(options.size.height)) {
        return failure("The sample’s width and height must be even numbers from 64 to 8192.");
    }
    if (options.fps < 1 || options.fps > 120) return failure("A sample has from 1 to 120 frames a second.");
    return {};
}

std::int64_t frameCount(Seconds duration, int fps) {
    return std::max<std::int64_t>(1, std::llround(duration * fps));
}

// Writes the voice up to a time, so that sound and picture lie close together in the file.
class VoiceTrack {
  public:
    VoiceTrack(const SpeechRhythm& rhythm, std::uint64_t seed) : voice_(rhythm, seed) {}

    Result<void> writeUntil(Seconds time, MovieWriter& writer) {
        const std::int64_t end = std::llround(time * SpeechVoice::kSampleRate);
        samples_.resize(static_cast<std::size_t>(std::max<std::int64_t>(0, end - written_)));
        voice_.next(samples_);
        written_ = std::max(written_, end);
        return samples_.empty() ? Result<void>{} : writer.writeAudio(samples_);
    }

  private:
    SpeechVoice voice_;
    std::int64_t written_ = 0;
    std::vector<float> samples_;
};

Result<void> writeCanvas(Canvas& canvas, PictureBuffer& buffer, MovieWriter& writer, std::int64_t index) {
    bgraToYuv420(canvas.pixels(), canvas.strideBytes(), buffer);
    return writer.writeFrame(buffer.view(), index);
}

VideoTrackSettings screenTrack(const SampleOptions& options) {
    const double pixels = static_cast<double>(options.size.width) * options.size.height;
    return {.size = options.size,
            .fps = options.fps,
            .bitRate = static_cast<std::int64_t>(std::max(1e6, pixels * 8)),
            // Counted in frames, which still stretches have few of: about two seconds in the mean.
            .keyFrameInterval = std::max(1, options.fps / 2),
            .preset = "ultrafast"};
}

Result<void> writeScreen(const std::filesystem::path& file, ScreenRecording& screen,
                         const SampleOptions& options, std::optional<VoiceTrack> voice,
                         const Progress& progress) {
    std::optional<AudioTrackSettings> audio;
    if (voice) audio = AudioTrackSettings{.channels = 1, .bitRate = 128000};
    auto writer = MovieWriter::create(file, screenTrack(options), audio);
    if (!writer) return std::unexpected(writer.error());
    PictureBuffer buffer(PixelLayout::yuv420, options.size);
    const std::int64_t frames = frameCount(options.seconds, options.fps);
    const auto longestStill =
        static_cast<std::int64_t>(std::max(1.0, std::floor(kLongestStill * options.fps)));
    for (std::int64_t index = 0, written = -longestStill; index < frames; ++index) {
        const Seconds time = static_cast<double>(index) / options.fps;
        const bool changed = screen.advance(time) == ScreenRecording::Change::some;
        const bool due = index - written >= longestStill || index + 1 == frames;
        if (!changed && !due) continue;
        if (changed) bgraToYuv420(screen.canvas().pixels(), screen.canvas().strideBytes(), buffer);
        if (auto done = (*writer)->writeFrame(buffer.view(), index); !done) return done;
        written = index;
        if (voice) {
            if (auto done = voice->writeUntil(time, **writer); !done) return done;
        }
        if (!progress(static_cast<double>(index) / static_cast<double>(frames)))
            return std::unexpected(Failure::cancelled());
    }
    if (voice) {
        if (auto done = voice->writeUntil(static_cast<double>(frames) / options.fps, **writer); !done)
            return done;
    }
    return (*writer)->finish();
}

Result<void> writeCamera(const std::filesystem::path& file, const SpeechRhythm& rhythm,
                         const SampleOptions& options, const Progress& progress) {
    auto writer = MovieWriter::create(file,
                                      {.size = CameraPainter::kSize,
                                       .fps = kCameraFps,
                                       .bitRate = 3'000'000,
                                       .keyFrameInterval = 60,
                                       .preset = "superfast"},
                                      std::nullopt);
    if (!writer) return std::unexpected(writer.error());
    CameraPainter painter(rhythm, options.seconds, options.seed + 3);
    PictureBuffer buffer(PixelLayout::yuv420, CameraPainter::kSize);
    const std::int64_t frames = frameCount(options.seconds - kCameraOffset, kCameraFps);
    for (std::int64_t index = 0; index < frames; ++index) {
        painter.paint(static_cast<double>(index) / kCameraFps + kCameraOffset);
        if (auto done = writeCanvas(painter.canvas(), buffer, **writer, index); !done) return done;
        if (!progress(static_cast<double>(index) / static_cast<double>(frames)))
            return std::unexpected(Failure::cancelled());
    }
    return (*writer)->finish();
}

// A moment in the spring of 2025 that the seed chooses.
Timestamp creation(std::uint64_t seed) {
    using namespace std::chrono;
    const sys_seconds start = sys_days{year{2025} / 3 / 1} + 9h;
    return start + days(Random(seed).index(90)) + seconds(Random(seed + 1).index(8 * 3600));
}

Result<void> writeFiles(const std::filesystem::path& folder, const SampleOptions& options,
                        const Progress& progress) {
    const SpeechRhythm rhythm(options.seconds, options.seed + 2);
    const bool withCamera = options.camera == SampleCamera::on;
    const double screenShare = withCamera ? 0.7 : 1;
    ScreenRecording screen(options.size, options.seconds, options.seed);
    std::optional<VoiceTrack> voice;
    if (options.microphone == SampleMicrophone::on) voice.emplace(rhythm, options.seed + 4);
    if (auto done = writeScreen(folder / "raw.mov", screen, options, std::move(voice),
                                [&](double part) { return progress(part * screenShare); });
        !done) {
        return done;
    }
    if (withCamera) {
        const auto cameraProgress = [&](double part) {
            return progress(screenShare + part * (1 - screenShare));
        };
        if (auto done = writeCamera(folder / "camera.mov", rhythm, options, cameraProgress); !done)
            return done;
    }
    return writeEvents(screen.events(), folder / "events.json");
}

// As in every reel. File systems without permissions keep none.
void letOnlyTheOwnerRead(const std::filesystem::path& folder) {
    using std::filesystem::perms;
    std::error_code ignored;
    for (const char* movie : {"raw.mov", "camera.mov"})
        std::filesystem::permissions(folder / movie, perms::owner_read | perms::owner_write, ignored);
}

} // namespace

Result<Project> makeSample(const std::filesystem::path& folder, const SampleOptions& requested,
                           const Progress& progress) {
    const Progress report = [&progress](double fraction) { return !progress || progress(fraction); };
    SampleOptions options = requested;
    if (auto valid = check(options); !valid) return std::unexpected(valid.error());
    options.seconds = static_cast<double>(frameCount(options.seconds, options.fps)) / options.fps;
    auto claimed = SampleFolder::claim(folder);
    if (!claimed) return std::unexpected(claimed.error());
    if (auto written = writeFiles(claimed->path(), options, report); !written)
        return std::unexpected(written.error());
    letOnlyTheOwnerRead(claimed->path());
    auto project = Project::registerReel(
        claimed->path(), {.name = "Riverside opening",
                          .hasCamera = options.camera == SampleCamera::on,
                          .cameraOffset = options.camera == SampleCamera::on ? kCameraOffset : 0,
                          .hasAudio = options.microphone == SampleMicrophone::on,
                          .zoomLevel = 2.0,
                          .created = creation(options.seed)});
    if (!project) return failure("The sample couldn’t be finished.", "its own movie was not accepted");
    claimed->keep();
    report(1);
    return *project;
}

} // namespace glintro
