#include <algorithm>
#include <cmath>
#include <functional>

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include "core/raster/Blend.h"
#include "core/raster/Picture.h"
#include "tests/core/raster/PlaneFixtures.h"

namespace glintro {
namespace {

class BlendTest : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(BlendTest);

int by255(int value) {
    return static_cast<int>(std::lround(value / 255.0));
}

struct Kernel {
    const char* name;
    std::function<void(MutablePlaneView, PlaneView, PlaneView)> run;
    std::function<int(int destination, int first, int second)> expected;
};

std::vector<Kernel> kernels(std::uint8_t value, std::uint8_t opacity) {
    return {
        {"keepInside", keepInside,
         [](int d, int under, int mask) { return by255(d * mask + under * (255 - mask)); }},
        {"blendMasked", blendMasked,
         [](int d, int over, int mask) { return by255(over * mask + d * (255 - mask)); }},
        {"fillMasked",
         [=](MutablePlaneView d, PlaneView, PlaneView mask) { fillMasked(d, value, mask, opacity); },
         [=](int d, int, int mask) {
             const int alpha = by255(mask * opacity);
             return by255(value * alpha + d * (255 - alpha));
         }},
        {"blendPremultiplied",
         [=](MutablePlaneView d, PlaneView colour, PlaneView alpha) {
             blendPremultiplied(d, colour, alpha, opacity);
         },
         [=](int d, int colour, int alpha) {
             return std::min(by255(colour * opacity) + by255(d * (255 - by255(alpha * opacity))), 255);
         }},
        {"copyPlane", [](MutablePlaneView d, PlaneView from, PlaneView) { copyPlane(from, d); },
         [](int, int from, int) { return from; }},
    };
}

void check(const Kernel& kernel, PixelSize size, unsigned seed) {
    LoosePlane destination(size.width, size.height, 5);
    LoosePlane first(size.width, size.height, 2);
    LoosePlane second(size.width, size.height, 0);
    destination.randomise(seed);
    first.randomise(seed + 1);
    second.randomise(seed + 2);
    LoosePlane before = destination;
    kernel.run(destination.view(), first.view(), second.view());
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            ASSERT_EQ(
                destination.view().row(y)[x],
                kernel.expected(before.view().row(y)[x], first.view().row(y)[x], second.view().row(y)[x]))
                << kernel.name << " " << size.width << " wide at " << x << ", " << y;
        }
    }
    ASSERT_TRUE(destination.surroundingsIntact()) << kernel.name << " " << size.width << " wide";
}

TEST_P(BlendTest, EveryWidthGivesTheExactQuotientAndNothingElseIsTouched) {
    for (const int opacity : {0, 1, 77, 254, 255}) {
        for (const Kernel& kernel : kernels(201, static_cast<std::uint8_t>(opacity))) {
            for (int width = 1; width < 140; width += width < 70 ? 1 : 9) check(kernel, {width, 3}, 40);
        }
    }
}

// All pairs of a sample and a mask, which noise alone would not reach.
TEST_P(BlendTest, EverySampleUnderEveryMaskIsExact) {
    for (const int other : {0, 3, 128, 255}) {
        LoosePlane destination(256, 256);
        LoosePlane over(256, 256);
        LoosePlane mask(256, 256);
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) mask.view().row(y)[x] = static_cast<std::uint8_t>(y);
            for (int x = 0; x < 256; ++x) over.view().row(y)[x] = static_cast<std::uint8_t>(x);
        }
        destination.fill(static_cast<std::uint8_t>(other));
        blendMasked(destination.view(), over.view(), mask.view());
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) {
                ASSERT_EQ(destination.view().row(y)[x], by255(x * y + other * (255 - y)))
                    << x << ", mask " << y;
            }
        }
    }
}

TEST(PictureTest, SamePixelsSeesEverySampleAndNoPadding) {
    for (const PixelLayout layout : {PixelLayout::yuv420, PixelLayout::rgb444}) {
        const auto flat = [layout](PixelSize size, int outside) {
            PictureBuffer buffer(layout, size);
            for (int i = 0; i < 3; ++i) {
                const MutablePlaneView plane = buffer.plane(i);
                for (int y = 0; y < plane.height; ++y) {
                    std::fill_n(plane.row(y), plane.stride, static_cast<std::uint8_t>(outside));
                    std::fill_n(plane.row(y), plane.width, std::uint8_t{90});
                }
            }
            return buffer;
        };
        const PictureBuffer one = flat({33, 17}, 0);
        EXPECT_TRUE(samePixels(one.view(), flat({33, 17}, 1).view()));
        EXPECT_FALSE(samePixels(one.view(), flat({34, 17}, 0).view()));
        for (int i = 0; i < 3; ++i) {
            PictureBuffer other = flat({33, 17}, 0);
            const MutablePlaneView plane = other.plane(i);
            plane.row(plane.height - 1)[plane.width - 1] = 91;
            EXPECT_FALSE(samePixels(one.view(), other.view())) << "plane " << i;
        }
    }
    EXPECT_FALSE(samePixels(PictureBuffer(PixelLayout::yuv420, {8, 8}).view(),
                            PictureBuffer(PixelLayout::rgb444, {8, 8}).view()));
}

} // namespace
} // namespace glintro
