#include "sample/Canvas.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include <fmt/format.h>
#include <pango/pangocairo.h>

namespace glintro::sample {
namespace {

// Capitals of Inter are 0.727 em high; this is half of it.
constexpr double kHalfCapitalHeight = 0.364;
constexpr std::size_t kMostMasks = 4000;

template <class T>
struct ObjectDeleter {
    void operator()(T* object) const { g_object_unref(object); }
};
template <class T>
using ObjectPtr = std::unique_ptr<T, ObjectDeleter<T>>;

struct FontDeleter {
    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
using FontPtr = std::unique_ptr<PangoFontDescription, FontDeleter>;

double points(int pangoUnits) {
    return static_cast<double>(pangoUnits) / PANGO_SCALE;
}

// One box blur along a line of samples `step` bytes apart, edges treated as empty.
void boxBlurLine(std::uint8_t* line, int count, std::ptrdiff_t step, int radius,
                 std::vector<std::uint8_t>& copy) {
    for (int i = 0; i < count; ++i) copy[static_cast<std::size_t>(i)] = line[i * step];
    const int width = 2 * radius + 1;
    int sum = 0;
    for (int i = 0; i < std::min(radius, count); ++i) sum += copy[static_cast<std::size_t>(i)];
    for (int i = 0; i < count; ++i) {
        const int enters = i + radius;
        const int leaves = i - radius - 1;
        if (enters < count) sum += copy[static_cast<std::size_t>(enters)];
        if (leaves >= 0) sum -= copy[static_cast<std::size_t>(leaves)];
        line[i * step] = static_cast<std::uint8_t>(sum / width);
    }
}

// Three box blurs come close to a Gaussian of about 1.7 times the radius.
void softenMask(cairo_surface_t* mask, int radius) {
    cairo_surface_flush(mask);
    std::uint8_t* data = cairo_image_surface_get_data(mask);
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(mask);
    const int width = cairo_image_surface_get_width(mask);
    const int height = cairo_image_surface_get_height(mask);
    std::vector<std::uint8_t> copy(static_cast<std::size_t>(std::max(width, height)));
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < height; ++y) boxBlurLine(data + y * stride, width, 1, radius, copy);
        for (int x = 0; x < width; ++x) boxBlurLine(data + x, height, stride, radius, copy);
    }
    cairo_surface_mark_dirty(mask);
}

} // namespace

void traceRounded(cairo_t* context, const Rect& area, double radius) {
    const double r = std::min({radius, area.width / 2, area.height / 2});
    const double right = area.x + area.width;
    const double bottom = area.y + area.height;
    constexpr double quarter = std::numbers::pi / 2;
    cairo_new_sub_path(context);
    cairo_arc(context, right - r, area.y + r, r, -quarter, 0);
    cairo_arc(context, right - r, bottom - r, r, 0, quarter);
    cairo_arc(context, area.x + r, bottom - r, r, quarter, 2 * quarter);
    cairo_arc(context, area.x + r, area.y + r, r, 2 * quarter, 3 * quarter);
    cairo_close_path(context);
}

struct Canvas::Fonts {
    ObjectPtr<PangoFontMap> map{pango_cairo_font_map_new()};
    ObjectPtr<PangoContext> context{pango_font_map_create_context(map.get())};

    ObjectPtr<PangoLayout> layout(std::string_view text, const TextStyle& style) const {
        ObjectPtr<PangoLayout> layout(pango_layout_new(context.get()));
        const FontPtr font(pango_font_description_from_string("Inter, Sans"));
        pango_font_description_set_weight(font.get(), static_cast<PangoWeight>(style.weight));
        pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
        pango_layout_set_font_description(layout.get(), font.get());
        pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
        if (style.maxWidth > 0) {
            pango_layout_set_width(layout.get(), static_cast<int>(style.maxWidth * PANGO_SCALE));
            pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
            pango_layout_set_height(layout.get(), -style.lines);
            pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
            pango_layout_set_line_spacing(layout.get(), 1.12F);
        }
        return layout;
    }
};

Canvas::Canvas(PixelSize pixels, double scale)
    : size_(pixels),
      scale_(scale),
      surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels.width, pixels.height)),
      context_(cairo_create(surface_.get())),
      fonts_(std::make_unique<Fonts>()) {
    cairo_scale(context_.get(), scale, scale);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(fonts_->context.get(), options);
    cairo_font_options_destroy(options);
}

Canvas::~Canvas() = default;

const unsigned char* Canvas::pixels() {
    cairo_surface_flush(surface_.get());
    return cairo_image_surface_get_data(surface_.get());
}

int Canvas::strideBytes() const {
    return cairo_image_surface_get_stride(surface_.get());
}

Rect Canvas::snapped(const Rect& area) const {
    const double left = std::round(area.x * scale_) / scale_;
    const double top = std::round(area.y * scale_) / scale_;
    const double right = std::round((area.x + area.width) * scale_) / scale_;
    const double bottom = std::round((area.y + area.height) * scale_) / scale_;
    return {left, top, right - left, bottom - top};
}

void Canvas::clip(const Rect& area) {
    const Rect r = snapped(area);
    cairo_rectangle(context_.get(), r.x, r.y, r.width, r.height);
    cairo_clip(context_.get());
}

bool Canvas::visible(const Rect& area) const {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
    cairo_clip_extents(context_.get(), &left, &top, &right, &bottom);
    return area.x < right && area.x + area.width > left && area.y < bottom && area.y + area.height > top;
}

void Canvas::beginLayer() {
    cairo_push_group(context_.get());
}

void Canvas::endLayer(double opacity) {
    cairo_pop_group_to_source(context_.get());
    cairo_paint_with_alpha(context_.get(), opacity);
}

