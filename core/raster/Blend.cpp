#include "core/raster/Blend.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/raster/Blend.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "core/raster/Words-inl.h"

HWY_BEFORE_NAMESPACE();
namespace glintro::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::ScalableTag<std::uint16_t>;
using Word = hn::Vec<Words>;

// destination = blend(destination, planes...), samples as 16-bit values.
template <class Blend, class... Planes>
HWY_INLINE void blendRows(MutablePlaneView destination, const Blend& blend, const Planes&... planes) {
    const Words d;
    const std::size_t width = static_cast<std::size_t>(destination.width);
    for (int y = 0; y < destination.height; ++y) {
        std::uint8_t* const to = destination.row(y);
        for (std::size_t x = 0; x < width; x += hn::Lanes(d)) {
            const std::size_t count = width - x;
            const auto mixed = blend(loadWords(d, to + x, count), loadWords(d, planes.row(y) + x, count)...);
            storeWords(d, mixed, to + x, count);
        }
    }
}

// value / 255, rounded to nearest, exact up to 255 * 255.
HWY_INLINE Word quotientBy255(Word value) {
    const auto biased = hn::Add(value, hn::Set(Words(), 128));
    return hn::ShiftRight<8>(hn::Add(biased, hn::ShiftRight<8>(biased)));
}

HWY_INLINE Word opposite(Word value) {
    return hn::Sub(hn::Set(Words(), 255), value);
}

HWY_INLINE Word mix(Word over, Word under, Word mask) {
    return quotientBy255(hn::Add(hn::Mul(over, mask), hn::Mul(under, opposite(mask))));
}

void keepInsideRows(MutablePlaneView destination, PlaneView under, PlaneView mask) {
    const auto blend = [](Word kept, Word below, Word opaque) HWY_ATTR { return mix(kept, below, opaque); };
    blendRows(destination, blend, under, mask);
}

void blendMaskedRows(MutablePlaneView destination, PlaneView over, PlaneView mask) {
    const auto blend = [](Word below, Word above, Word opaque) HWY_ATTR { return mix(above, below, opaque); };
    blendRows(destination, blend, over, mask);
}

void fillMaskedRows(MutablePlaneView destination, std::uint8_t value, PlaneView mask, std::uint8_t opacity) {
    const auto fill = hn::Set(Words(), value);
    const auto scale = hn::Set(Words(), opacity);
    const auto blend = [=](Word below, Word opaque)
                           HWY_ATTR { return mix(fill, below, quotientBy255(hn::Mul(opaque, scale))); };
    blendRows(destination, blend, mask);
}

void blendPremultipliedRows(MutablePlaneView destination, PlaneView colour, PlaneView alpha,
                            std::uint8_t opacity) {
    const auto scale = hn::Set(Words(), opacity);
    const auto blend = [=](Word below, Word above, Word opaque) HWY_ATTR {
        const auto kept = opposite(quotientBy255(hn::Mul(opaque, scale)));
        return hn::Add(quotientBy255(hn::Mul(above, scale)), quotientBy255(hn::Mul(below, kept)));
    };
    blendRows(destination, blend, colour, alpha);
}

} // namespace glintro::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace glintro {

HWY_EXPORT(keepInsideRows);
HWY_EXPORT(blendMaskedRows);
HWY_EXPORT(fillMaskedRows);
HWY_EXPORT(blendPremultipliedRows);

void keepInside(MutablePlaneView destination, PlaneView under, PlaneView mask) {
    HWY_DYNAMIC_DISPATCH(keepInsideRows)(destination, under, mask);
}

void blendMasked(MutablePlaneView destination, PlaneView over, PlaneView mask) {
    HWY_DYNAMIC_DISPATCH(blendMaskedRows)(destination, over, mask);
}

void fillMasked(MutablePlaneView destination, std::uint8_t value, PlaneView mask, std::uint8_t opacity) {
    HWY_DYNAMIC_DISPATCH(fillMaskedRows)(destination, value, mask, opacity);
}

void blendPremultiplied(MutablePlaneView destination, PlaneView colour, PlaneView alpha,
                        std::uint8_t opacity) {
    HWY_DYNAMIC_DISPATCH(blendPremultipliedRows)(destination, colour, alpha, opacity);
}

void copyPlane(PlaneView source, MutablePlaneView destination) {
    for (int y = 0; y < destination.height; ++y) {
        std::memcpy(destination.row(y), source.row(y), static_cast<std::size_t>(destination.width));
    }
}

} // namespace glintro
#endif
