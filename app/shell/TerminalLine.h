#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace glintro {

// One line on the standard error terminal that shows the progress of some work, redrawn in place at most ten
// times a second and wiped at the end. Shows nothing where standard error is not a terminal. One thread at a
// time.
class TerminalLine {
  public:
    // `text` makes the line for so many columns; it is not called when nothing would be shown.
    using Text = std::function<std::string(int columns)>;

    TerminalLine();
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    void show(const Text& text);
    // Makes way for other output, until the next show().
    void wipe();

  private:
    using Clock = std::chrono::steady_clock;

    bool visible_;
    Clock::time_point drawn_ = {};
};

} // namespace glintro
