#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "core/base/Geometry.h"

namespace glintro {

// Rows of a plane that owns its memory start at multiples of kRowAlignment bytes and are padded to one, so a
// vector kernel may read (never rely on) up to the padded end of every row without a scalar tail.
inline constexpr std::size_t kRowAlignment = 64;

// 8-bit samples that someone else owns: `height` rows of `width` samples, `stride` bytes apart.
struct PlaneView {
    const std::uint8_t* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;

    const std::uint8_t* row(int y) const { return data + y * stride; }
};

struct MutablePlaneView {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;

    std::uint8_t* row(int y) const { return data + y * stride; }
    operator PlaneView() const { return {data, stride, width, height}; }

    // The part inside `area`, which must lie within the plane.
    MutablePlaneView crop(PixelRect area) const {
        return {row(area.y) + area.x, stride, area.width, area.height};
    }
};

// One plane of samples of type T, move-only. Memory is uninitialised.
template <class T>
class BasicPlane {
  public:
    BasicPlane() = default;
    BasicPlane(int width, int height)
        : width_(width),
          height_(height),
          stride_((static_cast<std::size_t>(width) * sizeof(T) + kRowAlignment - 1) / kRowAlignment
                  * kRowAlignment),
          data_(static_cast<std::byte*>(::operator new (
              stride_* static_cast<std::size_t>(height) + kRowAlignment, std::align_val_t{kRowAlignment}))) {}

    int width() const { return width_; }
    int height() const { return height_; }
    std::ptrdiff_t strideBytes() const { return static_cast<std::ptrdiff_t>(stride_); }
    T* row(int y) { return reinterpret_cast<T*>(data_.get() + static_cast<std::size_t>(y) * stride_); }
    const T* row(int y) const {
        return reinterpret_cast<const T*>(data_.get() + static_cast<std::size_t>(y) * stride_);
    }

  private:
    struct Free {
        void operator()(std::byte* memory) const {
            ::operator delete (memory, std::align_val_t{kRowAlignment});
        }
    };
    int width_ = 0;
    int height_ = 0;
    std::size_t stride_ = 0;
    std::unique_ptr<std::byte, Free> data_;
};

using FloatPlane = BasicPlane<float>;

class Plane : public BasicPlane<std::uint8_t> {
  public:
    using BasicPlane::BasicPlane;
    PlaneView view() const { return {row(0), strideBytes(), width(), height()}; }
    MutablePlaneView view() { return {row(0), strideBytes(), width(), height()}; }
};

} // namespace glintro
