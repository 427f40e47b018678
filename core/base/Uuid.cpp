#include "core/base/Uuid.h"

#include <cassert>

#include <unistd.h>

namespace glintro {
namespace {

constexpr std::string_view kUpperHexDigits = "0123456789ABCDEF";
constexpr std::size_t kTextLength = 36;

bool hyphenStandsAt(std::size_t index) {
    return index == 8 || index == 13 || index == 18 || index == 23;
}

std::optional<std::uint8_t> hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
    if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
    if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
    return std::nullopt;
}

} // namespace

// Asks the system every time: a generator of our own would go on with the same numbers in a forked process,
// and std::random_device may need a hundred times as long.
Uuid Uuid::random() {
    Uuid uuid;
    // Fails for more than 256 bytes only.
    [[maybe_unused]] const int status = ::getentropy(uuid.bytes.data(), uuid.bytes.size());
    assert(status == 0);
    uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40); // version 4
    uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return uuid;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != kTextLength) return std::nullopt;
    Uuid uuid;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (hyphenStandsAt(i)) {
            if (text[i] != '-') return std::nullopt;
            continue;
        }
        const auto value = hexValue(text[i]);
        if (!value) return std::nullopt;
        std::uint8_t& byte = uuid.bytes[digits++ / 2];
        byte = static_cast<std::uint8_t>((byte << 4) | *value);
    }
    return uuid;
}

std::string Uuid::text() const {
    std::string text;
    text.reserve(kTextLength);
    for (const std::uint8_t byte : bytes) {
        if (hyphenStandsAt(text.size())) text += '-';
        text += kUpperHexDigits[byte >> 4];
        text += kUpperHexDigits[byte & 0x0F];
    }
    return text;
}

} // namespace glintro
