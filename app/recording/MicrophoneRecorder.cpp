#include "app/recording/MicrophoneRecorder.h"

#include <utility>
#include <vector>

namespace glintro {
namespace {

// A microphone that has given nothing for so long is gone, or will come back with a gap.
constexpr Seconds kSilenceTimeout = 2.0;
constexpr Seconds kSilenceStep = 0.25;

constexpr const char* kLost = "The microphone stopped, so the recording is silent from here on.";

} // namespace

MicrophoneRecorder::MicrophoneRecorder(LiveMovieWriter& writer, SerialQueue& queue, const PauseClock& pauses,
                                       Handlers handlers)
    : queue_(queue), pauses_(pauses), handlers_(std::move(handlers)), track_(writer, handlers_.failed) {}

void MicrophoneRecorder::open(SoundSystem& sound, std::optional<std::string> device) {
    auto opened = sound.openMicrophone(std::move(device));
    if (!opened) return handlers_.notice(opened.error().message);
    microphone_ = *std::move(opened);
    isHearing_ = true;
    const auto started = microphone_->start([this](const SoundBlock& block) { hear(block); },
                                            [this](const Failure&) {
                                                isHearing_ = false;
                                                handlers_.notice(kLost);
                                            });
    if (started) return;
    isHearing_ = false;
    handlers_.notice(started.error().message);
}

void MicrophoneRecorder::close() {
    if (microphone_) microphone_->stop();
    microphone_.reset();
}

// Sound that finds no room is silence.
void MicrophoneRecorder::hear(const SoundBlock& block) {
    (void)queue_.offer([this, hostTime = block.hostTime,
                        samples = std::vector<float>(block.samples.begin(), block.samples.end())] {
        track_.line().add({samples, hostTime}, pauses_);
    });
}

void MicrophoneRecorder::keepGoing(Seconds now) {
    SoundAligner& line = track_.line();
    if (!line.hasBegun()) return;
    const Seconds timeout = isHearing_ ? kSilenceTimeout : kSilenceStep;
    if (now - line.reached() > timeout) line.fillTo(now - (timeout - kSilenceStep), pauses_);
}

} // namespace glintro
