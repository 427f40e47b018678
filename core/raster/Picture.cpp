#include "core/raster/Picture.h"

#include <algorithm>
#include <cstring>

namespace glintro {
namespace {

bool sameSamples(PlaneView one, PlaneView other) {
    if (one.data == other.data && one.stride == other.stride) return true;
    for (int y = 0; y < one.height; ++y) {
        if (std::memcmp(one.row(y), other.row(y), static_cast<std::size_t>(one.width)) != 0) return false;
    }
    return true;
}

} // namespace

bool samePixels(const Picture& one, const Picture& other) {
    return one.layout == other.layout && one.size == other.size
           && std::equal(one.planes.begin(), one.planes.end(), other.planes.begin(), sameSamples);
}

} // namespace glintro
