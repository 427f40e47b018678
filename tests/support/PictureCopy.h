#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "platform/ScreenStream.h"

namespace glintro::test {

// A picture to which only the rows are applied that each frame says have changed.
class PictureCopy {
  public:
    // What is wrong with the frame by itself, or in what follows from it; empty when it is right.
    std::string apply(const ScreenFrame& frame) {
        if (std::string wrong = resize(frame); !wrong.empty()) return wrong;
        if (std::string wrong = copyRows(frame); !wrong.empty()) return wrong;
        for (int y = 0; y < size_.height; ++y) {
            const std::uint8_t* row = frame.bgra + y * frame.stride;
            if (std::memcmp(row, bytes_.data() + y * rowBytes(), rowBytes()) != 0)
                return "row " + std::to_string(y) + " differs without being told to";
        }
        return {};
    }

    PixelSize size() const { return size_; }

    // 0xRRGGBB; `nullopt` outside of the picture.
    std::optional<std::uint32_t> pixel(int x, int y) const {
        if (x < 0 || y < 0 || x >= size_.width || y >= size_.height) return std::nullopt;
        return at(x, y);
    }
    bool contains(std::uint32_t colour) const {
        for (int y = 0; y < size_.height; ++y) {
            for (int x = 0; x < size_.width; ++x) {
                if (at(x, y) == colour) return true;
            }
        }
        return false;
    }
    // Whether it consists of just these rows of B, G, R, x.
    bool is(const std::vector<std::uint8_t>& picture) const {
        if (picture.size() != bytes_.size()) return false;
        for (std::size_t i = 0; i < bytes_.size(); ++i) {
            if (i % 4 != 3 && bytes_[i] != picture[i]) return false;
        }
        return true;
    }

  private:
    std::string resize(const ScreenFrame& frame) {
        if (frame.size == size_) return {};
        size_ = frame.size;
        bytes_.assign(rowBytes() * static_cast<std::size_t>(size_.height), 0);
        if (frame.changed == std::vector<RowRange>{{0, size_.height}}) return {};
        return "the first frame of a size does not say that all of it is new";
    }

    std::string copyRows(const ScreenFrame& frame) {
        int end = -1;
        for (const RowRange& range : frame.changed) {
            if (range.begin <= end || range.begin >= range.end || range.end > size_.height)
                return "the changed rows are out of order";
            end = range.end;
            for (int y = range.begin; y < range.end; ++y)
                std::memcpy(bytes_.data() + y * rowBytes(), frame.bgra + y * frame.stride, rowBytes());
        }
        return {};
    }

    std::size_t rowBytes() const { return static_cast<std::size_t>(size_.width) * 4; }
    std::uint32_t at(int x, int y) const {
        const std::uint8_t* pixel = bytes_.data() + y * rowBytes() + static_cast<std::size_t>(x) * 4;
        return static_cast<std::uint32_t>(pixel[0] | pixel[1] << 8 | pixel[2] << 16);
    }

    PixelSize size_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace glintro::test
