#pragma once

#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "core/model/ProjectInfo.h"
#include "core/timeline/Storyboard.h"

namespace glintro::test {

inline std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

// "w0-4 z4-8x2 c8-9 w9-20@2": kinds, times, scales and rates.
inline std::string rowOf(const ProjectInfo& info) {
    std::string row;
    for (const Shot& shot : Storyboard::shots(info.settings, info.duration)) {
        row +=
            fmt::format("{}{}{}-{}", row.empty() ? "" : " ", storedText(shot.kind)[0], shot.start, shot.end);
        if (shot.scale != 1) row += fmt::format("x{}", shot.scale);
        if (shot.rate != 1) row += fmt::format("@{}", shot.rate);
    }
    return row;
}

} // namespace glintro::test
