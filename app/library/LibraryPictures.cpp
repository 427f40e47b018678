#include "app/library/LibraryPictures.h"

namespace glintro {

PictureMaker pictureMaker(ReelPictures& pictures) {
    return {.card = [&pictures](const Project& project) { pictures.requestCard(project); },
            .scrub = [&pictures](const Project& project) { pictures.requestScrub(project); },
            .cancel = [&pictures](const QString& folder) { pictures.cancel(folder); }};
}

void connectPictures(ReelPictures& pictures, ReelThumbnails& thumbnails) {
    QObject::connect(&pictures, &ReelPictures::cardReady, &thumbnails, &ReelThumbnails::cardReady);
    QObject::connect(&pictures, &ReelPictures::scrubReady, &thumbnails, &ReelThumbnails::scrubReady);
    QObject::connect(&pictures, &ReelPictures::scrubFailed, &thumbnails, &ReelThumbnails::scrubFailed);
}

} // namespace glintro
