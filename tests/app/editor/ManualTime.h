#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "app/editor/DelayTimer.h"

namespace glintro::test {

// Timers on a clock that a test moves. It must outlive them.
class ManualTime {
  public:
    DelayTimers timers() {
        return [this] { return std::make_unique<Timer>(*this); };
    }

    // What is due in between is called in its order, at its time.
    void pass(std::chrono::milliseconds time) {
        const auto end = now_ + time;
        while (Timer* next = firstDue(end)) {
            now_ = next->due;
            next->isWaiting = false;
            const auto call = next->call; // which may start the timer again
            call();
        }
        now_ = end;
    }

  private:
    struct Timer final : DelayTimer {
        explicit Timer(ManualTime& time) : owner(time) { owner.timers_.push_back(this); }
        ~Timer() override { std::erase(owner.timers_, this); }
        void start(std::chrono::milliseconds delay, std::function<void()> then) override {
            due = owner.now_ + delay;
            call = std::move(then);
            isWaiting = true;
        }
        void stop() override { isWaiting = false; }
        bool isActive() const override { return isWaiting; }

        ManualTime& owner;
        std::chrono::milliseconds due{};
        std::function<void()> call;
        bool isWaiting = false;
    };

    Timer* firstDue(std::chrono::milliseconds end) {
        Timer* first = nullptr;
        for (Timer* timer : timers_) {
            if (timer->isWaiting && timer->due <= end && (!first || timer->due < first->due)) first = timer;
        }
        return first;
    }

    std::chrono::milliseconds now_{};
    std::vector<Timer*> timers_;
};

} // namespace glintro::test
