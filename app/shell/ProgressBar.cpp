#include "app/shell/ProgressBar.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

constexpr int kShortestBar = 8;
constexpr int kLongestBar = 40;
constexpr std::string_view kGap = "  ";

double shownFraction(const Progress& progress) {
    return std::isfinite(progress.fraction) ? std::clamp(progress.fraction, 0.0, 1.0) : 0;
}

std::string repeated(std::string_view text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) result += text;
    return result;
}

std::string bar(double fraction, int length) {
    const int full = static_cast<int>(fraction * length);
    return repeated("━", full) + repeated("╌", length - full);
}

// Most important first.
std::vector<std::string> figures(const Progress& progress) {
    const double fraction = shownFraction(progress);
    std::vector<std::string> result;
    if (fraction > 0)
        result.push_back(formatTime(std::ceil(progress.elapsed * (1 - fraction) / fraction)) + " left");
    if (progress.total > 0)
        result.push_back(fmt::format("{}/{}", progress.written, countText(progress.total, "frame")));
    if (progress.elapsed > 0 && progress.written > 0)
        result.push_back(fmt::format("{:.0f} frames/s", progress.written / progress.elapsed));
    return result;
}

} // namespace

std::string progressLine(const Progress& progress, int columns) {
    const double fraction = shownFraction(progress);
    std::string line = fmt::format("{:3.0f}%", std::floor(fraction * 100));
    if (columnsOf(line) > columns) return {};
    std::string text;
    for (const std::string& each : figures(progress)) {
        if (columnsOf(line) + columnsOf(text) + columnsOf(kGap) + columnsOf(each) > columns) break;
        text.append(kGap).append(each);
    }
    const int room = columns - columnsOf(line + text) - columnsOf(kGap);
    if (room >= kShortestBar) line += std::string(kGap) + bar(fraction, std::min(room, kLongestBar));
    return line + text;
}

void ProgressBar::show(double fraction, int written, int total) {
    line_.show([&](int columns) {
        const Seconds elapsed = std::chrono::duration<double>(Clock::now() - started_).count();
        return progressLine({fraction, written, total, elapsed}, columns);
    });
}

} // namespace glintro
