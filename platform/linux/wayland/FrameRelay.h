#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/RowSet.h"
#include "platform/ScreenStream.h"
#include "platform/linux/wayland/CastPicture.h"

namespace glintro {

// Turns the compositor's pictures, which come when it likes, into the frames a stream promises: copies each
// at once, hands on at most so many a second, the newest one always in the end, and the last one again after
// a second of silence. Knows no clock and no thread: the caller tells the time and comes back when it is due.
class FrameRelay {
  public:
    FrameRelay();

    // Before begin() only the newest picture is kept.
    void take(const CastPicture& picture);
    void begin(const StreamConfiguration& configuration, StreamHandlers handlers, Seconds now);
    void end();

    // Hands on what is due at `now`, and returns when to call again; nothing when that cannot be said before
    // the next picture.
    std::optional<Seconds> deliver(Seconds now);

    // The size of the newest picture; 0 x 0 before the first.
    PixelSize size() const { return newest_.size; }

  private:
    class Pool;
    struct Picture {
        PixelSize size;
        std::shared_ptr<std::vector<std::uint8_t>> pixels;
        Seconds hostTime = 0;
        RowSet changed; // against the last one handed on
    };

    void hand(const Picture& picture, Seconds time, const RowSet& changed);
    bool handNewest();

    std::shared_ptr<Pool> pool_;
    Picture newest_; // its pixels are written while it waits, and given away when it is handed on
    bool waits_ = false;
    bool wasCounted_ = false; // as dropped
    Picture last_;            // what was handed on last
    bool runs_ = false;
    StreamHandlers handlers_;
    Seconds period_ = 0;
    Seconds nextSlot_ = 0;
    Seconds lastHanded_ = 0;
    Seconds lastTime_ = 0;
};

} // namespace glintro
