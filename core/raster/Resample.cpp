#include "core/raster/Resample.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/raster/ResampleKernel.h"

namespace glintro {

const FilterBank& Resampler::filters(AxisMap map, int destinationLength, int sourceLength) {
    ++calls_;
    Entry* oldest = cache_.data();
    for (Entry& entry : cache_) {
        if (entry.map == map && entry.bank.length() == destinationLength
            && entry.sourceLength == sourceLength) {
            entry.lastCall = calls_;
            return entry.bank;
        }
        if (entry.lastCall < oldest->lastCall) oldest = &entry;
    }
    *oldest = {map, sourceLength, calls_, FilterBank(map, destinationLength, sourceLength)};
    return oldest->bank;
}

PlaneView Resampler::widened(PlaneView source) {
    widened_ = Plane(kResampleChunk, source.height);
    for (int y = 0; y < source.height; ++y) {
        std::memset(widened_.row(y), 0, kResampleChunk);
        std::memcpy(widened_.row(y), source.row(y), static_cast<std::size_t>(source.width));
    }
    return std::as_const(widened_).view();
}

void Resampler::resample(PlaneView source, AxisMap horizontal, AxisMap vertical,
                         MutablePlaneView destination) {
    const FilterBank& columns = filters(horizontal, destination.width, source.width);
    const FilterBank& rows = filters(vertical, destination.height, source.height);
    if (source.width < kResampleChunk) source = widened(source);
    const int needed = resampleScratchLength(source.width);
    if (scratch_.width() < needed) scratch_ = BasicPlane<std::int16_t>(needed, 1);
    resampleRows(source, columns, rows, scratch_.row(0), destination);
}

} // namespace glintro
