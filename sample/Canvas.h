#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <cairo.h>

#include "core/base/Geometry.h"
#include "sample/Theme.h"

namespace glintro::sample {

struct SurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using SurfacePtr = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

struct ContextDeleter {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using ContextPtr = std::unique_ptr<cairo_t, ContextDeleter>;

struct PatternDeleter {
    void operator()(cairo_pattern_t* pattern) const { cairo_pattern_destroy(pattern); }
};
using PatternPtr = std::unique_ptr<cairo_pattern_t, PatternDeleter>;

// Adds a rectangle with round corners to the path.
void traceRounded(cairo_t* context, const Rect& area, double radius);

enum class Align { left, centre, right };

struct TextStyle {
    double size = 13;
    int weight = 400;
    Colour colour = theme::kInk;
    double maxWidth = 0; // points; longer text is cut with an ellipsis; 0 is unlimited
    int lines = 1;       // wrapped within maxWidth to at most this many
    Align align = Align::left;
};

// Draws in points on a surface of pixels, `scale` pixels to the point. Edges are laid on whole pixels, so
// lines and text stay crisp at every scale; text and shadows are rendered once and kept as masks.
class Canvas {
  public:
    Canvas(PixelSize pixels, double scale);
    ~Canvas();

    PixelSize size() const { return size_; }
    double scale() const { return scale_; }
    // Rows of B, G, R, unused; valid until the next drawing call.
    const unsigned char* pixels();
    int strideBytes() const;
    cairo_t* context() { return context_.get(); }

    void clip(const Rect& area); // within the clip there is; undone by restore()
    void save() { cairo_save(context_.get()); }
    void restore() { cairo_restore(context_.get()); }
    bool visible(const Rect& area) const; // whether any of it lies inside the clip

    // What is drawn between the two appears as one layer at this opacity.
    void beginLayer();
    void endLayer(double opacity);

    void fill(const Rect& area, Colour colour);
    void fillRounded(const Rect& area, double radius, Colour colour);
    void strokeRounded(const Rect& area, double radius, Colour colour, double width = 1);
    void circle(Point centre, double radius, Colour colour);
    void dropShadow(const Rect& area, double radius, double blur, double drop, double opacity);

    // `anchor.y` is the middle of the first line's capitals; `anchor.x` its left end, middle or right end.
    void text(std::string_view text, Point anchor, const TextStyle& style);
    double textWidth(std::string_view text, const TextStyle& style);
    double textHeight(std::string_view text, const TextStyle& style);

  private:
    struct Mask {
        SurfacePtr surface; // 8-bit coverage in pixels
        int left = 0;       // from the anchor to the mask's corner, in pixels
        int top = 0;
        double width = 0; // points
        double height = 0;
    };
    Rect snapped(const Rect& area) const;
    void setColour(Colour colour);
    const Mask& textMask(std::string_view text, const TextStyle& style);
    const Mask& shadowMask(int width, int height, double radius, double blur);
    void paintMask(const Mask& mask, Point anchor, Colour colour);

    PixelSize size_;
    double scale_;
    SurfacePtr surface_;
    ContextPtr context_;
    struct Fonts;
    std::unique_ptr<Fonts> fonts_;
    std::unordered_map<std::string, Mask> masks_;
};

} // namespace glintro::sample
