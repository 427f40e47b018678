#include "core/raster/Resample.h"

#include <algorithm>

namespace glintro {

void Resampler::resample(PlaneView source, AxisMap horizontal, AxisMap vertical,
                         MutablePlaneView destination) {
    const FilterBank columns(horizontal, destination.width, source.width);
    const FilterBank rows(vertical, destination.height, source.height);
    std::vector<std::int32_t> line(static_cast<std::size_t>(source.width));
    for (int y = 0; y < destination.height; ++y) {
        std::fill(line.begin(), line.end(), 128);
        for (int k = 0; k < rows.taps(); ++k) {
            const std::uint8_t* const samples = source.row(rows.first(y) + k);
            const int weight = rows.weights(y)[k];
            for (int x = 0; x < source.width; ++x) line[static_cast<std::size_t>(x)] += samples[x] * weight;
        }
        for (auto& value : line) value >>= 8;
        for (int x = 0; x < destination.width; ++x) {
            int sum = 1 << 19;
            for (int k = 0; k < columns.taps(); ++k) {
                sum += line[static_cast<std::size_t>(columns.first(x) + k)] * columns.weights(x)[k];
            }
            destination.row(y)[x] = static_cast<std::uint8_t>(std::clamp(sum >> 20, 0, 255));
        }
    }
}

} // namespace glintro
