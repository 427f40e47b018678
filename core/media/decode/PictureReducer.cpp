#include "core/media/decode/PictureReducer.h"

namespace glintro {
namespace {

// Sample i of a plane lies at (spacing * i + offset) pixels from the picture's edge.
struct Grid {
    double spacing;
    double offset;
};
constexpr Grid kLuma{1, 0.5};
constexpr Grid kChromaColumns{2, 0.5};
constexpr Grid kChromaRows{2, 1};

AxisMap axis(Grid grid, double scale) {
    return {(grid.offset * scale - grid.offset) / grid.spacing, scale};
}

} // namespace

PicturePtr PictureReducer::reduce(const Picture& picture, PixelSize size) {
    PictureBuffer result(PixelLayout::yuv420, size);
    const double across = static_cast<double>(picture.size.width) / size.width;
    const double down = static_cast<double>(picture.size.height) / size.height;
    for (int i = 0; i < 3; ++i) {
        resampler_.resample(picture.planes[static_cast<std::size_t>(i)],
                            axis(i == 0 ? kLuma : kChromaColumns, across),
                            axis(i == 0 ? kLuma : kChromaRows, down), result.plane(i));
    }
    return share(std::move(result));
}

} // namespace glintro
