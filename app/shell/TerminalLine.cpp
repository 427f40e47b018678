#include "app/shell/TerminalLine.h"

#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace glintro {
namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);

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
    // Errors are ignored: only a line of progress is lost.
    [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

TerminalLine::TerminalLine() : visible_(canRedraw()) {}

TerminalLine::~TerminalLine() {
    wipe();
}

void TerminalLine::show(const Text& text) {
    const auto now = Clock::now();
    if (!visible_ || now - drawn_ < kRedrawInterval) return;
    drawn_ = now;
    // The last column stays free: a character there makes some terminals wrap.
    writeToTerminal("\r" + text(terminalColumns() - 1) + "\x1b[K");
}

void TerminalLine::wipe() {
    if (!visible_ || drawn_ == Clock::time_point()) return;
    writeToTerminal("\r\x1b[K");
    drawn_ = {};
}

} // namespace glintro
