#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/media/encode/MovieWriter.h"
#include "core/raster/Picture.h"

namespace glintro {

enum class VideoCodec { h264, hevc };

struct LiveVideoSettings {
    PixelSize size; // even
    int fps = 60;   // expected; pictures may come at any times
    std::int64_t bitRate = 0;
    VideoCodec codec = VideoCodec::h264;
    Seconds keyFrameSpacing = 2; // at most so long from one key frame to the next
};

// How much of a movie being recorded is safe from a kill or a power cut.
struct LiveMovieProgress {
    Seconds seconds = 0;    // of the movie's time
    std::int64_t bytes = 0; // of the file
};

// Writes a movie while it is being recorded: pictures at whatever times they come, and optional sound. The
// file grows in fragments of about half a second and is synchronised to the disk every second; finish()
// makes it an ordinary movie in place (see sealMovie), which costs no copy. When the process dies, sealMovie
// does the same for all fragments that were whole.
//
// Pictures come from one thread, sound from another; progress(), answeredAccesses() and stepDown() may be
// called from any, and finish() once both threads are done. Until then, or until the object goes, no other
// can write the file, in any process.
class LiveMovieWriter {
  public:
    [[nodiscard]] static Result<std::unique_ptr<LiveMovieWriter>> create(
        const std::filesystem::path& file, const LiveVideoSettings& video,
        std::optional<AudioTrackSettings> audio);
    // Without finish(): the file stays as after a kill.
    ~LiveMovieWriter();

    // `time` in seconds from the start of the movie, ascending, the first one 0. The picture is read before
    // the call returns.
    [[nodiscard]] Result<void> writeFrame(const Picture& picture, Seconds time);
    // Interleaved samples, appended to those before; the first one is heard at time 0.
    [[nodiscard]] Result<void> writeAudio(std::span<const float> samples);
    // The last picture is shown until `end`, or not beyond its own time when `end` is earlier. Sound beyond
    // `end` is not heard. Fails, too, when any earlier write did; the file then still holds all that was
    // written, and sealMovie can try again.
    [[nodiscard]] Result<void> finish(Seconds end);

    // Encodes faster from the next picture on, at more bits for the same quality. False when there is no
    // faster encoder.
    bool stepDown();
    // H.264 also where HEVC was asked for and the machine is too slow for that.
    VideoCodec codec() const;
    std::string encoderName() const; // to show: "libx264 veryfast"

    LiveMovieProgress progress() const;
    // How many accesses to the file the disk has answered: grows all through a long finish(), too.
    std::int64_t answeredAccesses() const;

  private:
    struct Impl;
    explicit LiveMovieWriter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
