#pragma once

#include "core/model/RecordingEvents.h"
#include "sample/AppFrame.h"
#include "sample/AppPainter.h"
#include "sample/SampleReel.h"
#include "sample/SampleScript.h"

namespace glintro::sample {

// The application played from a script, one frame of the recording after the other.
class ScreenRecording {
  public:
    ScreenRecording(PixelSize size, Seconds duration, std::uint64_t seed);
    ScreenRecording(const ScreenRecording&) = delete; // its parts refer to one another
    ScreenRecording& operator=(const ScreenRecording&) = delete;

    // Brings the picture to a source time, which never goes back. Says whether it changed.
    enum class Change { none, some };
    Change advance(Seconds sourceTime);

    Canvas& canvas() { return painter_.canvas(); }
    const AppLayout& layout() const { return layout_; }
    const SampleScript& script() const { return script_; }
    RecordingEvents events() const;

  private:
    PixelSize size_;
    Seconds duration_;
    std::uint64_t seed_;
    AppLayout layout_;
    SampleScript script_;
    AppState state_;
    AppPainter painter_;
    std::size_t nextInput_ = 0;
    std::optional<AppFrame> shown_;
};

} // namespace glintro::sample
