#include "sample/CameraRoom.h"

#include <algorithm>
#include <cstddef>
#include <numbers>

#include "sample/Random.h"

namespace glintro::sample {
namespace {

void paintShelf(cairo_t* context) {
    constexpr Colour spines[] = {rgb(0x8FA7A4), rgb(0xC98A63), rgb(0xE3D6C3),
                                 rgb(0x6E8791), rgb(0xB5655A), rgb(0xD9B77E)};
    for (const double y : {250.0, 420.0}) {
        double x = 880;
        for (int i = 0; x < 1210; ++i) {
            const double width = 18 + (i * 7 % 5) * 5;
            const double height = 84 + (i * 11 % 6) * 9;
            fillRect(context, {x, y - height, width, height}, spines[(i * 5 + (y > 300 ? 2 : 0)) % 6]);
            x += width + (i % 4 == 3 ? 34 : 3);
        }
        fillRect(context, {850, y, 390, 13}, rgb(0x9B7558));
    }
}

void paintPlant(cairo_t* context) {
    fillRect(context, {148, 560, 104, 130}, rgb(0xB97F5E));
    for (int i = 0; i < 9; ++i) {
        cairo_save(context);
        cairo_translate(context, 200, 560);
        cairo_rotate(context, (i - 4) * 0.27);
        ellipse(context, {0, -105.0 - (i % 3) * 26}, 24, 92);
        setSource(context, i % 2 == 0 ? rgb(0x5C8A6B) : rgb(0x47745A));
        cairo_fill(context);
        cairo_restore(context);
    }
}

// A camera's grain, which also keeps the soft gradients from banding.
void addGrain(cairo_surface_t* surface) {
    cairo_surface_flush(surface);
    unsigned char* data = cairo_image_surface_get_data(surface);
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface);
    Random random(1);
    for (int y = 0; y < cairo_image_surface_get_height(surface); ++y) {
        for (int x = 0; x < cairo_image_surface_get_width(surface); ++x) {
            const int grain = random.index(5) - 2;
            for (int channel = 0; channel < 3; ++channel) {
                unsigned char& value = data[y * stride + std::ptrdiff_t{4} * x + channel];
                value = static_cast<unsigned char>(std::clamp(value + grain, 0, 255));
            }
        }
    }
    cairo_surface_mark_dirty(surface);
}

} // namespace

void setSource(cairo_t* context, Colour c) {
    cairo_set_source_rgba(context, c.red, c.green, c.blue, c.alpha);
}

void ellipse(cairo_t* context, Point middle, double across, double down) {
    cairo_save(context);
    cairo_translate(context, middle.x, middle.y);
    cairo_scale(context, across, down);
    cairo_new_sub_path(context);
    cairo_arc(context, 0, 0, 1, 0, 2 * std::numbers::pi);
    cairo_restore(context);
}

void fillRect(cairo_t* context, Rect area, Colour colour) {
    cairo_rectangle(context, area.x, area.y, area.width, area.height);
    setSource(context, colour);
    cairo_fill(context);
}

void glow(cairo_t* context, Point middle, double radius, Colour colour) {
    const PatternPtr shade(cairo_pattern_create_radial(middle.x, middle.y, 0, middle.x, middle.y, radius));
    cairo_pattern_add_color_stop_rgba(shade.get(), 0, colour.red, colour.green, colour.blue, colour.alpha);
    cairo_pattern_add_color_stop_rgba(shade.get(), 0.5, colour.red, colour.green, colour.blue,
                                      colour.alpha * 0.35);
    cairo_pattern_add_color_stop_rgba(shade.get(), 1, colour.red, colour.green, colour.blue, 0);
    cairo_set_source(context, shade.get());
    cairo_rectangle(context, middle.x - radius, middle.y - radius, 2 * radius, 2 * radius);
    cairo_fill(context);
}

SurfacePtr blurredRoom(PixelSize size) {
    constexpr int reduction = 18;
    // Drawn small and enlarged, everything is soft.
    SurfacePtr small(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, size.width / reduction, size.height / reduction));
    const ContextPtr context(cairo_create(small.get()));
    cairo_scale(context.get(), 1.0 / reduction, 1.0 / reduction);
    fillRect(context.get(), {0, 0, 1300, 740}, rgb(0xD8CDBF));
    fillRect(context.get(), {60, 40, 300, 360}, rgb(0xF7F4EA));
    fillRect(context.get(), {205, 40, 12, 360}, rgb(0xCFC2B1));
    fillRect(context.get(), {60, 215, 300, 12}, rgb(0xCFC2B1));
    paintShelf(context.get());
    paintPlant(context.get());
    glow(context.get(), {210, 200}, 620, rgb(0xFFF6DD).withAlpha(0.55));
    glow(context.get(), {1120, 640}, 560, rgb(0x5A463B).withAlpha(0.4));
    cairo_surface_flush(small.get());

    SurfacePtr room(cairo_image_surface_create(CAIRO_FORMAT_RGB24, size.width, size.height));
    const ContextPtr enlarge(cairo_create(room.get()));
    cairo_scale(enlarge.get(), reduction * 1.04,
                reduction * 1.04); // a little more than the frame, so no edge shows
    cairo_translate(enlarge.get(), -1, -0.8);
    cairo_set_source_surface(enlarge.get(), small.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(enlarge.get()), CAIRO_FILTER_BILINEAR);
    cairo_pattern_set_extend(cairo_get_source(enlarge.get()), CAIRO_EXTEND_PAD);
    cairo_paint(enlarge.get());
    addGrain(room.get());
    return room;
}

SurfacePtr windowLight(PixelSize size) {
    SurfacePtr light(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size.width, size.height));
    const ContextPtr context(cairo_create(light.get()));
    glow(context.get(), {180, 60}, 1000, rgb(0xFFF3D6).withAlpha(0.2));
    return light;
}

} // namespace glintro::sample
