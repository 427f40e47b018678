#include "app/recording/ScreenPicture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "app/recording/RecordingFormat.h"
#include "core/raster/Convert.h"

namespace glintro {
namespace {

// A buffer that no snapshot used for so many frames is freed.
constexpr std::int64_t kUnusedUpdates = 600;

int rowCount(const RowSet& rows) {
    int count = 0;
    for (const RowRange& range : rows.ranges()) count += range.end - range.begin;
    return count;
}

void convertRows(const ScreenFrame& frame, const std::vector<RowRange>& ranges, PictureBuffer& destination) {
    for (const RowRange& rows : ranges) {
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

struct ScreenPicture::Buffer {
    explicit Buffer(PixelSize size) : picture(PixelLayout::yuv420, size), stale(RowRange{0, size.height}) {}

    PictureBuffer picture;
    RowSet stale;    // rows that are older than the latest picture's
    PixelSize shown; // of the frame it shows; empty at first
    std::int64_t usedAt = 0;
    // Snapshots in use. Raised by the updating thread, lowered on any.
    std::atomic<int> readers = 0;

    bool isFree() const { return readers.load(std::memory_order_acquire) == 0; }
};

ScreenPicture::ScreenPicture(PixelSize size) : size_(size) {}
ScreenPicture::~ScreenPicture() = default;

Picture ScreenPicture::update(const ScreenFrame& frame) {
    if (frame.changed.empty() && latest_) return snapshotOf(latest_);
    ++updates_;
    for (const auto& buffer : buffers_) buffer->stale.addAll(frame.changed);
    const auto& buffer = freeBuffer();
    draw(frame, *buffer);
    buffer->stale.clear();
    buffer->usedAt = updates_;
    latest_ = buffer;
    shown_ = frame.size;
    freeUnused();
    return snapshotOf(latest_);
}

// The one with the fewest rows to convert.
const std::shared_ptr<ScreenPicture::Buffer>& ScreenPicture::freeBuffer() {
    const std::shared_ptr<Buffer>* best = nullptr;
    for (const auto& buffer : buffers_) {
        if (!buffer->isFree()) continue;
        if (best == nullptr || rowCount(buffer->stale) < rowCount((*best)->stale)) best = &buffer;
    }
    return best != nullptr ? *best : buffers_.emplace_back(std::make_shared<Buffer>(size_));
}

void ScreenPicture::draw(const ScreenFrame& frame, Buffer& buffer) {
    if (evenSize(frame.size) == size_) {
        resized_.reset();
        convertRows(frame, buffer.stale.ranges(), buffer.picture);
    } else {
        fit(frame, buffer);
    }
    buffer.shown = frame.size;
}

void ScreenPicture::freeUnused() {
    std::erase_if(buffers_, [this](const auto& buffer) {
        return buffer->isFree() && updates_ - buffer->usedAt > kUnusedUpdates;
    });
}

Picture ScreenPicture::snapshotOf(const std::shared_ptr<Buffer>& buffer) {
    buffer->readers.fetch_add(1, std::memory_order_relaxed);
    Picture picture = std::as_const(buffer->picture).view();
    picture.storage = {&buffer->picture, [kept = buffer](const void*) {
                           kept->readers.fetch_sub(1, std::memory_order_release);
                       }};
    return picture;
}

void ScreenPicture::fit(const ScreenFrame& frame, Buffer& buffer) {
    if (!resized_ || frame.size != shown_) resized_.emplace(PixelLayout::yuv420, frame.size);
    if (frame.size != buffer.shown) fillBlack(buffer.picture);
    convertRows(frame, frame.changed, *resized_);

    const PixelSize canvas = size_;
    const Rect place =
        fitCentred({static_cast<double>(frame.size.width), static_cast<double>(frame.size.height)},
                   {static_cast<double>(canvas.width), static_cast<double>(canvas.height)});
    const FittedAxis across = lumaAxis(place.x, place.width, frame.size.width);
    const FittedAxis down = lumaAxis(place.y, place.height, frame.size.height);
    for (int i = 0; i < 3; ++i) {
        const FittedAxis x = i == 0 ? across : chromaAxis(across, 0);
        const FittedAxis y = i == 0 ? down : chromaAxis(down, 0.5);
        resampler_.resample(
            std::as_const(*resized_).plane(i), x.map, y.map,
            buffer.picture.plane(i).crop({x.begin, y.begin, x.end - x.begin, y.end - y.begin}));
    }
}

} // namespace glintro
