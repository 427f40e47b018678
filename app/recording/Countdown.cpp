#include "app/recording/Countdown.h"

#include <algorithm>
#include <cmath>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr int kFrom = 3;

} // namespace

Countdown::Countdown(std::chrono::milliseconds step) : step_(std::chrono::duration<Seconds>(step).count()) {
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    connect(&timer_, &QTimer::timeout, this, &Countdown::step);
}

void Countdown::start() {
    number_ = kFrom;
    endTime_ = hostTime() + kFrom * step_;
    schedule();
    emit numberChanged();
}

void Countdown::cancel() {
    timer_.stop();
    number_ = 0;
}

void Countdown::schedule() {
    const Seconds due = endTime_ - (number_ - 1) * step_;
    const auto left = static_cast<int>(std::ceil((due - hostTime()) * 1000));
    timer_.start(std::max(left, 0));
}

void Countdown::step() {
    if (--number_ == 0) {
        emit ended();
        return;
    }
    schedule();
    emit numberChanged();
}

} // namespace glintro
