#include "core/base/Numbers.h"

#include <charconv>
#include <cmath>

namespace glintro {
namespace {

template <class Number>
std::optional<Number> parse(std::string_view text) {
    const bool plus = text.starts_with('+');
    if (plus) text.remove_prefix(1);
    if (plus && text.starts_with('-')) return std::nullopt;
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

} // namespace

std::optional<std::int64_t> parseWhole(std::string_view text) {
    return parse<std::int64_t>(text);
}

std::optional<double> parseDecimal(std::string_view text) {
    const auto number = parse<double>(text);
    if (!number || !std::isfinite(*number)) return std::nullopt;
    return *number + 0.0; // "-0" is 0
}

std::optional<PixelSize> parsePixelSize(std::string_view text) {
    const std::size_t times = text.find('x');
    if (times == std::string_view::npos) return std::nullopt;
    const auto width = parse<int>(text.substr(0, times));
    const auto height = parse<int>(text.substr(times + 1));
    if (!width || !height || *width < 1 || *height < 1) return std::nullopt;
    return PixelSize{*width, *height};
}

} // namespace glintro
