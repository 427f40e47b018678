#include "core/raster/Convert.h"

#include <algorithm>
#include <array>
#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/raster/Convert.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "core/raster/Words-inl.h"

HWY_BEFORE_NAMESPACE();
namespace glintro::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::ScalableTag<std::int16_t>;
using Word = hn::Vec<Words>;

HWY_INLINE Word scaled(Word value, int factor) {
    return hn::MulFixedPoint15(value, hn::Set(Words(), static_cast<std::int16_t>(factor)));
}

// Calls convert(x, count) for every vector of a row; at the end of the row fewer than a vector's samples
// count.
template <class Convert>
HWY_INLINE void forEachVector(int width, const Convert& convert) {
    const int lanes = static_cast<int>(hn::Lanes(Words()));
    for (int x = 0; x < width; x += lanes) convert(x, static_cast<std::size_t>(std::min(lanes, width - x)));
}

// R = 1.1644 (Y - 16) + 1.7927 (Cr - 128) and so on, in 1/64 of a level. Only sums far beyond 255 saturate.
HWY_INLINE void yuvToRgbRow(std::uint8_t* first, std::uint8_t* second, std::uint8_t* third, int width) {
    const Words d;
    forEachVector(width, [=](int x, std::size_t count) HWY_ATTR {
        const auto y = hn::Sub(loadWords(Words(), first + x, count), hn::Set(d, 16));
        const auto cb = hn::ShiftLeft<8>(hn::Sub(loadWords(Words(), second + x, count), hn::Set(d, 128)));
        const auto cr = hn::ShiftLeft<8>(hn::Sub(loadWords(Words(), third + x, count), hn::Set(d, 128)));
        const auto luma = hn::Add(scaled(hn::ShiftLeft<7>(y), 19077), hn::Set(d, 32));
        const auto red = hn::SaturatedAdd(luma, scaled(cr, 14686));
        const auto green = hn::Sub(hn::Sub(luma, scaled(cb, 1747)), scaled(cr, 4366));
        const auto blue = hn::SaturatedAdd(luma, scaled(cb, 17305));
        storeWords(Words(), hn::ShiftRight<6>(red), first + x, count);
        storeWords(Words(), hn::ShiftRight<6>(green), second + x, count);
        storeWords(Words(), hn::ShiftRight<6>(blue), third + x, count);
    });
}

void yuvToRgbRows(MutablePlaneView first, MutablePlaneView second, MutablePlaneView third) {
    for (int y = 0; y < first.height; ++y)
        yuvToRgbRow(first.row(y), second.row(y), third.row(y), first.width);
}

void interleaveRow(const std::uint8_t* red, const std::uint8_t* green, const std::uint8_t* blue, int width,
                   std::uint8_t* bgra) {
    const hn::ScalableTag<std::uint8_t> d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        hn::StoreInterleaved4(hn::LoadU(d, blue + x), hn::LoadU(d, green + x), hn::LoadU(d, red + x),
                              hn::Set(d, 255), d, bgra + 4 * x);
    }
    for (; x < width; ++x) {
        bgra[4 * x] = blue[x];
        bgra[4 * x + 1] = green[x];
        bgra[4 * x + 2] = red[x];
        bgra[4 * x + 3] = 255;
    }
}

void separateRow(const std::uint8_t* bgra, int width, std::uint8_t* blue, std::uint8_t* green,
                 std::uint8_t* red) {
    const hn::ScalableTag<std::uint8_t> d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        hn::Vec<decltype(d)> b, g, r, a;
        hn::LoadInterleaved4(d, bgra + 4 * x, b, g, r, a);
        hn::StoreU(b, d, blue + x);
        hn::StoreU(g, d, green + x);
        hn::StoreU(r, d, red + x);
    }
    for (; x < width; ++x) {
        blue[x] = bgra[4 * x];
        green[x] = bgra[4 * x + 1];
        red[x] = bgra[4 * x + 2];
    }
}

