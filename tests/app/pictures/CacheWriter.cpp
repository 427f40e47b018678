// Writes pictures of four subjects into a cache until it is killed.
//
//   cache_writer FOLDER

#include <QCoreApplication>

#include "tests/app/pictures/CachePictures.h"

int main(int argc, char** argv) {
    using namespace glintro;
    const QCoreApplication application(argc, argv);
    if (argc != 2) return 2;
    PictureCache cache(argv[1]);
    for (int i = 0;; ++i) cache.store(test::keyOf(i % 4, i / 4 % 3), {test::pictureOf(i / 4 % 3)});
}
