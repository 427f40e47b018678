#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/raster/Picture.h"

namespace glintro {

struct MovieProperties {
    // Of the video track as it is shown: after rotation and pixel aspect.
    PixelSize naturalSize;
    // Of the video track, which the frames fill; sound may be a little longer or shorter.
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

// Decodes the video track of a movie file. Every picture handed out is 8-bit BT.709 limited-range 4:2:0 with
// left-sited chroma, upright and in square pixels; what is stored otherwise is converted once, here. Not safe
// for use from several threads at once; the pictures are.
class MovieReader {
  public:
    enum class Access {
        sequential, // a whole reel from front to back: threaded decoding, a small decode-ahead
        single,     // one frame somewhere: opens fast, decodes as little as possible
    };

    static Result<std::unique_ptr<MovieReader>> open(const std::filesystem::path& file,
                                                     Access access = Access::sequential);
    ~MovieReader();

    const MovieProperties& properties() const;

    // The frame on screen at a time: the last one that starts no later than it (0.5 ms of slack for rounded
    // time stamps), the first frame for times before it and the last one for times past the end. Ascending
    // times decode every frame once; going back or far ahead seeks to the key frame before. Asking twice for
    // the same frame gives the same PicturePtr.
    Result<MovieFrame> frameAt(Seconds time);

  private:
    struct Impl;
    explicit MovieReader(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
