#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/RowSet.h"
#include "platform/ScreenStream.h"
#include "platform/linux/wayland/CastPicture.h"

namespace glintro {

// Paces the compositor's pictures, which come when it likes, into the frames a stream promises: at most so
// many a second, the newest one always in the end, and the last one again after a second of silence. Copies
// of each picture only the rows that its buffer does not hold yet. Knows no clock and no thread: the caller
// tells the time and comes back when it is due.
class FramePacer {
  public:
    FramePacer();

    // Copies the picture; its damage must tell all that changed since the picture accepted before. Before
    // begin() only the newest picture is kept.
    void accept(const CastPicture& picture);
    void begin(const StreamConfiguration& configuration, StreamHandlers handlers, Seconds now);
    void end();

    // Delivers what is due at `now`, and returns when to call again; nullopt when that cannot be said before
    // the next picture.
    std::optional<Seconds> deliver(Seconds now);

    // The size of the newest picture; 0 x 0 before the first.
    PixelSize size() const { return newest_.size; }
    // How many rows have been copied in all.
    std::int64_t copiedRows() const { return copiedRows_; }

  private:
    struct Buffer;
    class Pool;
    struct Picture {
        PixelSize size;
        std::shared_ptr<Buffer> buffer;
        Seconds hostTime = 0;
        RowSet changed; // against the last one delivered
    };

    void copy(const CastPicture& picture, const RowSet& damage);
    void hand(const Picture& picture, Seconds time, const RowSet& changed);
    bool handNewest();

    std::shared_ptr<Pool> pool_;
    Picture newest_; // its buffer is written while it waits, and given away when it is delivered
    bool isWaiting_ = false;
    bool wasCounted_ = false; // as dropped
    Picture last_;            // what was delivered last
    bool isRunning_ = false;
    StreamHandlers handlers_;
    Seconds period_ = 0;
    Seconds nextSlot_ = 0;
    Seconds lastHanded_ = 0;
    Seconds lastTime_ = 0;
    std::int64_t copiedRows_ = 0;
};

} // namespace glintro
