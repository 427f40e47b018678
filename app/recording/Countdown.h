#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>

#include "core/base/Geometry.h"

namespace glintro {

// Counts 3, 2, 1 in equal steps. Each step is due at its own host time after the start, so that lateness of
// one does not add to the next. Main thread.
class Countdown : public QObject {
    Q_OBJECT

  public:
    static constexpr std::chrono::milliseconds kStep{900};

    explicit Countdown(std::chrono::milliseconds step = kStep);

    void start(); // 3 at once
    void cancel();
    int number() const { return number_; }       // 0 while it does not run
    Seconds endTime() const { return endTime_; } // host time of the last one's end

  signals:
    void numberChanged();
    void ended();

  private:
    void schedule();
    void step();

    const Seconds step_;
    int number_ = 0;
    Seconds endTime_ = 0;
    QTimer timer_;
};

} // namespace glintro
