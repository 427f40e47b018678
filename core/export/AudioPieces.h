#pragma once

#include <vector>

#include "core/media/decode/AudioMix.h"
#include "core/timeline/TimeMap.h"

namespace glintro {

// The pieces of a reel's sound, laid as the time map lays its picture.
inline std::vector<AudioPiece> audioPieces(const TimeMap& map) {
    std::vector<AudioPiece> pieces;
    pieces.reserve(map.pieces().size());
    for (const TimeMap::Piece& piece : map.pieces()) pieces.push_back({piece.src0, piece.src1, piece.rate});
    return pieces;
}

} // namespace glintro
