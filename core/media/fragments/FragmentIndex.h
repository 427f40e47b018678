#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/media/fragments/Boxes.h"

namespace glintro {

// Where the samples of one track lie in a file of movie fragments, and when they are shown or heard. Times
// are in the track's own units and ascend.
struct FragmentTrack {
    enum class Kind { video, audio, other };
    struct Sample {
        std::int64_t time = 0;
        std::uint32_t size = 0;
        bool isKey = false;
    };
    // Samples that follow each other in the file.
    struct Run {
        std::uint64_t position = 0;
        std::uint32_t samples = 0;
    };

    std::uint32_t id = 0;
    Kind kind = Kind::other;
    std::uint32_t timescale = 0; // units per second
    std::vector<Sample> samples = {};
    std::vector<Run> runs = {};
    std::uint32_t lastDuration = 0; // of the last sample, as the writer guessed
};

// Of a "trak" box.
std::optional<std::uint32_t> readTrackId(ByteView payload);

// The samples of all tracks, collected fragment by fragment. Nothing that is read is trusted.
class FragmentIndex {
  public:
    // The tracks of a movie's (empty) index; nullopt unless it announces fragments and has tracks.
    static std::optional<FragmentIndex> fromMovie(ByteView movieBox);

    // Adds a fragment: its "moof" box at `position` in the file and the data between the box and `end`.
    // Returns false, and adds nothing, when it is damaged or does not continue the fragments before it.
    bool add(ByteView fragmentBox, std::uint64_t position, std::uint64_t end);

    const std::vector<FragmentTrack>& tracks() const { return tracks_; }

  private:
    std::vector<FragmentTrack> tracks_;
};

} // namespace glintro