// Y = 16 + 0.1826 R + 0.6142 G + 0.0620 B, in 1/128 of a level.
void lumaRow(const std::uint8_t* blue, const std::uint8_t* green, const std::uint8_t* red, int width,
             std::uint8_t* luma) {
    forEachVector(width, [=](int x, std::size_t count) HWY_ATTR {
        const auto r = scaled(hn::ShiftLeft<7>(loadWords(Words(), red + x, count)), 5983);
        const auto g = scaled(hn::ShiftLeft<7>(loadWords(Words(), green + x, count)), 20127);
        const auto b = scaled(hn::ShiftLeft<7>(loadWords(Words(), blue + x, count)), 2032);
        const auto sum = hn::Add(hn::Add(r, g), hn::Add(b, hn::Set(Words(), 16 * 128 + 64)));
        storeWords(Words(), hn::ShiftRight<7>(sum), luma + x, count);
    });
}

// The sum of two rows; sums[-1] and sums[width] repeat the edge.
void addRows(const std::uint8_t* upper, const std::uint8_t* lower, int width, std::int16_t* sums) {
    forEachVector(width, [=](int x, std::size_t count) HWY_ATTR {
        const auto sum = hn::Add(loadWords(Words(), upper + x, count), loadWords(Words(), lower + x, count));
        hn::StoreU(sum, Words(), sums + x);
    });
    sums[-1] = sums[0];
    sums[width] = sums[width - 1];
}

// Eight times the mean around every other column of a pair of rows: 1 2 1 across, 1 1 down.
HWY_INLINE Word aroundEvenColumns(const std::int16_t* sums) {
    const Words d;
    Word before, even, after, unused;
    hn::LoadInterleaved2(d, sums, even, after);
    hn::LoadInterleaved2(d, sums - 1, before, unused);
    return hn::Add(hn::Add(before, after), hn::Add(even, even));
}

// Cb and Cr of the means that the sums of two rows give, in 1/128 of a level. The factors of each add up to
// zero, so that greys stay neutral.
void chromaRow(const std::int16_t* blue, const std::int16_t* green, const std::int16_t* red, int width,
               std::uint8_t* cb, std::uint8_t* cr) {
    forEachVector(width, [=](int x, std::size_t count) HWY_ATTR {
        const auto b = hn::ShiftLeft<4>(aroundEvenColumns(blue + 2 * x));
        const auto g = hn::ShiftLeft<4>(aroundEvenColumns(green + 2 * x));
        const auto r = hn::ShiftLeft<4>(aroundEvenColumns(red + 2 * x));
        const auto neutral = hn::Set(Words(), 128 * 128 + 64);
        const auto first = hn::Add(hn::Add(scaled(r, -3298), scaled(g, -11094)), scaled(b, 14392));
        const auto second = hn::Add(hn::Add(scaled(r, 14392), scaled(g, -13072)), scaled(b, -1320));
        storeWords(Words(), hn::ShiftRight<7>(hn::Add(first, neutral)), cb + x, count);
        storeWords(Words(), hn::ShiftRight<7>(hn::Add(second, neutral)), cr + x, count);
    });
}

void reduceRow(const std::int16_t* sums, int width, std::uint8_t* destination) {
    forEachVector(width, [=](int x, std::size_t count) HWY_ATTR {
        const auto rounded = hn::Add(aroundEvenColumns(sums + 2 * x), hn::Set(Words(), 4));
        storeWords(Words(), hn::ShiftRight<3>(rounded), destination + x, count);
    });
}

