#pragma once

#include <stop_token>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/media/decode/MovieReader.h"

namespace glintro {

// What a reel's movies show at one moment, before anything is drawn.
struct SourcePictures {
    PicturePtr screen;
    PicturePtr camera; // null: no bubble
    bool operator==(const SourcePictures&) const = default;
};

struct SourceRequest {
    Seconds sourceTime = 0;
    FrameTolerance tolerance = FrameTolerance::exact;
    bool needsCamera = true;
    std::stop_token stop = {}; // looked at between two frames
};

// The opened movies of a reel. One thread at a time; every call may wait for the disk, and on one that does
// not answer for ever.
class PictureSource {
  public:
    struct Properties {
        PixelSize size;       // of the recording
        Seconds duration = 0; // of the recording, source time
        bool hasAudio = false;
    };

    virtual ~PictureSource() = default;
    virtual Properties properties() const = 0;
    // Fails where the screen movie cannot be read; a camera movie that cannot is left out.
    [[nodiscard]] virtual Result<SourcePictures> at(const SourceRequest& request) = 0;
};

} // namespace glintro
