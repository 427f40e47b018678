#pragma once

#include <string>

#include "app/pictures/PictureCache.h"
#include "app/pictures/WallpaperSource.h"
#include "core/reel/Project.h"

// What the pictures of a reel depend on. Edits that do not show, such as trims, cuts, speeds, and zooms
// elsewhere in the recording, change no key.
namespace glintro {

// The moment of the recording that a card shows: a third into it, and half a second where that is later.
Seconds cardTime(Seconds duration);

// The part of a reel's record that its card shows, and its scrub frames, as texts to compare. No disk access.
std::string shownOnCard(const ProjectInfo& info);
std::string shownInScrub(const ProjectInfo& info);

// With the files that the pictures are made from, by size and time. Any thread but the main one.
PictureKey cardKey(const Project& project, const WallpaperSource& wallpaper);
PictureKey scrubKey(const Project& project);

} // namespace glintro
