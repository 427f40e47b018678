#include "app/shell/TerminalText.h"

#include <algorithm>

#include <fmt/format.h>

namespace glintro {
namespace {

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

// U+0080 to U+009F, which some terminals obey as they do the escape character.
bool startsHighControl(std::string_view text) {
    return text.size() >= 2 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) < 0xA0;
}

bool startsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

std::string padded(const std::string& cell, int width, TextTable::Align align) {
    const auto missing = static_cast<std::size_t>(std::max(width - columnsOf(cell), 0));
    const std::string blank(missing, ' ');
    return align == TextTable::Align::right ? blank + cell : cell + blank;
}

} // namespace

int columnsOf(std::string_view text) {
    return static_cast<int>(std::ranges::count_if(text, startsCharacter));
}

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const bool high = startsHighControl(text);
        result += high || isControl(text.front()) ? ' ' : text.front();
        text.remove_prefix(high ? 2 : 1);
    }
    return result;
}

std::string shortened(std::string_view text, int columns) {
    std::string result = printable(text);
    if (columnsOf(result) <= columns) return result;
    std::size_t end = 0;
    for (int column = 0; !startsCharacter(result[end]) || ++column < columns;) ++end;
    return result.substr(0, end) + "…";
}

std::string countText(std::int64_t count, const std::string& thing) {
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

std::string bytesText(std::uintmax_t bytes) {
    const auto amount = static_cast<double>(bytes);
    if (bytes < 1'000'000) return fmt::format("{:.0f} kB", amount / 1e3);
    if (bytes < 1'000'000'000) return fmt::format("{:.1f} MB", amount / 1e6);
    return fmt::format("{:.2f} GB", amount / 1e9);
}

std::vector<int> TextTable::widths() const {
    std::vector<int> result;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        int width = columnsOf(columns_[i].heading);
        for (const auto& row : rows_) width = std::max(width, columnsOf(row[i]));
        result.push_back(width);
    }
    return result;
}

std::string TextTable::text() const {
    const std::vector<int> width = widths();
    std::string result;
    const auto append = [&](const auto& cellAt) {
        std::string line;
        for (std::size_t i = 0; i < columns_.size(); ++i)
            line += "  " + padded(cellAt(i), width[i], columns_[i].align);
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + '\n';
    };
    append([&](std::size_t i) { return columns_[i].heading; });
    for (const auto& row : rows_) append([&](std::size_t i) { return row[i]; });
    return result;
}

} // namespace glintro
