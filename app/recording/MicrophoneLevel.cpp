#include "app/recording/MicrophoneLevel.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace glintro {
namespace {

constexpr std::chrono::milliseconds kUpdateInterval{33};
const double kFall = std::exp2(-0.033 / 0.2);

void raise(std::atomic<float>& loudest, std::span<const float> samples) {
    float peak = 0;
    for (const float sample : samples) peak = std::max(peak, std::abs(sample));
    float seen = loudest.load();
    while (seen < peak && !loudest.compare_exchange_weak(seen, peak)) {
    }
}

} // namespace

MicrophoneLevel::MicrophoneLevel(std::shared_ptr<SoundSystem> sound)
    : sound_(std::move(sound)), loudest_(std::make_shared<std::atomic<float>>(0.0F)) {
    connect(&timer_, &QTimer::timeout, this, &MicrophoneLevel::update);
    connect(this, &InputPreview::stateChanged, this, [this] {
        if (isRunning() && !timer_.isActive()) timer_.start(kUpdateInterval);
    });
}

InputPreview::Opener MicrophoneLevel::opener(LossHandler lost) {
    return [lost = std::move(lost), sound = sound_,
            loudest = loudest_](const std::optional<std::string>& name) -> Result<Device> {
        auto microphone = sound->openMicrophone(name);
        if (!microphone) return std::unexpected(microphone.error());
        auto started =
            (*microphone)
                ->start([loudest](const SoundBlock& block) { raise(*loudest, block.samples); }, lost);
        if (!started) return std::unexpected(started.error());
        return Device(std::move(*microphone));
    };
}

void MicrophoneLevel::reset() {
    timer_.stop();
    loudest_->store(0);
    setLevel(0);
}

void MicrophoneLevel::update() {
    const double heard = std::min<double>(loudest_->exchange(0), 1);
    setLevel(std::max(heard, level_ * kFall));
}

void MicrophoneLevel::setLevel(double level) {
    if (level == level_) return;
    level_ = level;
    emit levelChanged();
}

} // namespace glintro
