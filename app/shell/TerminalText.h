#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Text to be read at a terminal or through a pipe: UTF-8, without colours.
namespace glintro {

// How many columns a line is wide: one for each code point.
int columnsOf(std::string_view text);

// The text with control characters replaced, so that what a file holds cannot steer the terminal.
std::string printable(std::string_view text);

// The same in at most so many columns, of at least one; the end of a longer text gives way to an ellipsis.
std::string shortened(std::string_view text, int columns);

std::string countText(std::int64_t count, const std::string& thing); // "1 frame", "2 frames"
std::string bytesText(std::uintmax_t bytes);                         // "824 kB", "12.3 MB", "1.05 GB"

// Rows of cells under a heading, columns aligned and two spaces apart.
class TextTable {
  public:
    enum class Align { left, right };
    struct Column {
        std::string heading;
        Align align = Align::left;
    };

    explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

    // As many cells as there are columns.
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

    // Every line indented by two spaces, without spaces at its end.
    std::string text() const;

  private:
    std::vector<int> widths() const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace glintro
