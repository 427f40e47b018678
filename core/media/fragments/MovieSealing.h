#pragma once

#include <filesystem>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

// The content of a movie that was recorded live.
struct SealedMovie {
    bool hasFrames = false; // false: there is no picture in it, and it stays as it was
    bool hasAudio = false;
    Seconds duration = 0;
};

// Turns the file that LiveMovieWriter left, at whatever moment it was interrupted, into an ordinary movie in
// place: the file is cut behind its last whole fragment, one index of all samples is appended, and then a
// single small write makes the fragments plain data. If that is interrupted, call it again. An ordinary movie
// is left alone. Fails without changing the file when it is no movie, and while another writes it.
[[nodiscard]] Result<SealedMovie> sealMovie(const std::filesystem::path& file);

} // namespace glintro
