#pragma once

#include "app/library/ReelThumbnails.h"
#include "app/pictures/ReelPictures.h"

namespace glintro {

// Joins a library's thumbnails with who makes pictures of reels: what a library asks for goes to `pictures`,
// which outlives it, and what is ready comes back. Main thread.
//
//   Library library({.pictures = pictureMaker(pictures), ...});
//   connectPictures(pictures, *library.thumbnails());
PictureMaker pictureMaker(ReelPictures& pictures);
void connectPictures(ReelPictures& pictures, ReelThumbnails& thumbnails);

} // namespace glintro
