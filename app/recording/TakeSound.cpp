#include "app/recording/TakeSound.h"

#include <utility>

namespace glintro {

// A gap in the sound is heard, and a second of sound is small: it is queued without limit. A disk that stalls
// for some seconds ends the take.
TakeSound::TakeSound(LiveMovieWriter& writer, std::function<void(const Failure&)> failed)
    : writer_(writer),
      failed_(std::move(failed)),
      aligner_([this](std::span<const float> samples) {
          encoding_.post([this, copy = std::vector<float>(samples.begin(), samples.end())]() mutable {
              write(std::move(copy));
          });
      }),
      encoding_(0) {}

void TakeSound::flush() {
    encoding_.run([] {});
}

void TakeSound::write(std::vector<float> samples) {
    if (hasFailed_) return;
    const auto result = writer_.writeAudio(samples);
    if (result) return;
    hasFailed_ = true;
    failed_(result.error());
}

} // namespace glintro
