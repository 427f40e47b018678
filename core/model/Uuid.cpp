#include "core/model/Uuid.h"

#include <algorithm>
#include <random>

namespace glintro {
namespace {

constexpr std::string_view upperHexDigits = "0123456789ABCDEF";
constexpr std::size_t textLength = 36;

bool hyphenStandsAt(std::size_t index) {
    return index == 8 || index == 13 || index == 18 || index == 23;
}

std::optional<std::uint8_t> hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
    if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
    if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
    return std::nullopt;
}

// Seeded from the system once a thread: identifiers need to be unique, not secret, and a long list of
// segments should not cost a system call each.
std::mt19937_64& engine() {
    thread_local std::mt19937_64 generator = [] {
        std::random_device device;
        std::array<std::random_device::result_type, 8> words{};
        std::ranges::generate(words, std::ref(device));
        std::seed_seq seed(words.begin(), words.end());
        return std::mt19937_64(seed);
    }();
    return generator;
}

} // namespace

Uuid Uuid::random() {
    Uuid uuid;
    for (std::size_t half = 0; half < 2; ++half) {
        std::uint64_t word = engine()();
        for (std::size_t i = 0; i < 8; ++i, word >>= 8)
            uuid.bytes[half * 8 + i] = static_cast<std::uint8_t>(word);
    }
    uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40); // version 4
    uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return uuid;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != textLength) return std::nullopt;
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
    text.reserve(textLength);
    for (const std::uint8_t byte : bytes) {
        if (hyphenStandsAt(text.size())) text += '-';
        text += upperHexDigits[byte >> 4];
        text += upperHexDigits[byte & 0x0F];
    }
    return text;
}

} // namespace glintro
