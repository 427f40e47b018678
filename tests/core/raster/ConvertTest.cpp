#include <algorithm>
#include <array>
#include <cmath>

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include "core/raster/Convert.h"
#include "tests/core/raster/PlaneFixtures.h"

namespace glintro {
namespace {

class ConvertTest : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ConvertTest);

using Triple = std::array<double, 3>;

Triple exactYuv(Triple rgb) {
    const double luma = 0.2126 * rgb[0] + 0.7152 * rgb[1] + 0.0722 * rgb[2];
    return {16 + 219 / 255.0 * luma, 128 + 224 / 255.0 * (rgb[2] - luma) / 1.8556,
            128 + 224 / 255.0 * (rgb[0] - luma) / 1.5748};
}

Triple exactRgb(Triple yuv) {
    const double luma = (yuv[0] - 16) * 255 / 219;
    const double blue = luma + (yuv[1] - 128) * 255 / 224 * 1.8556;
    const double red = luma + (yuv[2] - 128) * 255 / 224 * 1.5748;
    return {red, (luma - 0.2126 * red - 0.0722 * blue) / 0.7152, blue};
}

double distance(double exact, int value) {
    return std::abs(std::clamp(exact, 0.0, 255.0) - value);
}

TEST_P(ConvertTest, EveryYuvColourBecomesItsRgb) {
    for (int cb = 0; cb < 256; cb += 17) {
        // All Y' beside all Cr; the odd width leaves a part of a vector.
        LoosePlane first(257, 256);
        LoosePlane second(257, 256);
        LoosePlane third(257, 256);
        second.fill(static_cast<std::uint8_t>(cb));
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 257; ++x) first.view().row(y)[x] = static_cast<std::uint8_t>(x);
            std::fill_n(third.view().row(y), 257, static_cast<std::uint8_t>(y));
        }
        yuvToRgb(first.view(), second.view(), third.view());
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 257; ++x) {
                const Triple exact =
                    exactRgb({static_cast<double>(x % 256), static_cast<double>(cb), y * 1.0});
                ASSERT_LE(distance(exact[0], first.view().row(y)[x]), 0.55) << x << " " << cb << " " << y;
                ASSERT_LE(distance(exact[1], second.view().row(y)[x]), 0.55) << x << " " << cb << " " << y;
                ASSERT_LE(distance(exact[2], third.view().row(y)[x]), 0.55) << x << " " << cb << " " << y;
            }
        }
        ASSERT_TRUE(first.surroundingsIntact() && second.surroundingsIntact() && third.surroundingsIntact());
    }
}

constexpr PixelSize kSizes[] = {{1, 1},  {1, 4},  {2, 2},   {3, 5},  {31, 3},
                                {32, 2}, {64, 7}, {131, 6}, {400, 3}};

// The means that 4:2:0 takes around column 2x of rows 2y and 2y + 1, of any sample(x, y).
double chromaMean(const auto& sample, PixelSize size, int x, int y) {
    const auto row = [&](int j) {
        const auto at = [&](int i) {
            return sample(std::clamp(i, 0, size.width - 1), std::min(j, size.height - 1));
        };
        return (at(2 * x - 1) + 2.0 * at(2 * x) + at(2 * x + 1)) / 4;
    };
    return (row(2 * y) + row(2 * y + 1)) / 2;
}

TEST_P(ConvertTest, BgraBecomesYuvOfItsOwnMeans) {
    for (const PixelSize size : kSizes) {
        LoosePlane pixels(size.width * 4, size.height);
        pixels.randomise(static_cast<unsigned>(size.width));
        PictureBuffer yuv(PixelLayout::yuv420, size);
        bgraToYuv420(pixels.view().data, pixels.view().stride, yuv);
        const auto component = [&](int i) {
            return [&, i](int x, int y) { return pixels.view().row(y)[4 * x + 2 - i] * 1.0; };
        };
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const Triple exact = exactYuv({component(0)(x, y), component(1)(x, y), component(2)(x, y)});
                ASSERT_LE(distance(exact[0], yuv.plane(0).row(y)[x]), 0.55)
                    << size.width << " at " << x << ", " << y;
            }
        }
        for (int y = 0; y < chromaExtent(size.height); ++y) {
            for (int x = 0; x < chromaExtent(size.width); ++x) {
                const Triple exact =
                    exactYuv({chromaMean(component(0), size, x, y), chromaMean(component(1), size, x, y),
                              chromaMean(component(2), size, x, y)});
                ASSERT_LE(distance(exact[1], yuv.plane(1).row(y)[x]), 0.55)
                    << size.width << " at " << x << ", " << y;
                ASSERT_LE(distance(exact[2], yuv.plane(2).row(y)[x]), 0.55)
                    << size.width << " at " << x << ", " << y;
            }
        }
    }
}

TEST_P(ConvertTest, MasksAreReducedLikeChroma) {
    for (const PixelSize size : kSizes) {
        LoosePlane mask(size.width, size.height);
        mask.randomise(static_cast<unsigned>(size.width));
        LoosePlane reduced(chromaExtent(size.width), chromaExtent(size.height));
        reduceMaskToChroma(mask.view(), reduced.view());
        for (int y = 0; y < reduced.view().height; ++y) {
            for (int x = 0; x < reduced.view().width; ++x) {
                const double mean =
                    chromaMean([&](int i, int j) { return mask.view().row(j)[i]; }, size, x, y);
                ASSERT_EQ(reduced.view().row(y)[x], std::floor(mean + 0.5))
                    << size.width << " at " << x << ", " << y;
            }
        }
        ASSERT_TRUE(reduced.surroundingsIntact());
    }
}

