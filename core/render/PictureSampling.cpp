#include "core/render/PictureSampling.h"

#include "core/raster/Convert.h"
#include "core/render/Mask.h"
#include "core/render/Siting.h"

namespace glintro {
namespace {

// Sample `first` of the canvas plane, and the following ones, in sample coordinates of the source plane.
AxisMap axis(Siting canvas, Siting source, int first, const PixelSpan& span) {
    const double scale = span.sourceLength / span.length;
    const double position = span.sourceStart + (first * canvas.spacing + canvas.offset - span.start) * scale;
    return {(position - source.offset) / source.spacing, canvas.spacing * scale / source.spacing};
}

} // namespace

void samplePicture(const Picture& source, PixelSpan columns, PixelSpan rows, PictureBuffer& canvas,
                   PixelRect box, Resampler& resampler) {
    const PixelLayout layout = canvas.layout();
    for (int i = 0; i < 3; ++i) {
        const PixelRect area = planeArea(layout, i, box);
        resampler.resample(source.planes[static_cast<std::size_t>(i)],
                           axis(columnSiting(layout, i), columnSiting(source.layout, i), area.x, columns),
                           axis(rowSiting(layout, i), rowSiting(source.layout, i), area.y, rows),
                           canvas.plane(i).crop(area));
    }
    if (layout == PixelLayout::rgb444 && source.layout == PixelLayout::yuv420)
        yuvToRgb(canvas.plane(0).crop(box), canvas.plane(1).crop(box), canvas.plane(2).crop(box));
}

} // namespace glintro
