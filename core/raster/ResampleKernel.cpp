#include "core/raster/ResampleKernel.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/raster/ResampleKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// A strip of destination rows at a time, as many as a vector has lanes:
//
//   source rows ──filter rows──► chunk: rows of 64 columns ──transpose──► store: columns, each one vector of
//   rows store ──filter columns──► block: 8 columns ──transpose──► 8 samples in each destination row
//
// In the transposed store the columns' filter multiplies whole vectors by one weight, whatever the step and
// the number of taps, where filtering along a row would have to gather.
HWY_BEFORE_NAMESPACE();
namespace glintro::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

// Without vectors, and in the tests what the vector code is held against: the same arithmetic, sample by
// sample.
template <class Product>
void resampleSamples(PlaneView source, const FilterBank& columns, const FilterBank& rows, std::int16_t* line,
                     MutablePlaneView destination, const Product& filter) {
    const int begin = columns.first(0);
    const int end = columns.first(destination.width - 1) + columns.taps();
    for (int y = 0; y < destination.height; ++y) {
        const std::uint8_t* const from = source.row(rows.first(y));
        for (int x = begin; x < end; ++x) {
            line[x] = static_cast<std::int16_t>(
                filter(from + x, source.stride, 128, rows.weights(y), rows.taps(), 8));
        }
        for (int x = 0; x < destination.width; ++x) {
            const int sum = filter(line + columns.first(x), 1, 1, columns.weights(x), columns.taps(), 15);
            destination.row(y)[x] = static_cast<std::uint8_t>(std::clamp((sum + 16) >> 5, 0, 255));
        }
    }
}

void resampleAll(PlaneView source, const FilterBank& columns, const FilterBank& rows, std::int16_t* line,
                 MutablePlaneView destination) {
    // Both filters multiply `scale` samples with weights: the narrow one rounds each product, the wide one
    // the sum.
    const auto narrow = [](const auto* samples, std::ptrdiff_t stride, int scale, const std::int16_t* weights,
                           int taps, int) {
        int sum = 0;
        for (int k = 0; k < taps; ++k, samples += stride) {
            sum += (*samples * scale * weights[k] + (1 << 14)) >> 15;
        }
        return sum;
    };
    const auto wide = [](const auto* samples, std::ptrdiff_t stride, int, const std::int16_t* weights,
                         int taps, int shift) {
        int sum = 1 << (shift - 1);
        for (int k = 0; k < taps; ++k, samples += stride) sum += *samples * weights[k];
        return sum >> shift;
    };
    if (std::max(columns.taps(), rows.taps()) <= kNarrowTaps) {
        resampleSamples(source, columns, rows, line, destination, narrow);
    } else {
        resampleSamples(source, columns, rows, line, destination, wide);
    }
}

#else

using Samples = hn::CappedTag<std::int16_t, 32>;
using Sums = hn::CappedTag<std::int32_t, 16>;
constexpr int kMaxStripRows = 32;
constexpr int kBlock = 8;

// Products rounded one by one, on 16 bits.
struct NarrowFilter {
    static void filterRow(PlaneView source, int first, int x, const std::int16_t* weights, int taps,
                          std::int16_t* chunk) {
        const Samples d;
        const hn::Rebind<std::uint8_t, Samples> bytes;
        const int lanes = static_cast<int>(hn::Lanes(d));
        for (int i = 0; i < kResampleChunk; i += 2 * lanes) {
            const std::uint8_t* from = source.row(first) + x + i;
            auto low = hn::Zero(d);
            auto high = hn::Zero(d);
            for (int k = 0; k < taps; ++k, from += source.stride) {
                const auto weight = hn::Set(d, weights[k]);
                const auto a = hn::ShiftLeft<7>(hn::PromoteTo(d, hn::LoadU(bytes, from)));
                const auto b = hn::ShiftLeft<7>(hn::PromoteTo(d, hn::LoadU(bytes, from + lanes)));
                low = hn::Add(low, hn::MulFixedPoint15(a, weight));
                high = hn::Add(high, hn::MulFixedPoint15(b, weight));
            }
            hn::Store(low, d, chunk + i);
            hn::Store(high, d, chunk + i + lanes);
        }
    }

    static void filterColumn(const std::int16_t* columns, const std::int16_t* weights, int taps,
                             std::int16_t* result) {
        const Samples d;
        auto sum = hn::Zero(d);
        for (int k = 0; k < taps; ++k, columns += hn::Lanes(d)) {
            sum = hn::Add(sum, hn::MulFixedPoint15(hn::Load(d, columns), hn::Set(d, weights[k])));
        }
        hn::Store(sum, d, result);
    }
};

