#include "core/render/Wallpaper.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/raster/Blur.h"
#include "core/raster/Convert.h"
#include "core/raster/FloatRows.h"
#include "core/raster/Resample.h"

namespace glintro {
namespace {

constexpr float kDarkening = 0.12F; // opacity of the black layer over the picture
constexpr int kLargestBox = 16;

// One axis of the cover: which pixels beyond the canvas are kept, and where its samples lie in the picture.
struct CoverAxis {
    int margin;
    int length;
    AxisMap map;

    CoverAxis(int canvas, int picture, double factor, int box, int reach) {
        const double beyond = std::max((picture * factor - canvas) / 2, 0.0);
        margin = static_cast<int>(std::min(std::ceil(beyond), static_cast<double>(reach)));
        length = canvas + 2 * margin;
        const double first = (0.5 - margin - canvas / 2.0) / factor + picture / 2.0;
        map = {first / box - 0.5, 1 / factor / box};
    }
};

FloatPlane floatPlane(PlaneView bytes) {
    FloatPlane plane(bytes.width, bytes.height);
    for (int y = 0; y < bytes.height; ++y) bytesToFloatRow(bytes.row(y), bytes.width, plane.row(y));
    return plane;
}

// Plane `plane` of a layout from darkened R, G and B in 0..255.
ColourSum darkenedPlane(PixelLayout layout, int plane) {
    const auto part = [&](float red, float green, float blue) {
        return planeColour(layout, red, green, blue).values[plane];
    };
    const float black = part(0, 0, 0);
    const float scale = (1 - kDarkening) / 255;
    return {
        {(part(1, 0, 0) - black) * scale, (part(0, 1, 0) - black) * scale, (part(0, 0, 1) - black) * scale},
        black};
}

} // namespace

WallpaperCover coverCanvas(const BgraImage& picture, PixelSize canvas, int reach) {
    const double factor = std::max(static_cast<double>(canvas.width) / picture.size.width,
                                   static_cast<double>(canvas.height) / picture.size.height);
    // A large picture is reduced while its channels still lie side by side, and by half of what is needed, so
    // that the resampler's filter decides about sharpness.
    const int box = std::clamp(static_cast<int>(1 / factor / 2), 1, kLargestBox);
    const PictureBuffer source = bgraToPlanes(box > 1 ? boxReduced(picture, box) : picture);
    const CoverAxis columns(canvas.width, picture.size.width, factor, box, reach);
    const CoverAxis rows(canvas.height, picture.size.height, factor, box, reach);

    WallpaperCover cover{PictureBuffer(PixelLayout::rgb444, {columns.length, rows.length}), columns.margin,
                         rows.margin};
    Resampler resampler;
    for (int i = 0; i < 3; ++i)
        resampler.resample(source.plane(i), columns.map, rows.map, cover.planes.plane(i));
    return cover;
}

FinePicture blurredWallpaper(const WallpaperCover& cover, PixelLayout layout, PixelSize canvas,
                             double sigma) {
    std::array<FloatPlane, 3> blurred;
    for (int i = 0; i < 3; ++i) {
        FloatPlane& plane = blurred[static_cast<std::size_t>(i)];
        plane = floatPlane(cover.planes.plane(i));
        gaussianBlur(plane, sigma);
    }
    FinePicture fine;
    for (int i = 0; i < 3; ++i) {
        auto& plane = fine[static_cast<std::size_t>(i)];
        plane = BasicPlane<std::uint16_t>(canvas.width, canvas.height);
        const ColourSum sum = darkenedPlane(layout, i);
        for (int y = 0; y < canvas.height; ++y) {
            const auto row = [&](std::size_t k) { return blurred[k].row(cover.top + y) + cover.left; };
            const float* const rows[] = {row(0), row(1), row(2)};
            mixToFineRow(sum, rows, canvas.width, plane.row(y));
        }
    }
    return fine;
}

} // namespace glintro
