#include "app/recording/EventLogger.h"

#include <chrono>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

using Clock = std::chrono::steady_clock; // that of hostTime()
constexpr std::chrono::nanoseconds kSampleEvery{1'000'000'000 / 60};

// `nullopt` when there is no rectangle to count fractions of.
std::optional<PointerMoment> momentAt(Seconds hostTime, Point position, const Rect& recorded) {
    const bool hasSize = recorded.width > 0 && recorded.height > 0;
    if (!hasSize) return std::nullopt;
    return PointerMoment{
        hostTime, {(position.x - recorded.x) / recorded.width, (position.y - recorded.y) / recorded.height}};
}

bool isInside(Point fraction) {
    return 0 <= fraction.x && fraction.x <= 1 && 0 <= fraction.y && fraction.y <= 1;
}

} // namespace

EventLogger::~EventLogger() {
    finish();
}

Result<void> EventLogger::start(std::function<Rect()> frame, PointerSource& pointer, TakeJournal& journal) {
    frame_ = std::move(frame);
    journal_ = &journal;
    auto started = pointer.start([this](const PointerPress& at) { press(at); });
    if (!started) return started;
    pointer_ = &pointer;
    sampling_ = std::jthread([this](const std::stop_token& stop) { keepSampling(stop); });
    return {};
}

// By absolute times, so that the rate does not drift; times that were slept through are left out.
void EventLogger::keepSampling(const std::stop_token& stop) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    for (auto next = Clock::now(); !stop.stop_requested();) {
        if (const auto position = pointer_->position()) sample(*position, hostTime());
        while (next <= Clock::now()) next += kSampleEvery;
        wake_.wait_until(lock, stop, next, [&stop] { return stop.stop_requested(); });
    }
}

void EventLogger::sample(Point position, Seconds hostTime) {
    if (const auto moment = momentAt(hostTime, position, frame_())) journal_->sample(*moment);
}

void EventLogger::press(const PointerPress& press) {
    const auto moment = momentAt(press.hostTime, press.position, frame_());
    if (!moment) return;
    if (isInside(moment->position)) journal_->click(*moment);
    journal_->sample(*moment);
}

// The source goes first: its stop also ends the wait for a position that nobody answers.
void EventLogger::finish() {
    sampling_.request_stop();
    if (pointer_) pointer_->stop();
    sampling_ = {};
    pointer_ = nullptr;
}

} // namespace glintro