// Products summed exactly, on 32 bits, to the same fractions.
struct WideFilter {
    static void filterRow(PlaneView source, int first, int x, const std::int16_t* weights, int taps,
                          std::int16_t* chunk) {
        const Sums d;
        const hn::Rebind<std::uint8_t, Sums> bytes;
        const hn::Rebind<std::int16_t, Sums> words;
        for (int i = 0; i < kResampleChunk; i += static_cast<int>(hn::Lanes(d))) {
            const std::uint8_t* from = source.row(first) + x + i;
            auto sum = hn::Set(d, 1 << 7);
            for (int k = 0; k < taps; ++k, from += source.stride) {
                const auto sample = hn::PromoteTo(d, hn::LoadU(bytes, from));
                sum = hn::Add(sum, hn::Mul(sample, hn::Set(d, weights[k])));
            }
            hn::Store(hn::DemoteTo(words, hn::ShiftRight<8>(sum)), words, chunk + i);
        }
    }

    static void filterColumn(const std::int16_t* columns, const std::int16_t* weights, int taps,
                             std::int16_t* result) {
        const Sums d;
        const hn::Rebind<std::int16_t, Sums> words;
        const std::size_t half = hn::Lanes(d);
        auto low = hn::Set(d, 1 << 14);
        auto high = low;
        for (int k = 0; k < taps; ++k, columns += 2 * half) {
            const auto weight = hn::Set(d, weights[k]);
            low = hn::Add(low, hn::Mul(hn::PromoteTo(d, hn::Load(words, columns)), weight));
            high = hn::Add(high, hn::Mul(hn::PromoteTo(d, hn::Load(words, columns + half)), weight));
        }
        hn::Store(hn::DemoteTo(words, hn::ShiftRight<15>(low)), words, result);
        hn::Store(hn::DemoteTo(words, hn::ShiftRight<15>(high)), words, result + half);
    }
};

using BlockRow = hn::FixedTag<std::int16_t, kBlock>;

// The 8 x 8 block whose rows start `fromStride` samples apart, turned; `put(i, column)` receives its columns.
template <class Put>
HWY_INLINE void transposeBlock(const std::int16_t* from, std::ptrdiff_t fromStride, const Put& put) {
    const BlockRow d;
    const hn::Repartition<std::int32_t, BlockRow> d32;
    const hn::Repartition<std::int64_t, BlockRow> d64;
    const auto pairs = [=](std::ptrdiff_t row, auto& low, auto& high) HWY_ATTR {
        const auto upper = hn::Load(d, from + row * fromStride);
        const auto lower = hn::Load(d, from + (row + 1) * fromStride);
        low = hn::BitCast(d32, hn::InterleaveLower(d, upper, lower));
        high = hn::BitCast(d32, hn::InterleaveUpper(d, upper, lower));
    };
    hn::Vec<decltype(d32)> a0, a1, b0, b1, c0, c1, e0, e1;
    pairs(0, a0, a1);
    pairs(2, b0, b1);
    pairs(4, c0, c1);
    pairs(6, e0, e1);
    const auto quarter = [=](std::ptrdiff_t column, auto a, auto b, auto c, auto e) HWY_ATTR {
        const auto top = hn::BitCast(d64, hn::InterleaveLower(d32, a, b));
        const auto bottom = hn::BitCast(d64, hn::InterleaveLower(d32, c, e));
        const auto nextTop = hn::BitCast(d64, hn::InterleaveUpper(d32, a, b));
        const auto nextBottom = hn::BitCast(d64, hn::InterleaveUpper(d32, c, e));
        put(column, hn::BitCast(d, hn::InterleaveLower(d64, top, bottom)));
        put(column + 1, hn::BitCast(d, hn::InterleaveUpper(d64, top, bottom)));
        put(column + 2, hn::BitCast(d, hn::InterleaveLower(d64, nextTop, nextBottom)));
        put(column + 3, hn::BitCast(d, hn::InterleaveUpper(d64, nextTop, nextBottom)));
    };
    quarter(0, a0, b0, c0, e0);
    quarter(4, a1, b1, c1, e1);
}

struct Strip {
    PlaneView source;
    const FilterBank& columns;
    const FilterBank& rows;
    std::int16_t* store;
    MutablePlaneView destination;
    int height; // rows of a strip
};

