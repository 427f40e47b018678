#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "core/base/Geometry.h"
#include "core/raster/Picture.h"

namespace glintro {

// A finished picture of the reel and the moment that it shows.
struct PlayerPicture {
    std::shared_ptr<const BgraImage> image; // null before the first picture
    Seconds compositionTime = 0;
    Seconds sourceTime = 0;
    // False for a nearby picture that stands in while one scrubs, until the exact one is there.
    bool isExact = true;
};

// Hands the newest picture to whoever shows it; older ones are let go. Any thread, and nobody waits longer
// than a copy of this small record.
class FrameMailbox {
  public:
    void put(PlayerPicture picture) {
        {
            const std::scoped_lock lock(mutex_);
            std::swap(picture, newest_);
        }
        // The old picture goes here, outside the lock.
    }
    PlayerPicture newest() const {
        const std::scoped_lock lock(mutex_);
        return newest_;
    }
    void clear() { put({}); }

  private:
    mutable std::mutex mutex_;
    PlayerPicture newest_; // guarded by mutex_
};

} // namespace glintro
