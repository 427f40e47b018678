#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "app/player/PlayClock.h"
#include "app/player/PlayerTransport.h"
#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"
#include "core/raster/Picture.h"
#include "core/timeline/TimeMap.h"

// What the player's main thread asks of the threads that make its pictures, and what they tell of them.
namespace glintro {

// The clock that pictures are due by, in seconds; called from any thread.
using HostTime = std::function<Seconds()>;

// Which pictures are wanted from now on. A newer order replaces an older one, whose pictures are not shown;
// but while one scrubs, a nearby picture that is being decoded is.
struct PictureOrder {
    enum class Kind {
        still, // the picture at `compositionTime`
        play,  // that one, then all up to `end` as the clock reaches them
    };

    Kind kind = Kind::still;
    PlayClock clock;                    // from now on
    std::shared_ptr<const TimeMap> map; // never null
    Seconds compositionTime = 0;
    SeekKind seek = SeekKind::exact; // scrubbing: a nearby picture comes before the exact one
    Seconds end = 0;                 // play: no picture starts there or later
    double rate = 1;                 // play: how fast the clock will run
};

// How pictures are to look.
struct PictureLook {
    std::shared_ptr<const ProjectSettings> settings; // null before they are known
    PixelSize view;                                  // device pixels; empty: nothing is drawn
    std::shared_ptr<const BgraImage> wallpaper;
    bool isWallpaperKnown = false; // the answer is there, even if it is that there is none
    std::uint64_t version = 0;
};

// Pictures since the opening.
struct PlayerStatistics {
    std::int64_t shown = 0;   // of playing, on time or late
    std::int64_t late = 0;    // shown more than a sixtieth of a second after their time
    std::int64_t dropped = 0; // not shown as they would have been too late
};

} // namespace glintro
