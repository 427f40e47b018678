#pragma once

#include <vector>

#include "app/recording/SerialQueue.h"
#include "app/recording/SoundAligner.h"
#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// The microphone's sound on its way into the movie: aligned on the caller's thread and encoded on one of its
// own, so that a slow disk never delays the caller. One thread at a time.
class TakeSound {
  public:
    // `failed` is called at most once, on the encoding thread. The writer must outlive this.
    TakeSound(LiveMovieWriter& writer, std::function<void(const Failure&)> failed);

    SoundAligner& line() { return aligner_; }
    // Waits until all that was aligned is written.
    void flush();

  private:
    void write(std::vector<float> samples);

    LiveMovieWriter& writer_;
    std::function<void(const Failure&)> failed_;
    bool hasFailed_ = false; // of the encoding thread
    SoundAligner aligner_;
    SerialQueue encoding_; // last: its thread uses all of the above
};

} // namespace glintro
