#include "core/export/GifRunFitter.h"

#include <algorithm>

namespace glintro {
namespace {

constexpr std::size_t kMatches = 8; // followed at once; more find hardly shorter codes

} // namespace

GifRunFitter::GifRunFitter(std::span<const GifColour> palette, std::optional<std::uint8_t> kept)
    : kept_(kept) {
    std::ranges::copy(palette, palette_.begin());
}

std::vector<std::uint8_t> GifRunFitter::fit(std::span<const GifTarget> targets) {
    std::vector<std::uint8_t> indices(targets.size());
    clear();
    for (std::size_t done = 0; done < targets.size();) {
        const std::size_t length = matchFrom(targets.subspan(done), targets[done].index);
        const Code best = std::ranges::min(matches_, {}, &Match::distance).code;
        Code code = best;
        for (std::size_t i = done + length; i-- > done; code = entries_[code].prefix)
            indices[i] = entries_[code].last;
        done += length;
        if (done == targets.size()) break;
        // As the encoder does: a full dictionary is cleared instead of being added to.
        if (count_ < kCodes)
            learn(best, targets[done].index);
        else
            clear();
    }
    return indices;
}

void GifRunFitter::clear() {
    for (Code root = 0; root < kRoots; ++root) entries_[root] = {0, 0, 0, static_cast<std::uint8_t>(root)};
    count_ = kRoots + 2; // the codes to clear and to end
}

void GifRunFitter::learn(Code prefix, std::uint8_t last) {
    entries_[count_] = {prefix, 0, entries_[prefix].firstLonger, last};
    entries_[prefix].firstLonger = static_cast<Code>(count_++);
}

bool GifRunFitter::allows(const GifTarget& target, std::uint8_t index, std::int32_t& distance) const {
    if (index == kept_) {
        distance = 0;
        return target.index == index;
    }
    distance = squaredDistance(palette_[index], target.colour);
    return distance <= target.tolerance || index == target.index;
}

bool GifRunFitter::extend(const GifTarget& target) {
    longer_.clear();
    for (const Match& match : matches_)
        for (Code code = entries_[match.code].firstLonger; code != 0; code = entries_[code].nextSibling) {
            std::int32_t distance = 0;
            if (allows(target, entries_[code].last, distance))
                longer_.push_back({code, match.distance + distance});
        }
    if (longer_.empty()) return false;
    if (longer_.size() > kMatches) {
        std::ranges::nth_element(longer_, longer_.begin() + kMatches, {}, &Match::distance);
        longer_.resize(kMatches);
    }
    std::swap(matches_, longer_);
    return true;
}

std::size_t GifRunFitter::matchFrom(std::span<const GifTarget> targets, std::uint8_t first) {
    matches_.assign(1, {first, 0});
    std::size_t length = 1;
    while (length < targets.size() && extend(targets[length])) ++length;
    return length;
}

} // namespace glintro
