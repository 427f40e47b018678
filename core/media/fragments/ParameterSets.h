#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/media/fragments/Boxes.h"

// The parameter sets of H.264 (ITU-T H.264, 7.3): a stream's description holds sequence parameter sets and
// picture parameter sets, a slice names a picture set by its id, and that a sequence set. Encoders that share
// a description must not share ids. Nothing read is trusted.
namespace glintro {

struct ParameterSetIds {
    std::bitset<32> sequences;
    std::bitset<256> pictures;

    bool isEmpty() const { return sequences.none() || pictures.none(); }
    bool areDisjoint(const ParameterSetIds& other) const {
        return (sequences & other.sequences).none() && (pictures & other.pictures).none();
    }
    void add(const ParameterSetIds& other) {
        sequences |= other.sequences;
        pictures |= other.pictures;
    }
};

// Of all parameter sets in an encoder's description, units with start codes between them. Empty when there
// are none or one cannot be read.
ParameterSetIds parameterSetIds(ByteView description);

// What kind of a unit begins with these bytes, and the picture set that it names when it is a slice.
struct UnitHead {
    bool isSlice = false;
    std::optional<std::uint8_t> pictureSet;
};
UnitHead readUnitHead(ByteView unit);
// So many bytes of a unit are enough for readUnitHead().
inline constexpr std::size_t kUnitHeadSize = 32;

// The payload of an "avcC" box with those picture sets only, and the sequence sets that they name. nullopt
// when it cannot be read or one of the picture sets is missing.
std::optional<Bytes> withPictureSets(ByteView avcC, const std::bitset<256>& used);

} // namespace glintro