// thresholds[i] is that of column i of the plane modulo 8, repeated so that a vector can start anywhere.
void ditherVectors(const float* samples, int count, int x, const float* thresholds,
                   std::uint8_t* destination) {
    const hn::CappedTag<float, 16> d;
    const hn::RebindToSigned<decltype(d)> whole;
    const hn::Rebind<std::uint8_t, decltype(d)> bytes;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const auto dithered = [=](const float* from, int column) HWY_ATTR {
        const auto sum =
            hn::Add(hn::LoadU(d, from), hn::LoadU(d, thresholds + (static_cast<unsigned>(column) & 7U)));
        const auto clamped = hn::Min(hn::Max(sum, hn::Zero(d)), hn::Set(d, 255.0F));
        return hn::DemoteTo(bytes, hn::ConvertTo(whole, clamped));
    };
    int i = 0;
    for (; i + lanes <= count; i += lanes) hn::StoreU(dithered(samples + i, x + i), bytes, destination + i);
    HWY_ALIGN float rest[16] = {};
    HWY_ALIGN std::uint8_t result[16];
    const int left = std::min(count - i, 16);
    std::copy_n(samples + i, left, rest);
    hn::Store(dithered(rest, x + i), bytes, result);
    std::copy_n(result, left, destination + i);
}

} // namespace glintro::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace glintro {
namespace {

HWY_EXPORT(yuvToRgbRows);
HWY_EXPORT(interleaveRow);
HWY_EXPORT(separateRow);
HWY_EXPORT(lumaRow);
HWY_EXPORT(addRows);
HWY_EXPORT(chromaRow);
HWY_EXPORT(reduceRow);
HWY_EXPORT(ditherVectors);

// Luma weights of ITU-R BT.709-6.
constexpr float kRed = 0.2126F;
constexpr float kGreen = 0.7152F;
constexpr float kBlue = 0.0722F;

// The sums of two rows with a repeated sample at either end. Kernels write and read whole vectors of any
// machine.
class RowSums {
  public:
    explicit RowSums(int width) : sums_(static_cast<std::size_t>(width) + kMargin + kSlack) {}
    std::int16_t* data() { return sums_.data() + kMargin; }

  private:
    static constexpr std::size_t kMargin = 1;
    static constexpr std::size_t kSlack = 4096 / sizeof(std::int16_t);
    std::vector<std::int16_t> sums_;
};

// The means of `factor` pixels each, of rows already added up.
void meansOfPixels(const std::uint16_t* sums, int factor, int width, std::uint8_t* bgra) {
    const auto samples = static_cast<unsigned>(factor * factor);
    for (int x = 0; x < width; ++x) {
        for (int channel = 0; channel < 4; ++channel) {
            unsigned sum = samples / 2;
            for (int k = 0; k < factor; ++k) sum += sums[4 * (x * factor + k) + channel];
            bgra[4 * x + channel] = static_cast<std::uint8_t>(sum / samples);
        }
    }
}

// Bayer's matrix: the bits of x ^ y and of y interleaved, the lowest weighing most.
constexpr float ditherThreshold(unsigned x, unsigned y) {
    unsigned rank = 0;
    for (unsigned bit = 0; bit < 3; ++bit) rank = rank * 4 + ((x ^ y) >> bit & 1U) * 2 + (y >> bit & 1U);
    return (static_cast<float>(rank) + 0.5F) / 64;
}

// A row of the matrix, repeated as ditherVectors wants it, for each row of 8.
using DitherRow = std::array<float, 8 + 16>;
constexpr std::array<DitherRow, 8> kDitherRows = [] {
    std::array<DitherRow, 8> rows{};
    for (unsigned y = 0; y < rows.size(); ++y)
        for (unsigned x = 0; x < rows[y].size(); ++x) rows[y][x] = ditherThreshold(x, y);
    return rows;
}();

} // namespace

PlaneColour planeColour(PixelLayout layout, float red, float green, float blue) {
    if (layout == PixelLayout::rgb444) return {{red * 255, green * 255, blue * 255}};
    const float luma = kRed * red + kGreen * green + kBlue * blue;
    return {
        {16 + 219 * luma, 128 + 112 * (blue - luma) / (1 - kBlue), 128 + 112 * (red - luma) / (1 - kRed)}};
}

void yuvToRgb(MutablePlaneView first, MutablePlaneView second, MutablePlaneView third) {
    HWY_DYNAMIC_DISPATCH(yuvToRgbRows)(first, second, third);
}

BgraImage toBgra(const Picture& picture) {
    BgraImage image(picture.size);
    toBgra(picture, image.view());
    return image;
}

