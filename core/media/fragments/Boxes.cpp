#include "core/media/fragments/Boxes.h"

namespace glintro {

std::uint64_t BoxReader::number(std::size_t bytes) {
    if (rest_.size() < bytes) {
        rest_ = {};
        ok_ = false;
        return 0;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) value = value << 8U | rest_[i];
    rest_ = rest_.subspan(bytes);
    return value;
}

void BoxReader::skip(std::size_t count) {
    ok_ = ok_ && rest_.size() >= count;
    rest_ = ok_ ? rest_.subspan(count) : ByteView{};
}

std::optional<Box> BoxReader::box() {
    constexpr std::size_t kHeader = 8;
    BoxReader header(rest_);
    const std::size_t size = header.u32();
    const BoxType type(header.u32());
    if (!header.ok() || size < kHeader || size > rest_.size()) return std::nullopt;
    const ByteView whole = rest_.first(size);
    rest_ = rest_.subspan(size);
    return Box{type, whole, whole.subspan(kHeader)};
}

std::optional<Box> findBox(ByteView bytes, BoxType type) {
    BoxReader reader(bytes);
    auto box = reader.box();
    while (box && box->type != type) box = reader.box();
    return box;
}

void BoxWriter::number(std::uint64_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        bytes_.push_back(static_cast<std::uint8_t>(value >> static_cast<unsigned>(shift)));
    }
}

void BoxWriter::overwriteU32(std::size_t position, std::uint64_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes_[position + i] = static_cast<std::uint8_t>(value >> (24U - 8U * static_cast<unsigned>(i)));
    }
}

} // namespace glintro
