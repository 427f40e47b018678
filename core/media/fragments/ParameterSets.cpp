#include "core/media/fragments/ParameterSets.h"

#include <algorithm>
#include <vector>

namespace glintro {
namespace {

enum class Unit { slice = 1, keySlice = 5, sequenceSet = 7, pictureSet = 8 };

bool isUnit(ByteView unit, Unit type) {
    return !unit.empty() && (unit[0] & 31U) == static_cast<unsigned>(type);
}

// The bits behind a unit's first byte, without the bytes that keep start codes out. Past the end all are 1,
// which ends every number.
class BitReader {
  public:
    explicit BitReader(ByteView unit) {
        const ByteView rest = unit.subspan(std::min<std::size_t>(unit.size(), 1));
        for (std::size_t i = 0; i < std::min(rest.size(), kUnitHeadSize); ++i) {
            const bool isEscape = i >= 2 && rest[i] == 3 && rest[i - 1] == 0 && rest[i - 2] == 0;
            if (!isEscape) bytes_.push_back(rest[i]);
        }
    }

    void skipBytes(std::size_t count) { position_ += 8 * count; }

    // An Exp-Golomb number (9.1) below `limit`.
    std::optional<std::uint32_t> number(std::uint32_t limit) {
        int zeros = 0;
        while (!bit()) ++zeros;
        if (zeros > 31) return std::nullopt;
        std::uint64_t value = 1;
        for (int i = 0; i < zeros; ++i) value = value << 1U | (bit() ? 1U : 0U);
        if (position_ > 8 * bytes_.size() || value - 1 >= limit) return std::nullopt;
        return static_cast<std::uint32_t>(value - 1);
    }

