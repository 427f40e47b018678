#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include "core/raster/Resample.h"
#include "core/raster/ResampleKernel.h"
#include "tests/core/raster/PlaneFixtures.h"

namespace glintro {
namespace {

class ResampleTest : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ResampleTest);

struct Case {
    PixelSize source;
    PixelSize destination;
    AxisMap horizontal;
    AxisMap vertical;
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.source.width << "x" << c.source.height << " to " << c.destination.width << "x"
         << c.destination.height << ", columns " << c.horizontal.origin << " + " << c.horizontal.step
         << "i, rows " << c.vertical.origin << " + " << c.vertical.step << "j";
}

// Extents around the widths of vectors, blocks and chunks; windows inside, across and far outside the edges.
std::vector<Case> cases() {
    std::vector<Case> all = {
        {{1, 1}, {1, 1}, {0, 1}, {0, 1}},
        {{1, 1}, {70, 40}, {-3.3, 0.2}, {0.5, 0.01}},
        {{2, 300}, {65, 3}, {0, 0.02}, {5, 100}},
        {{300, 2}, {3, 65}, {5, 100}, {0, 0.02}},
        {{130, 90}, {64, 64}, {-1e12, 1}, {1e12, 1}},
        {{500, 400}, {12, 10}, {0, 40}, {0, 40}},
    };
    std::mt19937 random(7);
    const std::vector<int> extents = {1, 2, 7, 8, 9, 15, 31, 33, 63, 64, 65, 100, 127, 129, 200};
    const std::vector<double> steps = {0.13, 0.5, 0.77, 1, 1.0001, 1.3, 1.5686, 2.5, 2.99, 3.01, 5.2, 11.7};
    const auto pick = [&](const auto& values) { return values[random() % values.size()]; };
    for (int i = 0; i < 150; ++i) {
        Case c{{pick(extents), pick(extents)},
               {pick(extents), pick(extents)},
               {0, pick(steps)},
               {0, pick(steps)}};
        c.horizontal.origin = std::uniform_real_distribution<>(-9, c.source.width)(random);
        c.vertical.origin = std::uniform_real_distribution<>(-9, c.source.height)(random);
        all.push_back(c);
    }
    return all;
}

// One axis in exact arithmetic: the convolution with the widened kernel, normalised.
double filtered(const auto& sample, int length, double position, double step) {
    const double widening = std::max(step, 1.0);
    position = std::clamp(position, -3 * widening, length + 3 * widening);
    double sum = 0;
    double weights = 0;
    for (double k = std::floor(position - 2 * widening); k <= position + 2 * widening; ++k) {
        const double x = std::abs(k - position) / widening;
        const double weight = x < 1   ? 1.5 * x * x * x - 2.5 * x * x + 1
                              : x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2
                                      : 0;
        sum += weight * sample(static_cast<int>(std::clamp(k, 0.0, length - 1.0)));
        weights += weight;
    }
    return sum / weights;
}

double worstDifference(const Case& c, PlaneView source, PlaneView result) {
    double worst = 0;
    std::vector<double> line(static_cast<std::size_t>(source.width));
    for (int y = 0; y < result.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            line[static_cast<std::size_t>(x)] =
                filtered([&](int k) { return source.row(k)[x]; }, source.height,
                         c.vertical.origin + y * c.vertical.step, c.vertical.step);
        }
        for (int x = 0; x < result.width; ++x) {
            const double exact =
                filtered([&](int k) { return line[static_cast<std::size_t>(k)]; }, source.width,
                         c.horizontal.origin + x * c.horizontal.step, c.horizontal.step);
            worst = std::max(worst, std::abs(std::clamp(exact, 0.0, 255.0) - result.row(y)[x]));
        }
    }
    return worst;
}

TEST_P(ResampleTest, IsWithinOneLevelOfExactArithmetic) {
    Resampler resampler;
    unsigned seed = 0;
    for (const Case& c : cases()) {
        LoosePlane source(c.source.width, c.source.height);
        source.randomise(++seed);
        LoosePlane result(c.destination.width, c.destination.height);
        resampler.resample(source.view(), c.horizontal, c.vertical, result.view());
        ASSERT_LE(worstDifference(c, source.view(), result.view()), 1.0) << testing::PrintToString(c);
        ASSERT_TRUE(result.surroundingsIntact()) << testing::PrintToString(c);
    }
}

// Rounding may fall either way within a level, but everywhere the same way.
TEST(ResampleTargetsTest, EveryTargetGivesTheSameBytes) {
    for (const Case& c : cases()) {
        LoosePlane source(c.source.width, c.source.height);
        source.randomise(3);
        std::vector<Plane> results;
        for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
            hwy::SetSupportedTargetsForTest(target);
            Plane& result = results.emplace_back(c.destination.width, c.destination.height);
            Resampler().resample(source.view(), c.horizontal, c.vertical, result.view());
            for (int y = 0; y < c.destination.height; ++y)
                ASSERT_TRUE(
                    std::equal(result.row(y), result.row(y) + c.destination.width, results.front().row(y)))
                    << hwy::TargetName(target) << ", " << testing::PrintToString(c);
        }
    }
    hwy::SetSupportedTargetsForTest(0);
}

TEST_P(ResampleTest, FlatAreasStayFlat) {
    Resampler resampler;
    for (const double step : {0.07, 0.4, 0.66, 1.0, 1.013, 1.3, 1.57, 2.0, 2.5, 2.99, 3.01, 4.7, 9.9, 40.0}) {
        for (int value = 0; value < 256; ++value) {
            LoosePlane source(66, 40);
            source.fill(static_cast<std::uint8_t>(value));
            LoosePlane result(19, 9);
            const double phase = value * 0.0371 - 2.1;
            resampler.resample(source.view(), {phase, step}, {phase / 3, step * 1.01}, result.view());
            for (int y = 0; y < 9; ++y) {
                const std::uint8_t* const row = result.view().row(y);
                ASSERT_EQ(std::count(row, row + 19, value), 19) << "value " << value << ", step " << step;
            }
        }
    }
}

TEST(ResamplerTest, ServesManyMapsWithOneObject) {
    Resampler shared;
    LoosePlane source(90, 70);
    source.randomise(11);
    for (int i = 0; i < 60; ++i) {
        // Some maps return, some differ in one thing only from one that is still cached.
        const AxisMap map{static_cast<double>(i % 4 == 3 ? i : i % 3), 0.5};
        const int extent = 20 + i % 2;
        const PlaneView from = source.view().crop({0, 0, i % 5 < 3 ? 90 : 6, 70});
        LoosePlane result(extent, extent);
        LoosePlane expected(extent, extent);
        shared.resample(from, map, {0, 1}, result.view());
        Resampler().resample(from, map, {0, 1}, expected.view());
        for (int y = 0; y < extent; ++y) {
            ASSERT_TRUE(
                std::equal(result.view().row(y), result.view().row(y) + extent, expected.view().row(y)))
                << "round " << i;
        }
    }
}

} // namespace
} // namespace glintro
