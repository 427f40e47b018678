#include "sample/ScreenRecording.h"

namespace glintro::sample {

ScreenRecording::ScreenRecording(PixelSize size, Seconds duration, std::uint64_t seed)
    : size_(size),
      duration_(duration),
      seed_(seed),
      layout_(size),
      script_(writeScript(layout_, duration, seed)),
      state_(layout_),
      painter_(size, layout_) {}

ScreenRecording::Change ScreenRecording::advance(Seconds sourceTime) {
    while (nextInput_ < script_.inputs.size() && script_.inputs[nextInput_].time <= sourceTime) {
        state_.receive(script_.inputs[nextInput_++]);
    }
    AppFrame frame = AppFrame::evaluate(state_, sourceTime, script_.path.at(sourceTime));
    if (shown_ == frame) return Change::none;
    painter_.paint(state_, frame);
    shown_ = std::move(frame);
    return Change::some;
}

RecordingEvents ScreenRecording::events() const {
    RecordingEvents events;
    events.duration = duration_;
    events.cursor = observe(script_.path, layout_, size_, duration_, Random(seed_ + 1));
    for (const InputEvent& input : script_.inputs) {
        if (input.kind != InputEvent::Kind::press) continue;
        events.clicks.push_back(observation(input.time, input.at, layout_, size_));
    }
    return events;
}

} // namespace glintro::sample
