#pragma once

#include <chrono>
#include <string>

#include "app/shell/TerminalLine.h"
#include "core/base/Geometry.h"

namespace glintro {

// How far a piece of work is that makes frames.
struct Progress {
    double fraction = 0; // 0..1
    int written = 0;     // frames
    int total = 0;       // frames
    Seconds elapsed = 0; // host time since the work began
};

// One line that shows it in at most `columns` columns: what matters less gives way first.
//
//   " 42%  ━━━━━━━━━━━━╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌╌  504/1200 frames  87 frames/s  0:08 left"
std::string progressLine(const Progress& progress, int columns);

// The line on the terminal. Not safe for use from two threads at once.
class ProgressBar {
  public:
    void show(double fraction, int written, int total);

  private:
    using Clock = std::chrono::steady_clock;

    TerminalLine line_;
    Clock::time_point started_ = Clock::now();
};

} // namespace glintro
