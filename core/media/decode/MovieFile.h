#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "core/base/Geometry.h"
#include "core/media/FFmpegHandles.h"

namespace glintro {

// A movie's container, opened for reading the packets of its first video track (cover pictures do not count)
// and its first audio track. Times of packets are in the units of their streams. One thread at a time.
class MovieFile {
  public:
    enum class Probe {
        header,  // what the header says is enough, where it says enough
        packets, // read some packets too, to know the streams' parameters
    };
    enum class Track { video, audio };

    // Fails for what is not an MP4, MOV, MKV, WebM or AVI file, where there is no video track, and where the
    // file was cut off. References to other files and to the network are not followed.
    [[nodiscard]] static Result<std::unique_ptr<MovieFile>> open(const std::filesystem::path& file,
                                                                 Probe probe);

    AVStream& video() const { return *video_; }
    AVStream* audio() const { return audio_; } // null without sound

    // Whether the times in the index are when frames are decoded rather than when they are shown.
    bool countsDecodingTimes() const;

    // From now on only packets of this track are read.
    void select(Track track);
    // Reads the next packet of the selected tracks, of both at first: false at the end of the file.
    [[nodiscard]] Result<bool> read(AVPacket& packet);
    // Goes to the last key frame at or before a time in the stream's own units, else to the first packet.
    [[nodiscard]] Result<void> seek(const AVStream& stream, std::int64_t time);

    // When the first frame is shown, in the video stream's units: the movie's own clock starts there.
    std::int64_t videoStart() const { return videoStart_; }
    // How long the video track is: by its last frame or, where that can't be read, by its header.
    Seconds videoDuration() const { return videoDuration_; }
    // From the first frame shown to the end of picture and sound.
    Seconds duration() const { return duration_; }

  private:
    explicit MovieFile(InputPtr input) : input_(std::move(input)) {}
    Result<void> findTracks();
    Result<void> measure();
    struct Ends {
        Seconds video = 0;
        Seconds audio = 0;
    };
    std::optional<std::int64_t> firstShownTime();
    Ends measuredEnds();
    Seconds declaredDuration() const;
    Seconds declaredAudioEnd() const;

    InputPtr input_;
    AVStream* video_ = nullptr;
    AVStream* audio_ = nullptr;
    std::int64_t videoStart_ = 0;
    Seconds videoDuration_ = 0;
    Seconds duration_ = 0;
    int damagedReads_ = 0; // in a row
};

inline Seconds toSeconds(std::int64_t time, AVRational unit) {
    return static_cast<double>(time) * av_q2d(unit);
}

} // namespace glintro
