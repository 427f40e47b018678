#include "core/model/JsonText.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace glintro {
namespace {

// Calls visit(position) for each byte that is not part of a string, until it returns false. Whether it never
// did.
template <class Visit>
bool visitOutsideStrings(std::string_view text, Visit visit) {
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') inString = !inString;
        if (!inString && !visit(i)) return false;
        if (inString && text[i] == '\\') ++i;
    }
    return true;
}

bool isWithinLimits(std::string_view text, const JsonLimits& limits) {
    if (text.size() > limits.bytes) return false;
    std::size_t depth = 0;
    std::size_t values = 0;
    return visitOutsideStrings(text, [&](std::size_t i) {
        const char byte = text[i];
        if (byte == '[' || byte == '{') ++depth;
        if ((byte == ']' || byte == '}') && depth > 0) --depth;
        if (byte == '[' || byte == '{' || byte == ',') ++values;
        return depth <= limits.depth && values <= limits.values;
    });
}

std::size_t digitCount(std::string_view text) {
    return std::min(text.find_first_not_of("0123456789"), text.size());
}

// The length of an exponent such as "e+15"; 0 when there is none.
std::size_t exponentLength(std::string_view text) {
    if (text.empty() || (text[0] != 'e' && text[0] != 'E')) return 0;
    const std::size_t sign = text.size() > 1 && (text[1] == '+' || text[1] == '-') ? 1 : 0;
    const std::size_t digits = digitCount(text.substr(1 + sign));
    return digits > 0 ? 1 + sign + digits : 0;
}

// Whether a number that is out of a double's range is too large for it and not too small.
bool isHuge(std::string_view whole, std::string_view fraction, std::string_view exponent) {
    const bool isWhole = whole != "0";
    const auto zeros = std::min(fraction.find_first_not_of('0'), fraction.size());
    const double first = isWhole ? static_cast<double>(whole.size()) : -static_cast<double>(zeros);
    std::int64_t power = 0;
    const bool isNegative = exponent.size() > 1 && exponent[1] == '-';
    exponent.remove_prefix(std::min(exponent.find_first_of("0123456789"), exponent.size()));
    const auto error = std::from_chars(exponent.data(), exponent.data() + exponent.size(), power).ec;
    if (error == std::errc::result_out_of_range) return !isNegative;
    return first + static_cast<double>(isNegative ? -power : power) > 0;
}

// The length of the JSON number without sign at the front of a text, when no double can hold it; else 0.
std::size_t overflowLength(std::string_view text) {
    const std::string_view whole = text.substr(0, digitCount(text));
    if (whole.size() > 1 && whole[0] == '0') return 0;
    std::size_t length = whole.size();
    std::string_view fraction;
    if (length < text.size() && text[length] == '.') {
        fraction = text.substr(length + 1, digitCount(text.substr(length + 1)));
        if (fraction.empty()) return 0;
        length += 1 + fraction.size();
    }
    const std::string_view exponent = text.substr(length, exponentLength(text.substr(length)));
    length += exponent.size();
    double number = 0;
    const auto error = std::from_chars(text.data(), text.data() + length, number).ec;
    const bool isOut = error == std::errc::result_out_of_range;
    return isOut && isHuge(whole, fraction, exponent) ? length : 0;
}

// With "null" and spaces in place of numbers that are too large. What was no JSON text before is none after:
// a number and null may stand in the same places.
std::string withoutOverflows(std::string_view text) {
    constexpr std::string_view kNull = "null"; // shorter than any number that is too large
    std::string result(text);
    std::size_t numberEnd = 0; // of the number that the bytes before belong to
    visitOutsideStrings(text, [&](std::size_t i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (!isDigit || i < numberEnd) return true;
        numberEnd = std::min(text.find_first_not_of("0123456789+-.eE", i), text.size());
        const std::size_t length = overflowLength(text.substr(i, numberEnd - i));
        if (length == 0) return true;
        const std::size_t begin = i > 0 && text[i - 1] == '-' ? i - 1 : i;
        std::fill_n(result.begin() + static_cast<std::ptrdiff_t>(begin), i + length - begin, ' ');
        result.replace(begin, kNull.size(), kNull);
        return true;
    });
    return result;
}

} // namespace

Result<nlohmann::json> parseJson(std::string_view text, const JsonLimits& limits) {
    // The parser reads a zero byte as the end of the text.
    if (!isWithinLimits(text, limits) || text.find('\0') != std::string_view::npos)
        return failure("The file is damaged.", "too large, nested too deeply or not text");
    auto value = nlohmann::json::parse(withoutOverflows(text), nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) return failure("The file is damaged.", "not a JSON text");
    return value;
}

} // namespace glintro
