// Samples of 8-bit rows as 16-bit lanes. Included once for every instruction set, hence the guard.
#if defined(GLINTRO_RASTER_WORDS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef GLINTRO_RASTER_WORDS_INL_H
#undef GLINTRO_RASTER_WORDS_INL_H
#else
#define GLINTRO_RASTER_WORDS_INL_H
#endif

#include <cstdint>
#include <cstring>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace glintro::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// A vector of samples; where the row ends after `count` of them, the others are zero and nothing beyond is
// read.
template <class D>
HWY_INLINE hn::Vec<D> loadWords(D d, const std::uint8_t* from, std::size_t count) {
    const hn::Rebind<std::uint8_t, D> bytes;
    if (count >= hn::Lanes(d)) return hn::PromoteTo(d, hn::LoadU(bytes, from));
    HWY_ALIGN std::uint8_t padded[hn::MaxLanes(D())] = {};
    std::memcpy(padded, from, count);
    return hn::PromoteTo(d, hn::Load(bytes, padded));
}

// Stores at most `count` samples, each clamped to 0..255.
template <class D>
HWY_INLINE void storeWords(D d, hn::Vec<D> value, std::uint8_t* to, std::size_t count) {
    const hn::Rebind<std::uint8_t, D> bytes;
    const auto narrow = hn::DemoteTo(bytes, hn::BitCast(hn::RebindToSigned<D>(), value));
    if (count >= hn::Lanes(d)) {
        hn::StoreU(narrow, bytes, to);
        return;
    }
    HWY_ALIGN std::uint8_t padded[hn::MaxLanes(D())];
    hn::Store(narrow, bytes, padded);
    std::memcpy(to, padded, count);
}

} // namespace glintro::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
