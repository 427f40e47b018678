#include "app/shell/ProgressBar.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

constexpr int kShortestBar = 8;
constexpr int kLongestBar = 40;
constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
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
    if (progress.total > 0) result.push_back(fmt::format("{}/{} frames", progress.written, progress.total));
    if (progress.elapsed > 0 && progress.written > 0)
        result.push_back(fmt::format("{:.0f} frames/s", progress.written / progress.elapsed));
    return result;
}

int terminalColumns() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

bool canRedraw() {
    const char* terminal = std::getenv("TERM");
    return ::isatty(STDERR_FILENO) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

void writeToTerminal(std::string_view text) {
    // What a terminal does not take is only a line of progress.
    [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
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

ProgressBar::ProgressBar() : visible_(canRedraw()) {}

ProgressBar::~ProgressBar() {
    if (visible_ && drawn_ != Clock::time_point()) writeToTerminal("\r\x1b[K");
}

void ProgressBar::show(double fraction, int written, int total) {
    const auto now = Clock::now();
    if (!visible_ || now - drawn_ < kRedrawInterval) return;
    drawn_ = now;
    const Seconds elapsed = std::chrono::duration<double>(now - started_).count();
    // The last column stays free: a character there makes some terminals wrap.
    const std::string line = progressLine({fraction, written, total, elapsed}, terminalColumns() - 1);
    writeToTerminal("\r" + line + "\x1b[K");
}

} // namespace glintro