// Filters the source columns from x on for all rows of the strip at y, and puts them into the store.
template <class Filter>
void fillStore(const Strip& strip, int y, int x) {
    const BlockRow d;
    HWY_ALIGN std::int16_t chunk[kMaxStripRows * kResampleChunk];
    for (int i = 0; i < strip.height; ++i) {
        // The last strip repeats the last row; what it adds is not stored.
        const int row = std::min(y + i, strip.destination.height - 1);
        Filter::filterRow(strip.source, strip.rows.first(row), x, strip.rows.weights(row), strip.rows.taps(),
                          chunk + i * kResampleChunk);
    }
    for (int column = 0; column < kResampleChunk; column += kBlock) {
        std::int16_t* const to = strip.store + static_cast<std::ptrdiff_t>(x + column) * strip.height;
        for (int i = 0; i < strip.height; i += kBlock) {
            transposeBlock(chunk + i * kResampleChunk + column, kResampleChunk,
                           [=](std::ptrdiff_t k, auto samples)
                               HWY_ATTR { hn::Store(samples, d, to + k * strip.height + i); });
        }
    }
}

// Rounds a block of destination columns and stores it as rows from (x, y) on.
void storeBlock(const Strip& strip, int x, int y, const std::int16_t* block) {
    const BlockRow d;
    const hn::FixedTag<std::uint8_t, kBlock> bytes;
    const int width = std::min(kBlock, strip.destination.width - x);
    const int height = std::min(strip.height, strip.destination.height - y);
    HWY_ALIGN std::uint8_t rows[kMaxStripRows * kBlock];
    for (int i = 0; i < height; i += kBlock) {
        transposeBlock(block + i, strip.height, [&](std::ptrdiff_t k, auto samples) HWY_ATTR {
            const auto rounded = hn::ShiftRight<5>(hn::Add(samples, hn::Set(d, 16)));
            hn::Store(hn::DemoteTo(bytes, rounded), bytes, rows + (i + k) * kBlock);
        });
    }
    std::uint8_t* to = strip.destination.row(y) + x;
    for (int i = 0; i < height; ++i, to += strip.destination.stride) {
        if (width == kBlock) {
            std::memcpy(to, rows + i * kBlock, kBlock);
        } else {
            std::memcpy(to, rows + i * kBlock, static_cast<std::size_t>(width));
        }
    }
}

template <class Filter>
void resampleStrip(const Strip& strip, int y) {
    HWY_ALIGN std::int16_t block[kBlock * kMaxStripRows];
    const int width = strip.destination.width;
    int ready = strip.columns.first(0);
    for (int x = 0; x < width; x += kBlock) {
        const int needed = strip.columns.first(std::min(x + kBlock, width) - 1) + strip.columns.taps();
        while (ready < needed) {
            const int start = std::min(ready, strip.source.width - kResampleChunk);
            fillStore<Filter>(strip, y, start);
            ready = start + kResampleChunk;
        }
        for (int i = 0; i < kBlock; ++i) {
            const int column = std::min(x + i, width - 1);
            const std::ptrdiff_t first = strip.columns.first(column);
            Filter::filterColumn(strip.store + first * strip.height, strip.columns.weights(column),
                                 strip.columns.taps(), block + i * strip.height);
        }
        storeBlock(strip, x, y, block);
    }
}

void resampleAll(PlaneView source, const FilterBank& columns, const FilterBank& rows, std::int16_t* store,
                 MutablePlaneView destination) {
    const Strip strip{source, columns, rows, store, destination, static_cast<int>(hn::Lanes(Samples()))};
    const bool narrow = std::max(columns.taps(), rows.taps()) <= kNarrowTaps;
    for (int y = 0; y < destination.height; y += strip.height) {
        if (narrow) {
            resampleStrip<NarrowFilter>(strip, y);
        } else {
            resampleStrip<WideFilter>(strip, y);
        }
    }
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
    // GCC 12 forgets this after the wide filter with 512 bits, and then all SSE code of the program, even
    // scalar arithmetic, takes three times as long.
    _mm256_zeroupper();
#endif
}

#endif

} // namespace glintro::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace glintro {

HWY_EXPORT(resampleAll);

void resampleRows(PlaneView source, const FilterBank& columns, const FilterBank& rows, std::int16_t* scratch,
                  MutablePlaneView destination) {
    HWY_DYNAMIC_DISPATCH(resampleAll)(source, columns, rows, scratch, destination);
}

} // namespace glintro
#endif
