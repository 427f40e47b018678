#pragma once

#include <ostream>
#include <utility>
#include <vector>

#include "core/model/ProjectSettings.h"
#include "core/model/RecordingEvents.h"
#include "core/timeline/Shot.h"
#include "core/timeline/TimeMap.h"

// Short spellings of the values that the tables of these tests consist of.
namespace glintro::testing {

inline ZoomSegment zoom(Seconds start, Seconds end, double scale = 2) {
    return {.start = start, .end = end, .scale = scale};
}

inline CutSegment cut(Seconds start, Seconds end) {
    return {.start = start, .end = end};
}

inline SpeedSegment speed(Seconds start, Seconds end, double rate = 2) {
    return {.start = start, .end = end, .rate = rate};
}

struct Edits {
    std::vector<ZoomSegment> zooms = {};
    std::vector<CutSegment> cuts = {};
    std::vector<SpeedSegment> speeds = {};
    std::vector<Seconds> splits = {};
    Seconds trimStart = 0;
    std::optional<Seconds> trimEnd = {};

    operator ProjectSettings() const {
        ProjectSettings settings;
        settings.zooms = zooms;
        settings.cuts = cuts;
        settings.speeds = speeds;
        settings.splits = splits;
        settings.trimStart = trimStart;
        settings.trimEnd = trimEnd;
        return settings;
    }
};

inline EventSample sample(Seconds time, double x, double y) {
    return {.numbers = {time, x, y}};
}

} // namespace glintro::testing

// What a failed comparison or a RapidCheck counterexample prints.
namespace glintro {

inline std::ostream& operator<<(std::ostream& out, const TimeMap::Piece& piece) {
    return out << '[' << piece.src0 << ' ' << piece.src1 << " at " << piece.comp0 << " x" << piece.rate
               << ']';
}

inline std::ostream& operator<<(std::ostream& out, const Shot& shot) {
    return out << '[' << shot.number << ' ' << storedText(shot.kind) << ' ' << shot.start << ' ' << shot.end
               << " scale " << shot.scale << " rate " << shot.rate << ']';
}

inline std::ostream& operator<<(std::ostream& out, const EventSample& sample) {
    return out << '(' << sample.numbers[0] << ' ' << sample.numbers[1] << ' ' << sample.numbers[2] << ')';
}

inline std::ostream& operator<<(std::ostream& out, const ProjectSettings& settings) {
    out << "trims " << settings.trimStart << ' ' << settings.trimEnd.value_or(-1);
    for (const auto& zoom : settings.zooms)
        out << " zoom " << zoom.start << ' ' << zoom.end << " scale " << zoom.scale;
    for (const auto& cut : settings.cuts) out << " cut " << cut.start << ' ' << cut.end;
    for (const auto& speed : settings.speeds)
        out << " speed " << speed.start << ' ' << speed.end << " rate " << speed.rate;
    for (const Seconds split : settings.splits) out << " split " << split;
    return out;
}

} // namespace glintro
