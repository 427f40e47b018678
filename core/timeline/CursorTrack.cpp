#include "core/timeline/CursorTrack.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace glintro {
namespace {

constexpr int kSubSteps = 4;
constexpr double kSubStepsPerSecond = CursorTrack::kRate * kSubSteps;

std::vector<EventSample> usableSamples(const std::vector<EventSample>& raw) {
    std::vector<EventSample> samples;
    samples.reserve(raw.size());
    std::ranges::copy_if(raw, std::back_inserter(samples), [](const EventSample& sample) {
        return sample.complete()
               && std::ranges::all_of(sample.numbers, [](double number) { return std::isfinite(number); });
    });
    if (!std::ranges::is_sorted(samples, {}, &EventSample::sourceTime))
        std::ranges::stable_sort(samples, {}, &EventSample::sourceTime);
    return samples;
}

// The recorded position at times asked in ascending order: linear between samples, the first or last one
// outside.
class RecordedPath {
  public:
    explicit RecordedPath(const std::vector<EventSample>& samples) : samples_(samples) {}

    Point position(Seconds time) {
        while (current_ + 1 < samples_.size() && samples_[current_ + 1].sourceTime() <= time) ++current_;
        const EventSample& sample = samples_[current_];
        const Point from = sample.position();
        if (current_ + 1 == samples_.size() || !(sample.sourceTime() <= time)) return from;
        const EventSample& next = samples_[current_ + 1];
        const Point to = next.position();
        const double fraction = (time - sample.sourceTime()) / (next.sourceTime() - sample.sourceTime());
        return {from.x + (to.x - from.x) * fraction, from.y + (to.y - from.y) * fraction};
    }

  private:
    const std::vector<EventSample>& samples_;
    std::size_t current_ = 0;
};

// A critically damped spring, stepped by semi-implicit Euler: it comes to rest on a still target without
// overshoot.
class Spring {
  public:
    Spring(Point start, double omega) : omega_(omega), position_(start), target_(start) {}

    void stepTowards(Point target) {
        if (!(omega_ > 0)) {
            position_ = target;
            return;
        }
        // A step that changed nothing changes nothing again, and would go on at the speed of denormal
        // numbers.
        if (atRest_ && target == target_) return;
        const Point before = position_;
        const Point velocityBefore = velocity_;
        step(position_.x, velocity_.x, target.x);
        step(position_.y, velocity_.y, target.y);
        atRest_ = position_ == before && velocity_ == velocityBefore;
        target_ = target;
    }

    Point position() const { return position_; }

  private:
    void step(double& position, double& velocity, double target) const {
        const double acceleration = omega_ * omega_ * (target - position) - 2 * omega_ * velocity;
        velocity = velocity + acceleration * (1 / kSubStepsPerSecond);
        position = position + velocity * (1 / kSubStepsPerSecond);
    }

    double omega_;
    Point position_;
    Point velocity_;
    Point target_;
    bool atRest_ = false;
};

} // namespace

std::optional<CursorTrack> CursorTrack::create(const std::vector<EventSample>& raw, Seconds duration,
                                               double omega) {
    if (!(duration > 0)) return std::nullopt;
    const std::vector<EventSample> samples = usableSamples(raw);
    if (samples.empty()) return std::nullopt;
    return CursorTrack(samples, std::min(duration, kLongest), omega);
}

CursorTrack::CursorTrack(const std::vector<EventSample>& samples, Seconds duration, double omega) {
    const auto count = static_cast<std::size_t>(duration * kRate) + 2;
    xs_.reserve(count);
    ys_.reserve(count);
    RecordedPath recorded(samples);
    Spring spring(samples.front().position(), omega);
    for (std::size_t i = 0; i < count; ++i) {
        const Seconds time = static_cast<double>(i) / kRate;
        for (int subStep = 0; subStep < kSubSteps; ++subStep)
            spring.stepTowards(recorded.position(time + subStep / kSubStepsPerSecond));
        xs_.push_back(spring.position().x);
        ys_.push_back(spring.position().y);
    }
}

Point CursorTrack::position(Seconds at) const {
    const double index = (at > 0 ? at : 0) * kRate;
    const std::size_t last = xs_.size() - 1;
    if (index >= static_cast<double>(last)) return {xs_[last], ys_[last]};
    const auto i = static_cast<std::size_t>(index);
    const double between = index - static_cast<double>(i);
    return {xs_[i] + between * (xs_[i + 1] - xs_[i]), ys_[i] + between * (ys_[i + 1] - ys_[i])};
}

} // namespace glintro
