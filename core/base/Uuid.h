#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace glintro {

// A 128-bit identifier (RFC 4122).
struct Uuid {
    std::array<std::uint8_t, 16> bytes{};

    static Uuid random();                               // version 4
    static std::optional<Uuid> parse(std::string_view); // 8-4-4-4-12 hexadecimal digits, either case
    std::string text() const;                           // upper case
    auto operator<=>(const Uuid&) const = default;
};

} // namespace glintro
