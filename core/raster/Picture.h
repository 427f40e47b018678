#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "core/raster/Plane.h"

namespace glintro {

// How the three planes of a picture are to be read.
enum class PixelLayout {
    // Y'CbCr of ITU-R BT.709 in limited range (Y' 16..235, Cb and Cr 16..240). Both chroma planes have half
    // the width and height, rounded up. Chroma sample (i, j) lies at luma column 2i and between luma rows 2j
    // and
    // 2j + 1, as H.264 has it by default ("left").
    yuv420,
    // R', G' and B' of sRGB in full range, every plane in full size.
    rgb444,
};

inline int chromaExtent(int extent) {
    return (extent + 1) / 2;
}

inline PixelSize planeSize(PixelLayout layout, int plane, PixelSize size) {
    if (layout == PixelLayout::yuv420 && plane > 0)
        return {chromaExtent(size.width), chromaExtent(size.height)};
    return size;
}

// A finished picture that threads share. The planes stay valid as long as `storage` lives; nobody writes to
// them. Two pictures with the same storage are the same picture.
struct Picture {
    PixelLayout layout = PixelLayout::yuv420;
    PixelSize size;
    std::array<PlaneView, 3> planes;
    std::shared_ptr<const void> storage;
};
using PicturePtr = std::shared_ptr<const Picture>;

// Whether layout, size and every sample are equal; stops at the first row that differs.
bool samePixels(const Picture& one, const Picture& other);

// A picture being drawn; owns its planes.
class PictureBuffer {
  public:
    PictureBuffer(PixelLayout layout, PixelSize size) : layout_(layout), size_(size) {
        for (int i = 0; i < 3; ++i) {
            const PixelSize extent = planeSize(layout, i, size);
            planes_[static_cast<std::size_t>(i)] = Plane(extent.width, extent.height);
        }
    }

    PixelLayout layout() const { return layout_; }
    PixelSize size() const { return size_; }
    MutablePlaneView plane(int i) { return planes_[static_cast<std::size_t>(i)].view(); }
    PlaneView plane(int i) const { return std::as_const(planes_[static_cast<std::size_t>(i)]).view(); }

    // A read-only view that does not own: `storage` is empty and the buffer must outlive it.
    Picture view() const { return {layout_, size_, {plane(0), plane(1), plane(2)}, nullptr}; }

  private:
    PixelLayout layout_;
    PixelSize size_;
    std::array<Plane, 3> planes_;
};

// Hands the buffer over as a shared, finished picture.
inline PicturePtr share(PictureBuffer&& buffer) {
    auto storage = std::make_shared<PictureBuffer>(std::move(buffer));
    auto picture = std::make_shared<Picture>(std::as_const(*storage).view());
    picture->storage = storage;
    return picture;
}

// Rows of B, G, R, A bytes that someone else owns, top to bottom, `stride` bytes apart.
struct BgraView {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t stride = 0;
    PixelSize size;
    std::uint8_t* row(int y) const { return data + y * stride; }
};

// An interleaved picture, as programs and displays use it: rows of B, G, R, A bytes, top to bottom without
// padding, alpha straight (255 everywhere in a finished frame).
struct BgraImage {
    PixelSize size;
    std::vector<std::uint8_t> pixels;

    BgraImage() = default;
    explicit BgraImage(PixelSize extent)
        : size(extent),
          pixels(static_cast<std::size_t>(extent.width) * static_cast<std::size_t>(extent.height) * 4) {}
    std::uint8_t* row(int y) { return pixels.data() + static_cast<std::size_t>(y) * rowBytes(); }
    const std::uint8_t* row(int y) const { return pixels.data() + static_cast<std::size_t>(y) * rowBytes(); }
    BgraView view() { return {pixels.data(), static_cast<std::ptrdiff_t>(rowBytes()), size}; }
    std::size_t rowBytes() const { return static_cast<std::size_t>(size.width) * 4; }
};

} // namespace glintro
