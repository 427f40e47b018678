#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/base/Geometry.h"

namespace glintro {
namespace {

PixelRect anyRect() {
    const auto extent = [] { return *rc::gen::inRange(0, 6); };
    const auto place = [] { return *rc::gen::inRange(-6, 7); };
    return {place(), place(), extent(), extent()};
}

bool holds(const PixelRect& rect, int x, int y) {
    return x >= rect.x && x < rect.right() && y >= rect.y && y < rect.bottom();
}

// Pixel by pixel, empty and touching rectangles included.
RC_GTEST_PROP(PixelRects, IntersectionUnionAndContainmentAreThoseOfTheirPixels, ()) {
    const PixelRect a = anyRect();
    const PixelRect b = anyRect();
    std::int64_t inBoth = 0;
    bool bOutsideA = false;
    for (int y = -7; y < 14; ++y) {
        for (int x = -7; x < 14; ++x) {
            RC_ASSERT(holds(intersected(a, b), x, y) == (holds(a, x, y) && holds(b, x, y)));
            if (holds(a, x, y) || holds(b, x, y)) RC_ASSERT(holds(united(a, b), x, y));
            inBoth += holds(a, x, y) && holds(b, x, y);
            bOutsideA = bOutsideA || (holds(b, x, y) && !holds(a, x, y));
        }
    }
    RC_ASSERT(area(intersected(a, b)) == inBoth);
    RC_ASSERT(contains(a, b) == !bOutsideA);
    RC_ASSERT(united(a, a) == a || isEmpty(a));
}

TEST(Rects, AreHalfOpen) {
    const Rect rect{10, 20, 5, 5};
    EXPECT_TRUE(contains(rect, {10, 20}));
    EXPECT_FALSE(contains(rect, {15, 22}));
    EXPECT_FALSE(contains(rect, {12, 25}));
    EXPECT_EQ(intersected(rect, Rect{15, 20, 5, 5}).width, 0);
    EXPECT_EQ(intersected(rect, Rect{30, 22, 5, 5}), (Rect{30, 22, 0, 3})) << "never a negative width";
}

TEST(FittedWithin, BringsTheLongerSideToTheLimitExactly) {
    struct Row {
        PixelSize size;
        int limit;
        PixelSize fitted;
    };
    const Row rows[] = {
        {{2560, 1600}, 640, {640, 400}},
        {{1600, 2560}, 640, {400, 640}},
        // 1066 * (640 / 1066.0) is a little above 640: rounded up, it was 641 pixels.
        {{1066, 600}, 640, {640, 360}},
        {{320, 200}, 640, {320, 200}},
        {{4000, 1}, 640, {640, 1}},
    };
    for (const Row& row : rows) EXPECT_EQ(fittedWithin(row.size, row.limit), row.fitted) << row.size.width;
    for (int longer = 641; longer < 9000; ++longer)
        EXPECT_EQ(fittedWithin({longer, longer * 10 / 16}, 640).width, 640) << longer;
}

TEST(ShrunkToCover, KeepsBothSidesAtLeastAsLarge) {
    struct Row {
        PixelSize size;
        PixelSize covered;
        PixelSize shrunk;
    };
    const Row rows[] = {
        {{6000, 4000}, {1920, 1080}, {1920, 1280}},
        {{4000, 6000}, {1920, 1080}, {1920, 2880}},
        {{6000, 1500}, {1920, 1080}, {4320, 1080}},
        {{1000, 4000}, {1920, 1080}, {1000, 4000}}, // too narrow already
        {{1920, 1080}, {1920, 1080}, {1920, 1080}},
    };
    for (const Row& row : rows) EXPECT_EQ(shrunkToCover(row.size, row.covered), row.shrunk);
}

} // namespace
} // namespace glintro
