#include <algorithm>
#include <cstddef>

#include <gtest/gtest.h>

#include "platform/BgraPicture.h"

namespace glintro {
namespace {

// A picture of columns that alternate between two values, in rows longer than they need to be.
BgraPicture striped(PixelSize size, std::ptrdiff_t stride, int maxSide) {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(stride) * static_cast<std::size_t>(size.height));
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::ptrdiff_t>(i) % stride / 4 % 2 == 0 ? 100 : 200;
    return reducedPicture(bytes.data(), stride, size, maxSide);
}

TEST(BgraPicture, KeepsItsShapeAndItsMeanWhenItIsReduced) {
    const struct {
        PixelSize size;
        int maxSide;
        PixelSize reduced;
    } rows[] = {{{641, 480}, 640, {640, 479}}, {{1920, 1080}, 320, {320, 180}}, {{30, 900}, 300, {10, 300}},
                {{3000, 2}, 10, {10, 1}},      {{64, 48}, 64, {64, 48}},        {{64, 48}, 1000, {64, 48}}};
    for (const auto& row : rows) {
        const BgraPicture picture = striped(row.size, row.size.width * 4 + 12, row.maxSide);
        ASSERT_EQ(picture.size, row.reduced) << row.size.width;
        double sum = 0;
        for (std::size_t i = 0; i < picture.bgra.size(); i += 4) sum += picture.bgra[i + 1];
        EXPECT_NEAR(sum / (static_cast<double>(picture.bgra.size()) / 4), 150, 1) << row.size.width;
        EXPECT_EQ(picture.bgra[3], 0xFF);
    }
}

TEST(BgraPicture, HasTheMeanOfEachAreaIncludingItsParts) {
    // Three columns of 0, 90 and 240 become two: one and a half of them each.
    const std::uint8_t row[] = {0, 0, 0, 0, 90, 90, 90, 0, 240, 240, 240, 0};
    const BgraPicture picture = reducedPicture(row, sizeof row, {3, 1}, 2);
    ASSERT_EQ(picture.size, (PixelSize{2, 1}));
    EXPECT_EQ(picture.bgra, (std::vector<std::uint8_t>{30, 30, 30, 255, 190, 190, 190, 255}));
}

} // namespace
} // namespace glintro
