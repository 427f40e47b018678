#include "core/model/Timestamp.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

namespace glintro {
namespace {

using namespace std::chrono;

constexpr Timestamp kFirstShown = sys_days(year(0) / January / 1);
constexpr Timestamp kAfterLastShown = sys_days(year(10000) / January / 1);

bool isShown(Timestamp time) {
    return time >= kFirstShown && time < kAfterLastShown;
}

constexpr std::string_view kPattern = "0000-00-00T00:00:00";

bool fits(std::string_view text, std::string_view form) {
    return std::ranges::equal(text, form, [](char letter, char expected) {
        return expected == '0' ? letter >= '0' && letter <= '9' : letter == expected;
    });
}

int number(std::string_view text, std::size_t position, std::size_t digits) {
    int value = 0;
    for (const char digit : text.substr(position, digits)) value = value * 10 + (digit - '0');
    return value;
}

// What has to be subtracted from the local time to have UTC.
std::optional<minutes> parseZone(std::string_view text) {
    if (text == "Z") return minutes(0);
    if (text.empty() || (text.front() != '+' && text.front() != '-')) return std::nullopt;
    const std::string_view offset = text.substr(1);
    const bool withColon = fits(offset, "00:00");
    if (!withColon && !fits(offset, "0000")) return std::nullopt;
    const int hourCount = number(offset, 0, 2);
    const int minuteCount = number(offset, withColon ? 3 : 2, 2);
    if (hourCount > 23 || minuteCount > 59) return std::nullopt;
    const minutes magnitude = hours(hourCount) + minutes(minuteCount);
    return text.front() == '-' ? -magnitude : magnitude;
}

} // namespace

std::optional<Timestamp> parseTimestamp(std::string_view text) {
    if (text.size() < kPattern.size() || !fits(text.substr(0, kPattern.size()), kPattern))
        return std::nullopt;
    const year_month_day date(year(number(text, 0, 4)), month(static_cast<unsigned>(number(text, 5, 2))),
                              day(static_cast<unsigned>(number(text, 8, 2))));
    const int hourCount = number(text, 11, 2);
    const int minuteCount = number(text, 14, 2);
    const int secondCount = number(text, 17, 2);
    const auto zone = parseZone(text.substr(kPattern.size()));
    if (!date.ok() || hourCount > 23 || minuteCount > 59 || secondCount > 59 || !zone) return std::nullopt;
    const Timestamp time =
        sys_days(date) + hours(hourCount) + minutes(minuteCount) + seconds(secondCount) - *zone;
    return isShown(time) ? std::optional(time) : std::nullopt;
}

std::optional<std::string> timestampText(Timestamp time) {
    if (!isShown(time)) return std::nullopt;
    const sys_days midnight = floor<days>(time);
    const year_month_day date(midnight);
    const hh_mm_ss clock(time - midnight);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

} // namespace glintro