void Canvas::setColour(Colour c) {
    cairo_set_source_rgba(context_.get(), c.red, c.green, c.blue, c.alpha);
}

void Canvas::fill(const Rect& area, Colour colour) {
    const Rect r = snapped(area);
    setColour(colour);
    cairo_rectangle(context_.get(), r.x, r.y, r.width, r.height);
    cairo_fill(context_.get());
}

void Canvas::fillRounded(const Rect& area, double radius, Colour colour) {
    setColour(colour);
    traceRounded(context_.get(), snapped(area), radius);
    cairo_fill(context_.get());
}

void Canvas::strokeRounded(const Rect& area, double radius, Colour colour, double width) {
    const double thickness = std::max(1.0, std::round(width * scale_)) / scale_;
    const Rect r = snapped(area);
    const double half = thickness / 2;
    setColour(colour);
    traceRounded(context_.get(), {r.x + half, r.y + half, r.width - thickness, r.height - thickness},
                 std::max(0.0, radius - half));
    cairo_set_line_width(context_.get(), thickness);
    cairo_stroke(context_.get());
}

void Canvas::circle(Point centre, double radius, Colour colour) {
    setColour(colour);
    cairo_new_sub_path(context_.get());
    cairo_arc(context_.get(), centre.x, centre.y, radius, 0, 2 * std::numbers::pi);
    cairo_fill(context_.get());
}

void Canvas::dropShadow(const Rect& area, double radius, double blur, double drop, double opacity) {
    const Rect r = snapped(area);
    const int width = static_cast<int>(std::lround(r.width * scale_));
    const int height = static_cast<int>(std::lround(r.height * scale_));
    if (width <= 0 || height <= 0) return;
    paintMask(shadowMask(width, height, radius, blur), {r.x, r.y + drop}, rgb(0x16323A).withAlpha(opacity));
}

const Canvas::Mask& Canvas::shadowMask(int width, int height, double radius, double blur) {
    const std::string key = fmt::format("shadow {} {} {} {}", width, height, radius, blur);
    if (const auto known = masks_.find(key); known != masks_.end()) return known->second;
    const int boxRadius = std::max(1, static_cast<int>(std::lround(blur * scale_ / 1.7)));
    const int margin = 3 * boxRadius + 2;
    Mask mask{
        SurfacePtr(cairo_image_surface_create(CAIRO_FORMAT_A8, width + 2 * margin, height + 2 * margin)),
        -margin, -margin, 0, 0};
    const ContextPtr context(cairo_create(mask.surface.get()));
    traceRounded(context.get(),
                 {static_cast<double>(margin), static_cast<double>(margin), static_cast<double>(width),
                  static_cast<double>(height)},
                 radius * scale_);
    cairo_fill(context.get());
    softenMask(mask.surface.get(), boxRadius);
    return masks_.emplace(key, std::move(mask)).first->second;
}

const Canvas::Mask& Canvas::textMask(std::string_view text, const TextStyle& style) {
    const std::string key =
        fmt::format("{} {} {:.2f} {} {}", style.size, style.weight, style.maxWidth, style.lines, text);
    if (const auto known = masks_.find(key); known != masks_.end()) return known->second;
    if (masks_.size() >= kMostMasks) masks_.clear();
    const ObjectPtr<PangoLayout> layout = fonts_->layout(text, style);
    PangoRectangle ink{};
    PangoRectangle logical{};
    pango_layout_get_extents(layout.get(), &ink, &logical);
    const double baseline = points(pango_layout_get_baseline(layout.get()));
    Mask mask;
    mask.width = points(logical.x + logical.width);
    mask.height = points(logical.height);
    mask.left = static_cast<int>(std::floor(points(ink.x) * scale_)) - 1;
    mask.top = static_cast<int>(std::floor((points(ink.y) - baseline) * scale_)) - 1;
    const int width = static_cast<int>(std::ceil(points(ink.width) * scale_)) + 4;
    const int height = static_cast<int>(std::ceil(points(ink.height) * scale_)) + 4;
    mask.surface.reset(cairo_image_surface_create(CAIRO_FORMAT_A8, width, height));
    const ContextPtr context(cairo_create(mask.surface.get()));
    cairo_translate(context.get(), -mask.left, -mask.top);
    cairo_scale(context.get(), scale_, scale_);
    cairo_move_to(context.get(), 0, -baseline);
    // Outlines rather than glyph images: cairo 1.16 sets those on whole pixels, which spoils the letter
    // spacing.
    pango_cairo_layout_path(context.get(), layout.get());
    cairo_fill(context.get());
    return masks_.emplace(key, std::move(mask)).first->second;
}

void Canvas::paintMask(const Mask& mask, Point anchor, Colour colour) {
    double x = anchor.x;
    double y = anchor.y;
    cairo_user_to_device(context_.get(), &x, &y);
    save();
    cairo_identity_matrix(context_.get());
    setColour(colour);
    cairo_mask_surface(context_.get(), mask.surface.get(), std::round(x) + mask.left,
                       std::round(y) + mask.top);
    restore();
}

void Canvas::text(std::string_view text, Point anchor, const TextStyle& style) {
    if (text.empty()) return;
    const Mask& mask = textMask(text, style);
    const double shift = style.align == Align::left    ? 0
                         : style.align == Align::right ? mask.width
                                                       : mask.width / 2;
    paintMask(mask, {anchor.x - shift, anchor.y + kHalfCapitalHeight * style.size}, style.colour);
}

double Canvas::textWidth(std::string_view text, const TextStyle& style) {
    return text.empty() ? 0 : textMask(text, style).width;
}

double Canvas::textHeight(std::string_view text, const TextStyle& style) {
    return text.empty() ? 0 : textMask(text, style).height;
}

} // namespace glintro::sample
