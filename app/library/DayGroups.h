#pragma once

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QString>
#include <QTimeZone>
#include <functional>
#include <span>
#include <vector>

#include "core/model/Timestamp.h"

namespace glintro {

// The user's calendar: which time it is, where, and in which language. Values, so that tests can be anywhere
// at any time.
struct DayCalendar {
    std::function<Timestamp()> now = systemTime;
    QTimeZone zone = {}; // when not valid, where the system is at the moment
    QLocale locale = {};

    static Timestamp systemTime();

    QDate dayOf(Timestamp time) const;
    QDate today() const { return dayOf(now()); }
    // When the day after a time's begins there: days have 23 or 25 hours when the clocks change.
    Timestamp startOfNextDay(Timestamp time) const;
    QDateTime dateTimeOf(Timestamp time) const;
    // "Today", "Yesterday", "Sunday, Nov 22" in this year, else "Nov 22, 2025".
    QString title(QDate day) const;
    QString title(QDate day, QDate today) const;
    // "14:03" or "2:03 PM", as the language writes it.
    QString timeOfDay(Timestamp time) const;
};

// Reels of one day: `count` rows from `first` on.
struct DayGroup {
    QDate day;
    qsizetype first = 0;
    qsizetype count = 0;
    bool operator==(const DayGroup&) const = default;
};

// The days of a list that is sorted newest first, newest day first.
std::vector<DayGroup> dayGroups(std::span<const Timestamp> newestFirst, const DayCalendar& calendar);

} // namespace glintro
