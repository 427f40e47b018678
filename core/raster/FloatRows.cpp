#include "core/raster/FloatRows.h"

#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/raster/FloatRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Multiplications and additions stay apart, so that no machine fuses them and all round alike.
HWY_BEFORE_NAMESPACE();
namespace glintro::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Samples = hn::CappedTag<float, kFloatRowSlack>;
using Sample = hn::Vec<Samples>;

HWY_INLINE int lanes() {
    return static_cast<int>(hn::Lanes(Samples()));
}

HWY_INLINE Sample all(float value) {
    return hn::Set(Samples(), value);
}

HWY_INLINE Sample mix(Sample from, Sample to, Sample share) {
    return hn::Add(from, hn::Mul(hn::Sub(to, from), share));
}

void paintGradient(const Gradient& gradient, int x, int y, int count, float* const* rows) {
    const Samples d;
    const float middleY = static_cast<float>(y) + 0.5F;
    const auto down = all(middleY * gradient.yStep);
    const auto squareY = all((middleY - gradient.centreY) * (middleY - gradient.centreY));
    const auto radius = all(gradient.radius);
    const auto strength = all(gradient.strength);
    for (int i = 0; i < count; i += lanes()) {
        const auto middleX = hn::Iota(d, static_cast<float>(x + i) + 0.5F);
        const auto progress = hn::Add(hn::Mul(middleX, all(gradient.xStep)), down);
        const auto dx = hn::Sub(middleX, all(gradient.centreX));
        const auto distance = hn::Sqrt(hn::Add(hn::Mul(dx, dx), squareY));
        const auto inside = hn::Max(hn::Sub(all(1), hn::Div(distance, radius)), hn::Zero(d));
        const auto glow = hn::Mul(strength, inside);
        for (int plane = 0; plane < 3; ++plane) {
            const auto ground =
                mix(all(gradient.start.values[plane]), all(gradient.end.values[plane]), progress);
            hn::StoreU(mix(ground, all(gradient.highlight.values[plane]), glow), d, rows[plane] + i);
        }
    }
}

// May read as far beyond `shade` as it writes beyond the samples.
void shade(float* samples, const float* shade, int count, float black, float strength) {
    const Samples d;
    for (int i = 0; i < count; i += lanes()) {
        const auto light = hn::Sub(all(1), hn::Mul(hn::LoadU(d, shade + i), all(strength)));
        const auto above = hn::Sub(hn::LoadU(d, samples + i), all(black));
        hn::StoreU(hn::Add(all(black), hn::Mul(above, light)), d, samples + i);
    }
}

template <class From>
HWY_INLINE Sample toFloats(const From* from) {
    const Samples d;
    const hn::Rebind<From, Samples> narrow;
    const hn::RebindToSigned<Samples> whole;
    return hn::ConvertTo(d, hn::PromoteTo(whole, hn::LoadU(narrow, from)));
}

void widenFine(const std::uint16_t* fine, int count, float* samples) {
    for (int i = 0; i < count; i += lanes())
        hn::StoreU(hn::Mul(toFloats(fine + i), all(1.0F / 256)), Samples(), samples + i);
}

void widenBytes(const std::uint8_t* bytes, int count, float* samples) {
    for (int i = 0; i < count; i += lanes()) hn::StoreU(toFloats(bytes + i), Samples(), samples + i);
}

void mixToFine(const ColourSum& sum, const float* const* rows, int count, std::uint16_t* fine) {
    const Samples d;
    const hn::RebindToSigned<Samples> whole;
    const hn::Rebind<std::uint16_t, Samples> words;
    for (int i = 0; i < count; i += lanes()) {
        auto value = all(sum.offset);
        for (int plane = 0; plane < 3; ++plane)
            value = hn::Add(value, hn::Mul(all(sum.factors[plane]), hn::LoadU(d, rows[plane] + i)));
        const auto clamped = hn::Min(hn::Max(value, hn::Zero(d)), all(255.0F));
        const auto rounded = hn::ConvertTo(whole, hn::Add(hn::Mul(clamped, all(256)), all(0.5F)));
        hn::StoreU(hn::DemoteTo(words, rounded), words, fine + i);
    }
}

void addRows(const float* upper, const float* lower, int count, float* sums) {
    const Samples d;
    for (int i = 0; i < count; i += lanes())
        hn::StoreU(hn::Add(hn::LoadU(d, upper + i), hn::LoadU(d, lower + i)), d, sums + i);
}

// `sums` has a sample before its first and whole vectors after its last.
void meansAroundEven(const float* sums, int count, float* chroma) {
    const Samples d;
    for (int i = 0; i < count; i += lanes()) {
        Sample before, even, after, unused;
        hn::LoadInterleaved2(d, sums + 2 * i, even, after);
        hn::LoadInterleaved2(d, sums + 2 * i - 1, before, unused);
        const auto sum = hn::Add(hn::Add(before, after), hn::Add(even, even));
        hn::StoreU(hn::Mul(sum, all(1.0F / 8)), d, chroma + i);
    }
}

} // namespace glintro::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace glintro {

HWY_EXPORT(paintGradient);
HWY_EXPORT(shade);
HWY_EXPORT(widenFine);
HWY_EXPORT(widenBytes);
HWY_EXPORT(mixToFine);
HWY_EXPORT(addRows);
HWY_EXPORT(meansAroundEven);

void gradientRow(const Gradient& gradient, int x, int y, int count, float* const rows[3]) {
    HWY_DYNAMIC_DISPATCH(paintGradient)(gradient, x, y, count, rows);
}

void shadeRow(float* samples, const float* shade, int count, float black, float strength) {
    HWY_DYNAMIC_DISPATCH(shade)(samples, shade, count, black, strength);
}

void fineToFloatRow(const std::uint16_t* fine, int count, float* samples) {
    HWY_DYNAMIC_DISPATCH(widenFine)(fine, count, samples);
}

void bytesToFloatRow(const std::uint8_t* bytes, int count, float* samples) {
    HWY_DYNAMIC_DISPATCH(widenBytes)(bytes, count, samples);
}

void mixToFineRow(const ColourSum& sum, const float* const rows[3], int count, std::uint16_t* fine) {
    HWY_DYNAMIC_DISPATCH(mixToFine)(sum, rows, count, fine);
}

void reduceRowsToChroma(const float* upper, const float* lower, int count, float* chroma) {
    const auto width = static_cast<std::size_t>(count);
    std::vector<float> sums(1 + width + 3 * kFloatRowSlack);
    HWY_DYNAMIC_DISPATCH(addRows)(upper, lower, count, sums.data() + 1);
    sums[0] = sums[1];
    sums[1 + width] = sums[width];
    HWY_DYNAMIC_DISPATCH(meansAroundEven)(sums.data() + 1, chromaExtent(count), chroma);
}

} // namespace glintro
#endif
