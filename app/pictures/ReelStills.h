#pragma once

#include <QImage>
#include <QList>
#include <stop_token>

#include "app/pictures/WallpaperMemo.h"
#include "core/reel/Project.h"

namespace glintro {

// How many pictures of which size, in pixels.
struct ScrubShape {
    int frames = 0;
    int width = 0; // at most
};

// The reel's card: a still with its own settings, as exports draw it. One picture. Not for the main thread.
[[nodiscard]] Result<QList<QImage>> drawCard(const Project& project, int longSide, WallpaperMemo& wallpaper,
                                             const std::stop_token& stop);

// Frames of the recording as it was filmed, each from within 0.1 s of the middle of an equal part of its
// length. Looks at `stop` between two frames. Not for the main thread.
[[nodiscard]] Result<QList<QImage>> grabScrubFrames(const Project& project, const ScrubShape& shape,
                                                    const std::stop_token& stop);

} // namespace glintro
