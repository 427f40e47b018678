#include <cmath>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include "core/raster/Blur.h"
#include "core/raster/FloatRows.h"

namespace glintro {
namespace {

class FloatRowsTest : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(FloatRowsTest);

std::vector<float> rowOf(int count) {
    return std::vector<float>(static_cast<std::size_t>(count + kFloatRowSlack));
}

Gradient sunset() {
    return {.start = {{10, 200, 90}},
            .end = {{250, 20, 130}},
            .xStep = 0.004F,
            .yStep = 0.002F,
            .highlight = {{255, 255, 255}},
            .strength = 0.5F,
            .centreX = 60,
            .centreY = 9,
            .radius = 40};
}

using Rows = std::vector<std::vector<float>>;

Rows gradientRows(int x, int y, int count) {
    Rows rows(3, rowOf(count));
    float* const targets[] = {rows[0].data(), rows[1].data(), rows[2].data()};
    gradientRow(sunset(), x, y, count, targets);
    for (auto& row : rows) row.resize(static_cast<std::size_t>(count));
    return rows;
}

// Wherever a row is begun and however long it is, a pixel has its own colour.
TEST_P(FloatRowsTest, AGradientsPixelsDoNotDependOnTheRowsBegin) {
    const Rows whole = gradientRows(0, 7, 150);
    for (const int begin : {1, 3, 16, 61, 149}) {
        for (const int count : {1, 2, 17, 150 - begin}) {
            if (begin + count > 150) continue;
            const Rows part = gradientRows(begin, 7, count);
            for (std::size_t plane = 0; plane < 3; ++plane)
                for (int i = 0; i < count; ++i)
                    ASSERT_EQ(part[plane][static_cast<std::size_t>(i)],
                              whole[plane][static_cast<std::size_t>(begin + i)]);
        }
    }
}

// The float reduction and the 8-bit one have the same filter and the same sites.
TEST_P(FloatRowsTest, ChromaIsReducedAsMasksAre) {
    std::mt19937 random(5);
    for (const int width : {1, 2, 3, 16, 31, 64, 77}) {
        Plane pair(width, 2);
        std::vector<float> rows[] = {rowOf(width), rowOf(width)};
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < width; ++x) pair.row(y)[x] = static_cast<std::uint8_t>(random());
            bytesToFloatRow(pair.row(y), width, rows[y].data());
        }
        Plane reduced(chromaExtent(width), 1);
        reduceMaskToChroma(std::as_const(pair).view(), reduced.view());
        std::vector<float> chroma = rowOf(chromaExtent(width));
        reduceRowsToChroma(rows[0].data(), rows[1].data(), width, chroma.data());
        for (int x = 0; x < chromaExtent(width); ++x)
            ASSERT_NEAR(chroma[static_cast<std::size_t>(x)], reduced.row(0)[x], 0.5) << width << ' ' << x;
    }
}

TEST(FloatRowsTargetsTest, EveryTargetGivesTheSameBits) {
    std::map<std::string, Rows> results;
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        results[hwy::TargetName(target)] = gradientRows(5, 30, 133);
    }
    hwy::SetSupportedTargetsForTest(0);
    for (const auto& [name, rows] : results) EXPECT_EQ(rows, results.begin()->second) << name;
}

// Rows with a step in the middle, alike in bands.
class Bands : public FloatRowSource {
  public:
    explicit Bands(int width) : row_(static_cast<std::size_t>(width + kFloatRowSlack)) {}
    bool moveTo(int y) override {
        const bool differs = y == 0 || y == 11 || y == 40;
        if (differs)
            for (std::size_t x = 0; x < row_.size(); ++x)
                row_[x] = x > 20 + static_cast<std::size_t>(y) ? 1.0F : 0.1F * static_cast<float>(y % 5);
        return differs;
    }
    const float* row() const override { return row_.data(); }

  private:
    std::vector<float> row_;
};

TEST(BlurredPictureTest, AnyPartOfARowIsThatOfTheBlurredPlane) {
    constexpr PixelSize kSize{90, 70};
    for (const double sigma : {0.0, 2.0, 8.0, 13.0, 30.0}) {
        Bands bands(kSize.width);
        FloatPlane plane(kSize.width, kSize.height);
        for (int y = 0; y < kSize.height; ++y) {
            bands.moveTo(y);
            std::copy_n(bands.row(), kSize.width, plane.row(y));
        }
        gaussianBlur(plane, sigma);
        Bands again(kSize.width);
        const BlurredPicture picture(again, kSize, sigma);
        BlurredPicture::Reader reader(picture);
        for (int y = 0; y < kSize.height; y += 3) {
            for (const int x : {0, 1, 17, 89}) {
                const int count = std::min(kSize.width - x, 40);
                const float* const part = reader.row(y, x, count);
                for (int i = 0; i < count; ++i)
                    ASSERT_EQ(part[i], plane.row(y)[x + i]) << sigma << ' ' << x + i << ' ' << y;
            }
        }
    }
}

} // namespace
} // namespace glintro
