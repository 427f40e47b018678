#include "app/editor/DelayTimer.h"

#include <QTimer>
#include <utility>

namespace glintro {
namespace {

class EventLoopTimer final : public DelayTimer {
  public:
    EventLoopTimer() {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer); // others may come a twentieth of the delay too early
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { std::exchange(call_, {})(); });
    }

    void start(std::chrono::milliseconds delay, std::function<void()> call) override {
        call_ = std::move(call);
        timer_.start(delay);
    }
    void stop() override { timer_.stop(); }
    bool isActive() const override { return timer_.isActive(); }

  private:
    QTimer timer_;
    std::function<void()> call_;
};

} // namespace

DelayTimers eventLoopTimers() {
    return [] { return std::make_unique<EventLoopTimer>(); };
}

} // namespace glintro
