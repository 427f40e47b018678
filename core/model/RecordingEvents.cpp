#include "core/model/RecordingEvents.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "core/base/FileIO.h"

namespace glintro {
namespace {

bool isFinite(const std::vector<EventSample>& samples) {
    return std::ranges::all_of(samples, [](const EventSample& sample) {
        return std::all_of(sample.numbers.begin(), sample.numbers.begin() + sample.count,
                           [](double number) { return std::isfinite(number); });
    });
}

// The shortest text that reads back as the same number. It always shows a point or an exponent: readers that
// see an integer in "-0" lose its sign.
void append(std::string& text, double number) {
    std::array<char, 32> digits;
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    const std::string_view shortest(digits.data(), end);
    text += shortest;
    if (shortest.find_first_of(".e") == std::string_view::npos) text += ".0";
}

void append(std::string& text, const EventSample& sample) {
    text += '[';
    for (std::size_t i = 0; i < sample.count; ++i) {
        if (i > 0) text += ',';
        append(text, sample.numbers[i]);
    }
    text += ']';
}

void append(std::string& text, const std::vector<EventSample>& samples) {
    text += '[';
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i > 0) text += ',';
        append(text, samples[i]);
    }
    text += ']';
}

} // namespace

Result<std::string> encodeEvents(const RecordingEvents& events) {
    if (!std::isfinite(events.duration) || !isFinite(events.cursor) || !isFinite(events.clicks)) {
        return failure("The recorded events hold a number that can’t be stored.");
    }
    constexpr std::size_t usualSampleLength = 64;
    std::string text = "{\"version\":" + std::to_string(events.version) + ",\"duration\":";
    text.reserve(text.size() + usualSampleLength * (events.cursor.size() + events.clicks.size() + 1));
    append(text, events.duration);
    text += ",\"cursor\":";
    append(text, events.cursor);
    text += ",\"clicks\":";
    append(text, events.clicks);
    text += '}';
    return text;
}

Result<void> writeEvents(const RecordingEvents& events, const std::filesystem::path& file) {
    const auto text = encodeEvents(events);
    if (!text) return std::unexpected(text.error());
    return writeFileAtomically(file, *text, Readers::owner);
}

} // namespace glintro
