#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/media/fragments/FragmentFile.h"
#include "core/media/fragments/MovieSealing.h"

namespace glintro {

// Between the file type and the (empty) index of a movie being recorded lies a placeholder: a "free" box of
// 16 bytes that marks the movie as one of ours. Sealing turns it into the header of a "mdat" box that spans
// everything up to the appended index:
//
//     ftyp  free  moov  moof mdat  moof mdat  ...
//     ftyp [mdat .................................] moov
//
// `priming` is the number of samples that the sound's encoder put before the first one. The sound in the
// fragments is late by that many, because fragments cannot begin before time 0.
inline constexpr std::size_t kPlaceholderSize = 16;
Bytes placeholder(std::uint32_t priming);

// Whether a file is one being recorded, or was when its process died.
[[nodiscard]] Result<bool> isUnsealed(const FragmentFile& file);

// See sealMovie(). The last picture is shown until `end`, in seconds of the movie; without it for one frame
// of the expected rate, or until the sound ends.
[[nodiscard]] Result<SealedMovie> sealFragments(FragmentFile& file, std::optional<Seconds> end);

} // namespace glintro
