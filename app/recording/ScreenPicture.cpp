#include "app/recording/ScreenPicture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "app/recording/RecordingFormat.h"
#include "core/raster/Convert.h"

namespace glintro {
namespace {

void convertRows(const ScreenFrame& frame, PictureBuffer& destination) {
    for (const RowRange& rows : frame.changed) {
        const int begin = std::max(rows.begin, 0);
        const int end = std::min(rows.end, destination.size().height);
        if (begin < end) bgraToYuv420Rows(frame.bgra, frame.stride, begin, end, destination);
    }
}

void fillBlack(PictureBuffer& picture) {
    constexpr int kBlack[] = {16, 128, 128};
    for (int i = 0; i < 3; ++i) {
        const MutablePlaneView plane = picture.plane(i);
        for (int y = 0; y < plane.height; ++y)
            std::memset(plane.row(y), kBlack[i], static_cast<std::size_t>(plane.width));
    }
}

// Where samples [begin, end) of a plane's axis get theirs from.
struct FittedAxis {
    int begin = 0;
    int end = 0;
    AxisMap map;
};

// Pixels [start, start + length) of the picture show `content` pixels. They begin and end on even pixels, so
// that both planes are filled to the same edge.
FittedAxis lumaAxis(double start, double length, int content) {
    FittedAxis axis;
    axis.begin = 2 * static_cast<int>(std::lround(start / 2));
    axis.end = std::max(2 * static_cast<int>(std::lround((start + length) / 2)), axis.begin + 2);
    const double step = content / length;
    axis.map = {(axis.begin + 0.5 - start) * step - 0.5, step};
    return axis;
}

// Of every other sample of a luma axis. `phase`: how far behind its luma sample a chroma sample lies.
FittedAxis chromaAxis(const FittedAxis& luma, double phase) {
    const auto& [origin, step] = luma.map;
    return {luma.begin / 2, luma.end / 2, {(origin + phase * step - phase) / 2, step}};
}

} // namespace

ScreenPicture::ScreenPicture(PixelSize size) : picture_(PixelLayout::yuv420, size) {
    fillBlack(picture_);
}

void ScreenPicture::update(const ScreenFrame& frame) {
    if (frame.changed.empty()) return;
    if (evenSize(frame.size) == picture_.size()) {
        resized_.reset();
        convertRows(frame, picture_);
    } else {
        fit(frame);
    }
    shown_ = frame.size;
}

void ScreenPicture::fit(const ScreenFrame& frame) {
    if (!resized_ || frame.size != shown_) {
        resized_.emplace(PixelLayout::yuv420, frame.size);
        fillBlack(picture_);
    }
    convertRows(frame, *resized_);

    const PixelSize canvas = picture_.size();
    const Rect place =
        fitCentred({static_cast<double>(frame.size.width), static_cast<double>(frame.size.height)},
                   {static_cast<double>(canvas.width), static_cast<double>(canvas.height)});
    const FittedAxis across = lumaAxis(place.x, place.width, frame.size.width);
    const FittedAxis down = lumaAxis(place.y, place.height, frame.size.height);
    for (int i = 0; i < 3; ++i) {
        const FittedAxis x = i == 0 ? across : chromaAxis(across, 0);
        const FittedAxis y = i == 0 ? down : chromaAxis(down, 0.5);
        resampler_.resample(std::as_const(*resized_).plane(i), x.map, y.map,
                            picture_.plane(i).crop({x.begin, y.begin, x.end - x.begin, y.end - y.begin}));
    }
}

} // namespace glintro
