#include "sample/Icons.h"

#include <numbers>
#include <sstream>
#include <string>

namespace glintro::sample {
namespace {

// M x y and L x y move and draw, C is a cubic curve, Z closes; O cx cy r is a circle, R x y w h r a rounded
// rectangle, D cx cy r a filled dot.
const char* strokes(Icon icon) {
    switch (icon) {
        case Icon::board:
            return "R 3.5 4 7 16 1.8 R 13.5 4 7 10 1.8";
        case Icon::inbox:
            return "M 3.5 13 L 6.5 5 L 17.5 5 L 20.5 13 L 20.5 19 L 3.5 19 Z M 3.5 13 L 8.5 13 L 10 16 L 14 "
                   "16 L 15.5 13 "
                   "L 20.5 13";
        case Icon::insights:
            return "M 4 20 L 20 20 M 7 16 L 7 11 M 12 16 L 12 5 M 17 16 L 17 8";
        case Icon::calendar:
            return "R 3.5 5 17 15.5 2.5 M 3.5 10 L 20.5 10 M 8 3 L 8 6.5 M 16 3 L 16 6.5";
        case Icon::files:
            return "M 3.5 6 L 9.5 6 L 11.5 8.5 L 20.5 8.5 L 20.5 19 L 3.5 19 Z";
        case Icon::search:
            return "O 10.5 10.5 6.5 M 15.5 15.5 L 20.5 20.5";
        case Icon::filter:
            return "M 4 7 L 20 7 M 7 12 L 17 12 M 10 17 L 14 17";
        case Icon::plus:
            return "M 12 5 L 12 19 M 5 12 L 19 12";
        case Icon::check:
            return "M 5 12.5 L 10 17.5 L 19 7";
        case Icon::close:
            return "M 6 6 L 18 18 M 18 6 L 6 18";
        case Icon::minimise:
            return "M 6 12 L 18 12";
        case Icon::maximise:
            return "R 6.5 6.5 11 11 1.5";
        case Icon::clock:
            return "O 12 12 8.5 M 12 7 L 12 12 L 15.5 14";
        case Icon::comment:
            return "M 4 5.5 L 20 5.5 L 20 16.5 L 12 16.5 L 8 20 L 8 16.5 L 4 16.5 Z";
        case Icon::network:
            return "M 3 9.5 C 8 4.5 16 4.5 21 9.5 M 6.5 13.2 C 9.5 10.2 14.5 10.2 17.5 13.2 D 12 17.5 1.6";
        case Icon::battery:
            return "R 2.5 7.5 17 9 2.5 M 22 10.5 L 22 13.5 R 5 10 9 4 0.6";
        case Icon::sound:
            return "M 4 9.5 L 8 9.5 L 13 5 L 13 19 L 8 14.5 L 4 14.5 Z M 16.5 9 C 18.5 11 18.5 13 16.5 15";
        case Icon::flag:
            return "M 6 21 L 6 4 L 18 4 L 15.5 8.5 L 18 13 L 6 13";
        case Icon::more:
            return "D 6 12 1.5 D 12 12 1.5 D 18 12 1.5";
    }
    return "";
}

void traceCommand(cairo_t* context, char command, std::istringstream& path) {
    double n[6] = {};
    const auto read = [&](int count) {
        for (int i = 0; i < count; ++i) path >> n[i];
    };
    switch (command) {
        case 'M':
            read(2);
            cairo_move_to(context, n[0], n[1]);
            break;
        case 'L':
            read(2);
            cairo_line_to(context, n[0], n[1]);
            break;
        case 'C':
            read(6);
            cairo_curve_to(context, n[0], n[1], n[2], n[3], n[4], n[5]);
            break;
        case 'Z':
            cairo_close_path(context);
            break;
        case 'R':
            read(5);
            traceRounded(context, {n[0], n[1], n[2], n[3]}, n[4]);
            break;
        case 'O':
        case 'D':
            read(3);
            if (command == 'D') cairo_stroke(context);
            cairo_new_sub_path(context);
            cairo_arc(context, n[0], n[1], n[2], 0, 2 * std::numbers::pi);
            if (command == 'D') cairo_fill(context);
            break;
        default:
            break;
    }
}

} // namespace

void drawIcon(Canvas& canvas, Icon icon, Point centre, double size, Colour colour, double lineWidth) {
    cairo_t* context = canvas.context();
    canvas.save();
    cairo_translate(context, centre.x - size / 2, centre.y - size / 2);
    cairo_scale(context, size / 24, size / 24);
    cairo_set_source_rgba(context, colour.red, colour.green, colour.blue, colour.alpha);
    cairo_set_line_width(context, lineWidth * 24 / size);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    std::istringstream path(strokes(icon));
    cairo_new_path(context);
    for (char command = 0; path >> command;) traceCommand(context, command, path);
    cairo_stroke(context);
    canvas.restore();
}

} // namespace glintro::sample
