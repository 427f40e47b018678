#include "app/library/DayGroups.h"

#include <chrono>

namespace glintro {
namespace {

Timestamp startOf(QDate day, const QTimeZone& zone) {
    const QDateTime start = zone.isValid() ? day.startOfDay(zone) : day.startOfDay(Qt::LocalTime);
    return Timestamp(std::chrono::seconds(start.toSecsSinceEpoch()));
}

} // namespace

Timestamp DayCalendar::systemTime() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

QDateTime DayCalendar::dateTimeOf(Timestamp time) const {
    const qint64 seconds = time.time_since_epoch().count();
    return zone.isValid() ? QDateTime::fromSecsSinceEpoch(seconds, zone)
                          : QDateTime::fromSecsSinceEpoch(seconds);
}

QDate DayCalendar::dayOf(Timestamp time) const {
    return dateTimeOf(time).date();
}

Timestamp DayCalendar::startOfNextDay(Timestamp time) const {
    return startOf(dayOf(time).addDays(1), zone);
}

QString DayCalendar::title(QDate day) const {
    return title(day, today());
}

QString DayCalendar::title(QDate day, QDate today) const {
    if (day == today) return QStringLiteral("Today");
    if (day == today.addDays(-1)) return QStringLiteral("Yesterday");
    return locale.toString(day, day.year() == today.year() ? u"dddd, MMM d" : u"MMM d, yyyy");
}

QString DayCalendar::timeOfDay(Timestamp time) const {
    return locale.toString(dateTimeOf(time).time(), QLocale::ShortFormat);
}

// Asking the calendar for each of thousands of reels would cost more than all the rest.
std::vector<DayGroup> dayGroups(std::span<const Timestamp> newestFirst, const DayCalendar& calendar) {
    std::vector<DayGroup> groups;
    Timestamp begin;
    Timestamp end; // of the last group's day
    for (std::size_t i = 0; i < newestFirst.size(); ++i) {
        const Timestamp time = newestFirst[i];
        if (groups.empty() || time < begin || time >= end) {
            const QDate day = calendar.dayOf(time);
            begin = startOf(day, calendar.zone);
            end = calendar.startOfNextDay(time);
            if (groups.empty() || groups.back().day != day)
                groups.push_back({day, static_cast<qsizetype>(i), 0});
        }
        ++groups.back().count;
    }
    return groups;
}

} // namespace glintro
