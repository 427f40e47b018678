#pragma once

#include <QImage>

#include <fmt/format.h>

#include "app/pictures/PictureCache.h"

// Pictures for the tests of the cache, which their keys tell apart. Shared with the process that is killed.
namespace glintro::test {

inline PictureKey keyOf(int subject, int content) {
    return {fmt::format("card {}", subject), fmt::format("content {}", content)};
}

inline QColor colourOf(int content) {
    return {60 + content % 2 * 100, 40 + content % 7 * 25, 90};
}

// Grain makes a file some 50 kB long, so that writing it takes a while; it leaves the first row alone.
inline QImage pictureOf(int content, QSize size = {240, 160}) {
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(colourOf(content));
    for (int y = 16; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            picture.setPixelColor(x, y, QColor((x * 7919 + y * 104729 + content) % 251, x % 256, y % 256));
    return picture;
}

// By the flat part, within what JPEG does to it.
inline bool isPictureOf(const QImage& picture, int content) {
    if (picture.isNull()) return false;
    const QColor a = picture.pixelColor(4, 4);
    const QColor b = colourOf(content);
    const auto isNear = [](int one, int other) { return std::abs(one - other) <= 4; };
    return isNear(a.red(), b.red()) && isNear(a.green(), b.green()) && isNear(a.blue(), b.blue());
}

} // namespace glintro::test
