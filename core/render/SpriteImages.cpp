#include <algorithm>
#include <memory>
#include <numbers>

#include <cairo.h>

#include "core/raster/Blur.h"
#include "core/render/Sprite.h"

namespace glintro {
namespace {

struct Destroy {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Context = std::unique_ptr<cairo_t, Destroy>;
using Surface = std::unique_ptr<cairo_surface_t, Destroy>;

constexpr double kShadowOffset = 4;
// A shadow's blur is twice its standard deviation.
constexpr double kShadowSigma = 9.0 / 2;
constexpr float kShadowAlpha = 0.45F;

// A cairo drawing over the pixels of an image: premultiplied BGRA is cairo's own ARGB32 on little-endian
// machines.
template <class Draw>
void paint(BgraImage& image, Draw draw) {
    const Surface surface(cairo_image_surface_create_for_data(image.pixels.data(), CAIRO_FORMAT_ARGB32,
                                                              image.size.width, image.size.height,
                                                              static_cast<int>(image.rowBytes())));
    const Context context(cairo_create(surface.get()));
    draw(context.get());
    cairo_surface_flush(surface.get());
}

void arrowPath(cairo_t* context) {
    cairo_move_to(context, kCursorTip.x, kCursorTip.y);
    constexpr Point kCorners[] = {{18, 119.6},     {43.08, 97.16}, {58.92, 134.12},
                                  {76.08, 126.86}, {60.24, 90.56}, {93.24, 90.56}};
    for (const Point corner : kCorners) cairo_line_to(context, corner.x, corner.y);
    cairo_close_path(context);
}

void drawOutline(cairo_t* context) {
    arrowPath(context);
    cairo_set_source_rgb(context, 1, 1, 1);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(context, 15);
    cairo_fill_preserve(context);
    cairo_stroke(context);
}

void drawBody(cairo_t* context) {
    arrowPath(context);
    cairo_set_source_rgb(context, 0.04, 0.04, 0.04);
    cairo_set_fill_rule(context, CAIRO_FILL_RULE_WINDING);
    cairo_fill(context);
}

// Black, with the outline's alpha blurred: only the alpha bytes are set, black premultiplied is 0.
BgraImage arrowShadow(PixelSize size) {
    BgraImage outline(size);
    paint(outline, drawOutline);
    FloatPlane alpha(size.width, size.height);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            alpha.row(y)[x] =
                y < kShadowOffset ? 0.0F : outline.row(y - static_cast<int>(kShadowOffset))[4 * x + 3];
    gaussianBlur(alpha, kShadowSigma);

    BgraImage shadow(size);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            shadow.row(y)[4 * x + 3] = static_cast<std::uint8_t>(alpha.row(y)[x] * kShadowAlpha + 0.5F);
    return shadow;
}

BgraImage makeCursorImage() {
    BgraImage image = arrowShadow({120, 160});
    paint(image, [](cairo_t* context) {
        drawOutline(context);
        drawBody(context);
    });
    return image;
}

void circle(cairo_t* context, double inset) {
    cairo_new_path(context);
    cairo_arc(context, 128, 128, 128 - inset, 0, 2 * std::numbers::pi);
}

BgraImage makeRippleImage() {
    BgraImage image({256, 256});
    paint(image, [](cairo_t* context) {
        circle(context, 14);
        cairo_set_source_rgba(context, 0.42, 0.35, 0.99, 0.22);
        cairo_fill(context);
        circle(context, 14);
        cairo_set_source_rgba(context, 0.37, 0.30, 0.98, 0.95);
        cairo_set_line_width(context, 12);
        cairo_stroke(context);
        circle(context, 22);
        cairo_set_source_rgba(context, 1, 1, 1, 0.9);
        cairo_set_line_width(context, 4);
        cairo_stroke(context);
    });
    return image;
}

} // namespace

const BgraImage& cursorImage() {
    static const BgraImage image = makeCursorImage();
    return image;
}

const BgraImage& rippleImage() {
    static const BgraImage image = makeRippleImage();
    return image;
}

const Sprite& pointerSprite(PixelLayout layout) {
    if (layout == PixelLayout::yuv420) {
        static const Sprite planar(PixelLayout::yuv420, cursorImage());
        return planar;
    }
    static const Sprite full(PixelLayout::rgb444, cursorImage());
    return full;
}

const Sprite& rippleSprite(PixelLayout layout) {
    if (layout == PixelLayout::yuv420) {
        static const Sprite planar(PixelLayout::yuv420, rippleImage());
        return planar;
    }
    static const Sprite full(PixelLayout::rgb444, rippleImage());
    return full;
}

} // namespace glintro
