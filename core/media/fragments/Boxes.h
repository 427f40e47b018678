#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

// The boxes that MP4 and QuickTime movies consist of: a 32-bit size, a type of four letters, a payload. All
// numbers are big-endian.
namespace glintro {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

struct BoxType {
    std::uint32_t code = 0;
    constexpr BoxType() = default;
    constexpr explicit BoxType(std::uint32_t value) : code(value) {}
    // NOLINTNEXTLINE(google-explicit-constructor): types are written as the letters they are
    consteval BoxType(const char (&letters)[5]) {
        for (int i = 0; i < 4; ++i) code = code << 8U | static_cast<std::uint8_t>(letters[i]);
    }
    bool operator==(const BoxType&) const = default;
};

struct Box {
    BoxType type;
    ByteView whole; // header and payload
    ByteView payload;
};

// Reads fields and boxes of bytes that may hold anything. Past the end every field is 0, and ok() says so.
class BoxReader {
  public:
    explicit BoxReader(ByteView bytes) : rest_(bytes) {}

    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t u64() { return number(8); }
    void skip(std::size_t count);
    bool ok() const { return ok_; }
    ByteView rest() const { return rest_; }
    // The next box that is there as a whole; nullopt at the end and where no box can be read.
    std::optional<Box> box();

  private:
    std::uint64_t number(std::size_t bytes);

    ByteView rest_;
    bool ok_ = true;
};

// The first box of a type among those that follow each other in `bytes`.
std::optional<Box> findBox(ByteView bytes, BoxType type);

// Appends fields and boxes to a buffer of its own.
class BoxWriter {
  public:
    void u32(std::uint64_t value) { number(value, 4); } // its lowest 32 bits
    void u64(std::uint64_t value) { number(value, 8); }
    void zeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }
    void copy(ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

    // A box that holds whatever `fill` writes.
    template <class Fill>
    void box(BoxType type, const Fill& fill) {
        const std::size_t start = bytes_.size();
        u32(0);
        u32(type.code);
        fill();
        overwriteU32(start, bytes_.size() - start);
    }

    std::size_t size() const { return bytes_.size(); }
    void overwriteU32(std::size_t position, std::uint64_t value);
    Bytes take() { return std::move(bytes_); }

  private:
    void number(std::uint64_t value, int bytes);

    Bytes bytes_;
};

} // namespace glintro