void toBgra(const Picture& picture, BgraView destination) {
    const auto& [red, green, blue] = picture.planes;
    for (int y = 0; y < picture.size.height; ++y) {
        HWY_DYNAMIC_DISPATCH(interleaveRow)
        (red.row(y), green.row(y), blue.row(y), picture.size.width, destination.row(y));
    }
}

PictureBuffer bgraToPlanes(const BgraImage& image) {
    PictureBuffer planes(PixelLayout::rgb444, image.size);
    for (int y = 0; y < image.size.height; ++y) {
        HWY_DYNAMIC_DISPATCH(separateRow)
        (image.row(y), image.size.width, planes.plane(2).row(y), planes.plane(1).row(y),
         planes.plane(0).row(y));
    }
    return planes;
}

BgraImage boxReduced(const BgraImage& image, int factor) {
    BgraImage reduced({image.size.width / factor, image.size.height / factor});
    const std::size_t used =
        static_cast<std::size_t>(reduced.size.width) * static_cast<std::size_t>(factor) * 4;
    std::vector<std::uint16_t> sums(used);
    for (int y = 0; y < reduced.size.height; ++y) {
        std::fill(sums.begin(), sums.end(), std::uint16_t{0});
        for (int k = 0; k < factor; ++k) {
            const std::uint8_t* const row = image.row(y * factor + k);
            for (std::size_t i = 0; i < used; ++i) sums[i] = static_cast<std::uint16_t>(sums[i] + row[i]);
        }
        meansOfPixels(sums.data(), factor, reduced.size.width, reduced.row(y));
    }
    return reduced;
}

void bgraToYuv420(const std::uint8_t* bgra, std::ptrdiff_t strideBytes, PictureBuffer& destination) {
    bgraToYuv420Rows(bgra, strideBytes, 0, destination.size().height, destination);
}

void bgraToYuv420Rows(const std::uint8_t* bgra, std::ptrdiff_t strideBytes, int firstRow, int endRow,
                      PictureBuffer& destination) {
    const auto [width, height] = destination.size();
    // Blue, green and red of two rows.
    std::array<Plane, 3> pair = {Plane(width, 2), Plane(width, 2), Plane(width, 2)};
    std::array<RowSums, 3> sums = {RowSums(width), RowSums(width), RowSums(width)};
    for (int y = firstRow & ~1; y < endRow; y += 2) {
        const int last = std::min(y + 1, height - 1) - y;
        for (int i = 0; i <= last; ++i) {
            HWY_DYNAMIC_DISPATCH(separateRow)
            (bgra + (y + i) * strideBytes, width, pair[0].row(i), pair[1].row(i), pair[2].row(i));
            HWY_DYNAMIC_DISPATCH(lumaRow)
            (pair[0].row(i), pair[1].row(i), pair[2].row(i), width, destination.plane(0).row(y + i));
        }
        for (std::size_t i = 0; i < 3; ++i) {
            HWY_DYNAMIC_DISPATCH(addRows)(pair[i].row(0), pair[i].row(last), width, sums[i].data());
        }
        HWY_DYNAMIC_DISPATCH(chromaRow)
        (sums[0].data(), sums[1].data(), sums[2].data(), chromaExtent(width), destination.plane(1).row(y / 2),
         destination.plane(2).row(y / 2));
    }
}

void ditherRow(const float* samples, int count, int x, int y, std::uint8_t* destination) {
    const DitherRow& thresholds = kDitherRows[static_cast<unsigned>(y) & 7U];
    HWY_DYNAMIC_DISPATCH(ditherVectors)(samples, count, x, thresholds.data(), destination);
}

void reduceMaskToChroma(PlaneView mask, MutablePlaneView destination) {
    RowSums sums(mask.width);
    for (int y = 0; y < destination.height; ++y) {
        HWY_DYNAMIC_DISPATCH(addRows)
        (mask.row(2 * y), mask.row(std::min(2 * y + 1, mask.height - 1)), mask.width, sums.data());
        HWY_DYNAMIC_DISPATCH(reduceRow)(sums.data(), destination.width, destination.row(y));
    }
}

} // namespace glintro
#endif
