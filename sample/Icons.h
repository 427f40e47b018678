#pragma once

#include "sample/Canvas.h"

namespace glintro::sample {

enum class Icon {
    board,
    inbox,
    insights,
    calendar,
    files,
    search,
    filter,
    plus,
    check,
    close,
    minimise,
    maximise,
    clock,
    comment,
    network,
    battery,
    sound,
    flag,
    more,
};

// A line drawing on a 24 x 24 grid, fitted into a square of `size` points around `centre`.
void drawIcon(Canvas& canvas, Icon icon, Point centre, double size, Colour colour, double lineWidth = 1.6);

} // namespace glintro::sample
