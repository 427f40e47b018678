// What may be chosen for a pixel, and what may not.

#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/export/GifFrame.h"
#include "core/export/GifRunFitter.h"

namespace glintro {
namespace {

constexpr std::uint8_t kKept = 16;

// Sixteen greys, ten steps apart.
std::vector<GifColour> greys() {
    std::vector<GifColour> colours;
    for (int i = 0; i < kKept; ++i) {
        const auto grey = static_cast<std::uint8_t>(10 * i);
        colours.push_back({grey, grey, grey});
    }
    return colours;
}

rc::Gen<GifTarget> anyTarget() {
    return rc::gen::map(rc::gen::tuple(rc::gen::inRange(0, kKept + 1), rc::gen::inRange(0, 900)),
                        [](const std::tuple<int, int>& drawn) {
                            const auto [index, tolerance] = drawn;
                            if (index == kKept) return GifTarget{{55, 55, 55}, 0, kKept};
                            return GifTarget{greys()[static_cast<std::size_t>(index)], tolerance,
                                             static_cast<std::uint8_t>(index)};
                        });
}

RC_GTEST_PROP(GifRunFitter, ChoosesOnlyWhatIsAllowed, ()) {
    const auto some = *rc::gen::nonEmpty(rc::gen::container<std::vector<GifTarget>>(anyTarget()));
    std::vector<GifTarget> targets; // long enough to fill the dictionary more than once
    for (std::size_t i = 0; i < 20000; ++i) targets.push_back(some[(i + i / 97 * 3) % some.size()]);
    const auto indices = GifRunFitter(greys(), kKept).fit(targets);
    RC_ASSERT(indices.size() == targets.size());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (indices[i] == targets[i].index) continue;
        RC_ASSERT(indices[i] != kKept);
        RC_ASSERT(squaredDistance(greys()[indices[i]], targets[i].colour) <= targets[i].tolerance);
    }
}

// How many codes LZW needs; short enough to fit one dictionary.
int codes(const std::vector<std::uint8_t>& indices) {
    std::set<std::string> known;
    std::string match;
    int count = 1;
    for (const std::uint8_t index : indices) {
        match += static_cast<char>(index);
        if (match.size() == 1 || known.contains(match)) continue;
        known.insert(match);
        match = static_cast<char>(index);
        ++count;
    }
    return count;
}

TEST(GifRunFitter, NeedsFewerCodesWhereNoiseIsTolerated) {
    std::vector<GifTarget> targets;
    std::vector<std::uint8_t> nearest;
    std::mt19937 random(1);
    for (int i = 0; i < 6000; ++i) { // a pattern of four, one in seven pixels one grey off
        const auto index = static_cast<std::uint8_t>(i % 4 * 3 + (random() % 7 == 0 ? 1 : 0));
        nearest.push_back(index);
        targets.push_back({greys()[index], 300, index});
    }
    EXPECT_LT(codes(GifRunFitter(greys(), kKept).fit(targets)), codes(nearest) / 2);
    for (GifTarget& target : targets) target.tolerance = 0;
    EXPECT_EQ(GifRunFitter(greys(), kKept).fit(targets), nearest);
}

RC_GTEST_PROP(GifFrame, ShowsTheSameWithItsUsedColoursOnly, ()) {
    GifFrame frame{.area = {0, 0, 8, 4}, .indices = {}, .palette = greys(), .kept = kKept};
    frame.indices = *rc::gen::container<std::vector<std::uint8_t>>(
        32, rc::gen::map(rc::gen::inRange(0, kKept + 1), [](int i) { return static_cast<std::uint8_t>(i); }));
    const GifFrame small = withUsedColours(frame);
    RC_ASSERT(small.palette.size() <= frame.palette.size());
    for (std::size_t i = 0; i < frame.indices.size(); ++i) {
        RC_ASSERT((small.indices[i] == small.kept) == (frame.indices[i] == kKept));
        if (frame.indices[i] != kKept) {
            RC_ASSERT(small.palette[small.indices[i]] == frame.palette[frame.indices[i]]);
        }
    }
}

} // namespace
} // namespace glintro
