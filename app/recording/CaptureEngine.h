#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/reel/TakeJournal.h"
#include "platform/Camera.h"
#include "platform/ScreenStream.h"
#include "platform/Sound.h"

namespace glintro {

struct CaptureSettings {
    PixelSize pixelSize; // of the recorded image; made even by rounding down
    int fps = 60;
    bool hevc = false;
    bool mic = false;
    bool camera = false;
    // The screen is recorded while the rest is still being prepared, so that nothing is missed: without a
    // countdown, what the user does next belongs to the take.
    bool startsAtOnce = false;
    std::optional<std::string> micDevice = {}; // id or name; the default one when absent
    std::optional<std::string> cameraDevice = {};
};

// What has become of the take so far.
struct CaptureProgress {
    Seconds secondsOnDisk = 0; // of the screen movie, safe from a kill or a power cut
    std::int64_t bytesOnDisk = 0;
    std::int64_t frames = 0; // written or about to be
    std::int64_t droppedFrames = 0;
    std::string encoder; // its name and speed: "libx264 veryfast"
};

// Turns one take into "raw.mov" (screen and microphone) and "camera.mov" in a reel's folder. Pauses are cut
// out as samples arrive; frames are never waited for: one that comes while the encoder is behind is dropped
// and counted. All samples are handled on one serial queue of the engine's. One engine for one take.
//
//   created ──prepare──► prepared ──start──► recording ──stop──► stopped
//
// A microphone or camera that is not there does not fail a take, and neither does one that disappears: the
// missing sound is silence.
class CaptureEngine {
  public:
    // What is handed over here must outlive the engine.
    CaptureEngine(std::filesystem::path folder, SoundSystem& sound, CameraSystem& cameras,
                  TakeJournal& journal);
    // Stops first, unless that was done.
    ~CaptureEngine();

    // Called at most once, from a thread of the engine's: the take cannot go on (the stream ended, the disk
    // is full or nearly so, the encoder or the disk stalls), and stop() should be called. All that was
    // recorded is kept. Set before prepare().
    std::function<void(const Failure&)> onError;

    // Something the user should know that does not end the take, as one sentence. Like onError, but may be
    // called several times.
    std::function<void(const std::string&)> onNotice;

    // Opens all that takes its time: movie, encoder, microphone, camera. Nothing is recorded yet, unless it
    // startsAtOnce. Blocks; not for the main thread. The stream lives as long as the engine, whatever the
    // outcome: its pointer may be in use. On failure no movie is left in the folder.
    [[nodiscard]] Result<void> prepare(std::unique_ptr<ScreenStream> stream, const CaptureSettings& settings);
    // Records from here on, without delay. To be called in any case. On failure no movie is left in the
    // folder.
    [[nodiscard]] Result<void> start();
    void pause(Seconds hostTime);
    void resume(Seconds hostTime);
    // Blocks until the files are finished; not for the main thread, not from a callback. A second call does
    // nothing. Hangs while the disk does: see finishingProgress(). Whether a movie was kept: there is none
    // without a picture.
    bool stop();

    CaptureProgress progress() const; // from any thread; never blocks
    // Host time of the first picture; absent before it. From any thread; never blocks.
    std::optional<Seconds> firstFrameHostTime() const;
    // Grows while stop() gets on: pictures encoded, disk accesses answered, steps done, of screen and camera.
    // From any thread; never blocks.
    std::int64_t finishingProgress() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