  private:
    bool bit() {
        const std::size_t byte = position_ / 8;
        const auto shift = static_cast<unsigned>(7 - position_ % 8);
        ++position_;
        return byte >= bytes_.size() || (bytes_[byte] >> shift & 1U) != 0;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t position_ = 0;
};

std::optional<std::uint32_t> sequenceSetId(ByteView unit) {
    BitReader bits(unit);
    bits.skipBytes(3); // profile, constraints, level
    return bits.number(32);
}

struct PictureSet {
    std::uint32_t id = 0;
    std::uint32_t sequence = 0;
};

std::optional<PictureSet> readPictureSet(ByteView unit) {
    BitReader bits(unit);
    const auto id = bits.number(256);
    const auto sequence = bits.number(32);
    if (!id || !sequence) return std::nullopt;
    return PictureSet{*id, *sequence};
}

// The units between start codes; the zeros that may end a unit do no harm.
std::vector<ByteView> unitsOf(ByteView description) {
    constexpr std::uint8_t kStart[] = {0, 0, 1};
    std::vector<ByteView> units;
    auto begin = std::ranges::search(description, kStart).end();
    while (begin != description.end()) {
        const auto next = std::ranges::search(begin, description.end(), std::begin(kStart), std::end(kStart));
        units.emplace_back(begin, next.begin());
        begin = next.end();
    }
    return units;
}

// The parameter sets of an "avcC" box (ISO/IEC 14496-15, 5.3.3.1).
struct Configuration {
    std::vector<ByteView> sequences;
    std::vector<ByteView> pictures;
    ByteView extension; // of higher profiles
};

std::optional<ByteView> readBytes(ByteView& rest, std::size_t count) {
    if (rest.size() < count) return std::nullopt;
    const ByteView bytes = rest.first(count);
    rest = rest.subspan(count);
    return bytes;
}

std::optional<std::vector<ByteView>> readSets(ByteView& rest, std::uint8_t countMask) {
    const auto count = readBytes(rest, 1);
    if (!count) return std::nullopt;
    std::vector<ByteView> sets;
    for (int left = (*count)[0] & countMask; left > 0; --left) {
        const auto size = readBytes(rest, 2);
        const auto set = size ? readBytes(rest, std::size_t{(*size)[0]} << 8U | (*size)[1]) : std::nullopt;
        if (!set || set->size() < 4) return std::nullopt;
        sets.push_back(*set);
    }
    return sets;
}

constexpr std::size_t kConfigurationHead = 5; // version, profile, constraints, level, size of lengths

std::optional<Configuration> readConfiguration(ByteView rest) {
    if (!readBytes(rest, kConfigurationHead)) return std::nullopt;
    auto sequences = readSets(rest, 31);
    auto pictures = sequences ? readSets(rest, 255) : std::nullopt;
    if (!pictures) return std::nullopt;
    return Configuration{std::move(*sequences), std::move(*pictures), rest};
}

void writeSets(Bytes& out, const std::vector<ByteView>& sets, std::uint8_t reserved) {
    out.push_back(static_cast<std::uint8_t>(reserved | sets.size()));
    for (const ByteView set : sets) {
        out.push_back(static_cast<std::uint8_t>(set.size() >> 8U));
        out.push_back(static_cast<std::uint8_t>(set.size()));
        out.insert(out.end(), set.begin(), set.end());
    }
}

// Profiles that have no extension: Baseline, Main, Extended.
bool isSimpleProfile(std::uint8_t profile) {
    return profile == 66 || profile == 77 || profile == 88;
}

Bytes writeConfiguration(ByteView original, const Configuration& configuration) {
    Bytes out(original.begin(), original.begin() + kConfigurationHead);
    std::copy_n(configuration.sequences[0].begin() + 1, 3, out.begin() + 1);
    writeSets(out, configuration.sequences, 0xE0);
    writeSets(out, configuration.pictures, 0);
    if (isSimpleProfile(out[1])) return out;
    constexpr std::uint8_t k420Of8Bits[] = {0xFD, 0xF8, 0xF8, 0};
    const ByteView extension =
        configuration.extension.empty() ? ByteView(k420Of8Bits) : configuration.extension;
    out.insert(out.end(), extension.begin(), extension.end());
    return out;
}

} // namespace

ParameterSetIds parameterSetIds(ByteView description) {
    ParameterSetIds ids;
    for (const ByteView unit : unitsOf(description)) {
        if (isUnit(unit, Unit::sequenceSet)) {
            const auto id = sequenceSetId(unit);
            if (!id) return {};
            ids.sequences.set(*id);
        } else if (isUnit(unit, Unit::pictureSet)) {
            const auto set = readPictureSet(unit);
            if (!set) return {};
            ids.pictures.set(set->id);
        }
    }
    return ids;
}

UnitHead readUnitHead(ByteView unit) {
    if (!isUnit(unit, Unit::slice) && !isUnit(unit, Unit::keySlice)) return {};
    BitReader bits(unit);
    constexpr std::uint32_t kAny = 0xFFFFFFFF;
    const auto firstMacroblock = bits.number(kAny);
    const auto type = firstMacroblock ? bits.number(10) : std::nullopt;
    const auto set = type ? bits.number(256) : std::nullopt;
    if (!set) return {true, std::nullopt};
    return {true, static_cast<std::uint8_t>(*set)};
}

std::optional<Bytes> withPictureSets(ByteView avcC, const std::bitset<256>& used) {
    auto configuration = readConfiguration(avcC);
    if (!configuration) return std::nullopt;
    std::bitset<256> pictures;
    std::bitset<32> sequences;
    std::erase_if(configuration->pictures, [&](ByteView unit) {
        const auto set = readPictureSet(unit);
        if (!set || !used[set->id]) return true;
        pictures.set(set->id);
        sequences.set(set->sequence);
        return false;
    });
    std::erase_if(configuration->sequences, [&](ByteView unit) {
        const auto id = sequenceSetId(unit);
        return !id || !sequences[*id];
    });
    if (pictures != used || configuration->sequences.size() != sequences.count() || used.none())
        return std::nullopt;
    return writeConfiguration(avcC, *configuration);
}

} // namespace glintro
