#pragma once

#include <filesystem>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

// What a movie holds that was recorded live.
struct SealedMovie {
    bool hasFrames = false; // false: there is no picture in it, and it stays as it was
    bool hasAudio = false;
    Seconds duration = 0;
};

// Turns what LiveMovieWriter left, at whatever moment it was interrupted, into an ordinary movie, in place:
// what follows the last whole fragment is cut off, one index of all samples is appended, and then a single
// small write makes the fragments plain data. Interrupted itself, it can be called again. A movie that is
// ordinary already is left alone. Fails without a change when the file is no movie at all, and while somebody
// writes it.
[[nodiscard]] Result<SealedMovie> sealMovie(const std::filesystem::path& file);

} // namespace glintro
