#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stop_token>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/raster/Picture.h"

namespace glintro {

struct MovieProperties {
    // Of the video track as it is shown: after rotation and pixel aspect.
    PixelSize naturalSize;
    // Of the whole movie, from the first frame shown to the end of picture and sound. Where sound outlasts
    // the picture, the last frame is on screen to the end.
    Seconds duration = 0;
    double frameRate = 0;
    bool hasAudio = false;
    std::string videoCodec;
};

// A decoded frame and the time it is first shown at, on the movie's own clock (0 = first frame shown).
struct MovieFrame {
    PicturePtr picture;
    Seconds time = 0;
};

// How far the frame that is handed out may be from the one that was asked for.
enum class FrameTolerance {
    exact,    // the frame on screen at the time
    nearby,   // a frame that starts within 0.1 s of it, whichever is decoded soonest, or the exact one
    keyFrame, // the nearest key frame, or a decoded frame that is nearer: one frame is decoded at most
};

struct FrameRequest {
    Seconds time = 0;
    FrameTolerance tolerance = FrameTolerance::exact;
    // The picture's longer side is at most so many pixels; 0: natural size. Pictures are never enlarged.
    int maxSide = 0;
    // Looked at between two frames: Failure::cancelled(). The reader can be used on.
    std::stop_token stop = {};
};

// Decodes the video track of a movie file. Every picture handed out is 8-bit BT.709 limited-range 4:2:0 with
// left-sited chroma, upright and in square pixels; what is stored otherwise, HDR included, is converted once,
// here. One thread at a time; the pictures may be shared between threads.
class MovieReader {
  public:
    enum class Access {
        sequential, // a whole reel from front to back: two decoding threads, a small decode-ahead
        single,     // one frame somewhere: opens fast, decodes as little as possible, with all cores
    };
    struct Options {
        Access access = Access::sequential;
        // Decoding threads; 0: as suits the access. More threads lower latency but raise memory.
        int threads = 0;
        // Decoded frames around the last request are kept up to this many bytes, so that stepping back and
        // scrubbing to and fro decode nothing twice. A frame of 2560 × 1600 needs 6 MB. 0: none are kept.
        std::size_t cacheBytes = 0;
    };

    [[nodiscard]] static Result<std::unique_ptr<MovieReader>> open(const std::filesystem::path& file,
                                                                   Access access = Access::sequential);
    [[nodiscard]] static Result<std::unique_ptr<MovieReader>> open(const std::filesystem::path& file,
                                                                   const Options& options);
    ~MovieReader();

    const MovieProperties& properties() const;

    // The frame on screen at a time: the last one that starts no later than it (0.5 ms of slack for rounded
    // time stamps), the first frame for times before it and the last one for times past the end. Ascending
    // times decode every frame once; going back or far ahead seeks to the key frame before. Asking twice for
    // the same frame gives the same PicturePtr.
    [[nodiscard]] Result<MovieFrame> frameAt(Seconds time);

    // The same with a tolerance, a size and a stop token.
    [[nodiscard]] Result<MovieFrame> frame(const FrameRequest& request);

  private:
    struct Impl;
    explicit MovieReader(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
