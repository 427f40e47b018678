#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include "core/raster/Blur.h"

namespace glintro {
namespace {

class BlurTest : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(BlurTest);

using Image = std::vector<std::vector<double>>;

// A hard-edged rounded rectangle; part of it may lie outside, so that it touches the edges.
Image roundedRectangle(int width, int height, double left, double top, double right, double bottom,
                       double radius) {
    Image image(static_cast<std::size_t>(height), std::vector<double>(static_cast<std::size_t>(width)));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double dx = std::max({left + radius - x, x - (right - radius), 0.0});
            const double dy = std::max({top + radius - y, y - (bottom - radius), 0.0});
            image[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] =
                std::hypot(dx, dy) <= radius ? 1 : 0;
        }
    }
    return image;
}

Image transposed(const Image& image) {
    Image result(image[0].size(), std::vector<double>(image.size()));
    for (std::size_t y = 0; y < image.size(); ++y) {
        for (std::size_t x = 0; x < image[0].size(); ++x) result[x][y] = image[y][x];
    }
    return result;
}

Image blurredRows(const Image& image, double sigma) {
    const int reach = static_cast<int>(std::ceil(6 * sigma));
    std::vector<double> weights;
    double total = 0;
    for (int k = -reach; k <= reach; ++k) {
        weights.push_back(std::exp(-0.5 * (k / sigma) * (k / sigma)));
        total += weights.back();
    }
    Image result = image;
    const int width = static_cast<int>(image[0].size());
    for (std::size_t y = 0; y < image.size(); ++y) {
        for (int x = 0; x < width; ++x) {
            double sum = 0;
            for (int k = -reach; k <= reach; ++k) {
                sum += weights[static_cast<std::size_t>(k + reach)]
                       * image[y][static_cast<std::size_t>(std::clamp(x + k, 0, width - 1))];
            }
            result[y][static_cast<std::size_t>(x)] = sum / total;
        }
    }
    return result;
}

// The blur of the one image that the targets share, computed once: in doubles it takes longest of all.
const Image& exactBlur(const Image& image, double sigma) {
    static std::map<double, Image> known;
    Image& blurred = known[sigma];
    if (blurred.empty()) blurred = transposed(blurredRows(transposed(blurredRows(image, sigma)), sigma));
    return blurred;
}

FloatPlane planeOf(const Image& image) {
    FloatPlane plane(static_cast<int>(image[0].size()), static_cast<int>(image.size()));
    for (int y = 0; y < plane.height(); ++y) {
        std::copy(image[static_cast<std::size_t>(y)].begin(), image[static_cast<std::size_t>(y)].end(),
                  plane.row(y));
    }
    return plane;
}

TEST_P(BlurTest, StaysWithinItsToleranceOfTheExactBlur) {
    for (const double sigma : {0.3, 1.0, 3.7, 7.9, 8.0, 10.4, 13.0, 26.0, 45.0}) {
        const Image image = roundedRectangle(203, 158, 31, -20, 170, 101, 17);
        const Image& exact = exactBlur(image, sigma);
        FloatPlane plane = planeOf(image);
        gaussianBlur(plane, sigma);
        double worst = 0;
        for (int y = 0; y < plane.height(); ++y) {
            for (int x = 0; x < plane.width(); ++x) {
                worst = std::max(worst,
                                 std::abs(plane.row(y)[x]
                                          - exact[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)]));
            }
        }
        EXPECT_LE(worst, 0.002) << "sigma " << sigma;
    }
}

TEST_P(BlurTest, FlatPlanesStayFlatWhateverTheirSize) {
    for (const double sigma : {0.0, 2.0, 9.0, 300.0}) {
        for (const int extent : {1, 2, 15, 16, 17, 40}) {
            FloatPlane plane =
                planeOf(Image(static_cast<std::size_t>(extent), std::vector<double>(41 - extent, 0.7)));
            gaussianBlur(plane, sigma);
            for (int y = 0; y < plane.height(); ++y) {
                for (int x = 0; x < plane.width(); ++x) ASSERT_NEAR(plane.row(y)[x], 0.7, 1e-5) << sigma;
            }
        }
    }
}

TEST(BlurTargetsTest, EveryTargetGivesTheSameBits) {
    for (const double sigma : {5.0, 21.0}) {
        std::vector<std::vector<float>> results;
        for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
            hwy::SetSupportedTargetsForTest(target);
            FloatPlane plane = planeOf(roundedRectangle(147, 93, 20, 21, 99, 63, 8));
            gaussianBlur(plane, sigma);
            std::vector<float>& samples = results.emplace_back();
            for (int y = 0; y < plane.height(); ++y) {
                samples.insert(samples.end(), plane.row(y), plane.row(y) + plane.width());
            }
            EXPECT_EQ(samples, results.front()) << hwy::TargetName(target) << ", sigma " << sigma;
        }
    }
    hwy::SetSupportedTargetsForTest(0);
}

} // namespace
} // namespace glintro
