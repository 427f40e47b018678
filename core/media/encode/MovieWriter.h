#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/raster/Picture.h"

namespace glintro {

struct VideoTrackSettings {
    PixelSize size;             // even
    int fps = 60;               // frame n is shown at n / fps
    std::int64_t bitRate = 0;   // average, bits per second
    int keyFrameInterval = 120; // at most this many frames from one key frame to the next
    // libx264's, chosen by measurement (docs/performance.md): faster ones lose 2 dB and more where the bit
    // rate is short, slower ones gain little for half as much time again.
    std::string preset = "veryfast";
    int threads = 0; // of the encoder; 0: as many as suit the machine
};

struct AudioTrackSettings {
    int sampleRate = 48000;
    int channels = 2;
    std::int64_t bitRate = 160000;
};

// Writes one movie: H.264 High in 4:2:0, tagged BT.709, and AAC. The container follows the file's ending (MP4
// or MOV), its index is moved to the front on finish. Calls come from one thread at a time. A writer
// destroyed before finish() leaves a partial file; the caller removes it.
class MovieWriter {
  public:
    [[nodiscard]] static Result<std::unique_ptr<MovieWriter>> create(const std::filesystem::path& file,
                                                                     const VideoTrackSettings& video,
                                                                     std::optional<AudioTrackSettings> audio);
    ~MovieWriter();

    // Frames come in ascending order of `index`; an index left out holds the frame before it on screen.
    [[nodiscard]] Result<void> writeFrame(const Picture& picture, std::int64_t index);
    // Interleaved float samples, appended to those before.
    [[nodiscard]] Result<void> writeAudio(std::span<const float> samples);
    // Encodes what is still held back and moves the index to the front, which rewrites the file and so takes
    // seconds for a long movie. `isCancelled`, asked often on the calling thread, stops that with
    // Failure::cancelled(). Nothing may be written afterwards.
    [[nodiscard]] Result<void> finish(const std::function<bool()>& isCancelled = {});

  private:
    struct Impl;
    explicit MovieWriter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