TEST_P(ConvertTest, PlanesAreInterleavedAsBgra) {
    for (const PixelSize size : kSizes) {
        std::array<LoosePlane, 3> rgb = {LoosePlane(size.width, size.height),
                                         LoosePlane(size.width, size.height),
                                         LoosePlane(size.width, size.height)};
        for (unsigned i = 0; i < 3; ++i) rgb[i].randomise(i);
        const BgraImage image =
            toBgra({PixelLayout::rgb444, size, {rgb[0].view(), rgb[1].view(), rgb[2].view()}, nullptr});
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const std::uint8_t* const pixel = image.row(y) + 4 * x;
                for (std::size_t i = 0; i < 3; ++i) ASSERT_EQ(pixel[2 - i], rgb[i].view().row(y)[x]);
                ASSERT_EQ(pixel[3], 255);
            }
        }
    }
}

TEST_P(ConvertTest, DitherKeepsWholeSamplesAndTheMean) {
    for (double level = -2; level < 258; level += 1 / 64.0) {
        double sum = 0;
        for (int y = 40; y < 48; ++y) {
            std::array<float, 8> samples;
            std::array<std::uint8_t, 8> bytes;
            samples.fill(static_cast<float>(level));
            ditherRow(samples.data(), 8, 3, y, bytes.data());
            for (const std::uint8_t byte : bytes) {
                ASSERT_LT(distance(level, byte), 1);
                sum += byte;
            }
        }
        ASSERT_EQ(sum / 64, std::clamp(level, 0.0, 255.0));
    }
}

TEST_P(ConvertTest, DitherBelongsToThePlaneNotToTheRow) {
    const std::vector<float> samples(150, 99.4F);
    std::vector<std::uint8_t> whole(150);
    ditherRow(samples.data(), 150, 0, 5, whole.data());
    for (int start = 0; start < 20; ++start) {
        for (int count = 1; count <= 130; count += 3) {
            std::vector<std::uint8_t> part(static_cast<std::size_t>(count) + 1, 7);
            ditherRow(samples.data(), count, start, 5, part.data());
            ASSERT_TRUE(std::equal(part.begin(), part.end() - 1, whole.begin() + start))
                << start << ", " << count;
            ASSERT_EQ(part.back(), 7);
        }
    }
}

// What a recording does with the rows that changed: the rest must stay, the edges must not show.
TEST(ConvertRowsTest, ChangedRowsGiveWhatTheWholePictureWould) {
    const PixelSize size{30, 11};
    LoosePlane before(size.width * 4, size.height);
    before.randomise(1);
    for (int begin = 0; begin < size.height; ++begin) {
        for (int end = begin; end <= size.height; ++end) {
            LoosePlane after(size.width * 4, size.height);
            after.randomise(1);
            LoosePlane fresh(size.width * 4, size.height);
            fresh.randomise(2);
            for (int y = begin; y < end; ++y)
                std::copy_n(fresh.view().row(y), size.width * 4, after.view().row(y));
            PictureBuffer updated(PixelLayout::yuv420, size);
            bgraToYuv420(before.view().data, before.view().stride, updated);
            bgraToYuv420Rows(after.view().data, after.view().stride, begin, end, updated);
            PictureBuffer whole(PixelLayout::yuv420, size);
            bgraToYuv420(after.view().data, after.view().stride, whole);
            ASSERT_TRUE(samePixels(updated.view(), whole.view())) << begin << " to " << end;
        }
    }
}

// Rounding may fall either way within the tolerances above, but everywhere the same way.
TEST(ConvertTargetsTest, EveryTargetGivesTheSameBytes) {
    const PixelSize size{133, 41};
    LoosePlane pixels(size.width * 4, size.height);
    pixels.randomise(5);
    std::vector<std::vector<std::uint8_t>> results;
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        PictureBuffer yuv(PixelLayout::yuv420, size);
        bgraToYuv420(pixels.view().data, pixels.view().stride, yuv);
        std::array<LoosePlane, 3> planes = {LoosePlane(67, 21), LoosePlane(67, 21), LoosePlane(67, 21)};
        for (int i = 0; i < 3; ++i) {
            for (int y = 0; y < 21; ++y) {
                std::copy_n(std::as_const(yuv).plane(i).row(y), 67,
                            planes[static_cast<std::size_t>(i)].view().row(y));
            }
        }
        std::vector<std::uint8_t>& bytes = results.emplace_back();
        const auto append = [&] {
            for (LoosePlane& plane : planes) {
                for (int y = 0; y < 21; ++y) {
                    bytes.insert(bytes.end(), plane.view().row(y), plane.view().row(y) + 67);
                }
            }
        };
        append();
        yuvToRgb(planes[0].view(), planes[1].view(), planes[2].view());
        append();
        EXPECT_EQ(bytes, results.front()) << hwy::TargetName(target);
    }
    hwy::SetSupportedTargetsForTest(0);
}

} // namespace
} // namespace glintro
