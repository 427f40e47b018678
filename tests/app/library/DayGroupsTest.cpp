#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "app/library/DayGroups.h"

namespace glintro {
namespace {

Timestamp at(const char* time) {
    return parseTimestamp(time).value();
}

DayCalendar calendarAt(const char* now, const char* zone = "Europe/Berlin") {
    return {.now = [now] { return at(now); }, .zone = QTimeZone(zone), .locale = QLocale::c()};
}

TEST(DayGroups, HaveTitlesAsSeenFromToday) {
    struct Row {
        const char* now;
        const char* created;
        const char* title;
        const char* zone = "UTC";
    };
    const Row rows[] = {{"2026-11-22T12:00:00Z", "2026-11-22T00:00:00Z", "Today"},
                        {"2026-11-22T12:00:00Z", "2026-11-21T23:59:59Z", "Yesterday"},
                        {"2026-11-22T12:00:00Z", "2026-11-20T12:00:00Z", "Friday, Nov 20"},
                        {"2026-11-22T12:00:00Z", "2026-01-01T00:00:00Z", "Thursday, Jan 1"},
                        {"2026-11-22T12:00:00Z", "2025-12-31T23:00:00Z", "Dec 31, 2025"},
                        {"2027-01-02T12:00:00Z", "2026-12-31T23:00:00Z", "Dec 31, 2026"},
                        {"2027-01-01T12:00:00Z", "2026-12-31T23:00:00Z", "Yesterday"},
                        {"2026-11-22T12:00:00Z", "2026-11-23T12:00:00Z", "Monday, Nov 23"},
                        {"2026-11-22T02:00:00Z", "2026-11-21T23:30:00Z", "Today", "Europe/Berlin"},
                        {"2026-11-22T02:00:00Z", "2026-11-22T01:00:00Z", "Today", "America/New_York"},
                        {"2026-11-22T12:00:00Z", "2026-11-22T01:00:00Z", "Yesterday", "America/New_York"}};
    for (const Row& row : rows) {
        const DayCalendar calendar = calendarAt(row.now, row.zone);
        EXPECT_EQ(calendar.title(calendar.dayOf(at(row.created))), row.title) << row.created << row.zone;
    }
}

TEST(DayGroups, KnowHowLongADayIsWhenTheClocksChange) {
    struct Row {
        const char* zone;
        const char* time;
        const char* next;
    };
    const Row rows[] = {{"Europe/Berlin", "2026-03-29T00:30:00Z", "2026-03-29T22:00:00Z"},    // 23 hours
                        {"Europe/Berlin", "2026-10-24T22:00:00Z", "2026-10-25T23:00:00Z"},    // 25 hours
                        {"America/Santiago", "2026-09-06T02:00:00Z", "2026-09-06T04:00:00Z"}, // from 24 to 1
                        {"UTC", "2026-12-31T23:59:59Z", "2027-01-01T00:00:00Z"}};
    for (const Row& row : rows) {
        const DayCalendar calendar = calendarAt(row.time, row.zone);
        EXPECT_EQ(timestampText(calendar.startOfNextDay(at(row.time))), row.next) << row.zone;
    }
}

// The days of a list are what asking the calendar for each reel gives.
TEST(DayGroups, TileTheList) {
    std::mt19937 random(3);
    for (const char* zone : {"UTC", "Europe/Berlin", "America/Santiago", "Pacific/Apia"}) {
        const DayCalendar calendar = calendarAt("2026-11-22T12:00:00Z", zone);
        std::vector<Timestamp> times(500);
        for (Timestamp& time : times)
            time = at("2024-11-22T12:00:00Z") + std::chrono::seconds(random() % 63'000'000);
        std::ranges::sort(times, std::greater());
        qsizetype next = 0;
        QDate before;
        for (const DayGroup& group : dayGroups(times, calendar)) {
            EXPECT_EQ(group.first, next);
            EXPECT_TRUE(before.isNull() || group.day < before);
            for (qsizetype i = group.first; i < group.first + group.count; ++i)
                EXPECT_EQ(calendar.dayOf(times[static_cast<std::size_t>(i)]), group.day);
            next += group.count;
            before = group.day;
        }
        EXPECT_EQ(next, 500);
    }
}

} // namespace
} // namespace glintro
