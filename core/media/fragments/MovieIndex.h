#pragma once

#include <bitset>
#include <cstdint>
#include <optional>
#include <span>

#include "core/media/fragments/Boxes.h"
#include "core/media/fragments/FragmentIndex.h"

namespace glintro {

// A track as an ordinary movie presents it. Times are in the track's own units.
struct PresentedTrack {
    const FragmentTrack* track = nullptr; // with samples
    std::int64_t start = 0;               // the movie begins at this time of the track
    std::int64_t end = 0;                 // the track ends; after its start and its first sample
    std::uint32_t lastDuration = 0;       // of the last sample
    // The picture parameter sets of H.264 that its samples use; nullopt when that is not known, and all stay.
    std::optional<std::bitset<256>> pictureSets = {};
};

// The index of an ordinary movie, a "moov" box: all that the fragmented movie's own index tells of its tracks
// and codecs, and where every sample lies. Tracks that are not presented are left out.
Bytes movieIndex(ByteView fragmentedMovieBox, std::span<const PresentedTrack> tracks);

} // namespace glintro
