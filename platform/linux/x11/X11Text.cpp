#include "platform/linux/x11/X11Text.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace glintro {
namespace {

// Bytes of the character that begins with this one; 0 when none begins so.
std::size_t lengthOfCharacter(std::uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    if (lead >= 0xF0 && lead < 0xF5) return 4;
    return 0;
}

// Overlong forms, halves of surrogate pairs and what lies beyond Unicode show in the second byte.
bool isSecondByte(std::uint8_t lead, std::uint8_t second) {
    const std::uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const std::uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    return second >= lowest && second <= highest;
}

// Whether all bytes that are there can be those of one character.
bool fitTogether(std::string_view character) {
    const auto lead = static_cast<std::uint8_t>(character[0]);
    for (std::size_t i = 1; i < character.size(); ++i) {
        const auto byte = static_cast<std::uint8_t>(character[i]);
        if (i == 1 ? !isSecondByte(lead, byte) : (byte & 0xC0) != 0x80) return false;
    }
    return true;
}

std::string fromLatin1(std::string_view bytes) {
    std::string text;
    for (const char letter : bytes) {
        const auto byte = static_cast<std::uint8_t>(letter);
        if (byte < 0x80) {
            text += letter;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

} // namespace

std::string textOfX11(const std::string& bytes) {
    const std::string_view text(bytes.data(), std::min(bytes.find('\0'), bytes.size()));
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = lengthOfCharacter(static_cast<std::uint8_t>(text[at]));
        const std::string_view character = text.substr(at, length);
        if (length == 0 || !fitTogether(character)) return fromLatin1(text);
        if (character.size() < length) return std::string(text.substr(0, at));
        at += length;
    }
    return std::string(text);
}

} // namespace glintro
