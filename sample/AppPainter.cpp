#include "sample/AppPainter.h"

#include <cmath>

#include "sample/Painters.h"

namespace glintro::sample {
namespace {

constexpr double kWindowRadius = 12;

void cutOutWindow(cairo_surface_t* surface, const AppLayout& layout) {
    const ContextPtr context(cairo_create(surface));
    const auto pixel = [&](double points) { return std::round(points * layout.scale); };
    const Rect& w = layout.window;
    const Rect area{pixel(w.x), pixel(w.y), pixel(w.x + w.width) - pixel(w.x),
                    pixel(w.y + w.height) - pixel(w.y)};
    traceRounded(context.get(), area, kWindowRadius * layout.scale);
    cairo_set_operator(context.get(), CAIRO_OPERATOR_DEST_OUT);
    cairo_fill(context.get());
}

SurfacePtr copyOf(cairo_surface_t* source, cairo_format_t format, PixelSize size) {
    SurfacePtr copy(cairo_image_surface_create(format, size.width, size.height));
    const ContextPtr context(cairo_create(copy.get()));
    cairo_set_source_surface(context.get(), source, 0, 0);
    cairo_paint(context.get());
    return copy;
}

void paintWhole(Canvas& canvas, cairo_surface_t* surface) {
    canvas.save();
    cairo_identity_matrix(canvas.context());
    cairo_set_source_surface(canvas.context(), surface, 0, 0);
    cairo_paint(canvas.context());
    canvas.restore();
}

} // namespace

AppPainter::AppPainter(PixelSize size, const AppLayout& layout)
    : layout_(&layout), canvas_(size, layout.scale) {
    paintDesktop(canvas_, layout);
    cairo_surface_t* target = cairo_get_target(canvas_.context());
    desktop_ = copyOf(target, CAIRO_FORMAT_RGB24, size);
    frame_ = copyOf(target, CAIRO_FORMAT_ARGB32, size);
    cutOutWindow(frame_.get(), layout);
}

void AppPainter::paint(const AppState& state, const AppFrame& frame) {
    if (shown_ == frame) return;
    if (shown_) {
        for (const Rect& area : damage(*shown_, frame, *layout_)) paintArea(area, state, frame);
    } else {
        paintArea({0, 0, layout_->screen.width, layout_->screen.height}, state, frame);
    }
    shown_ = frame;
}

void AppPainter::paintArea(const Rect& area, const AppState& state, const AppFrame& frame) {
    const Scene scene{*layout_, state, frame};
    canvas_.save();
    canvas_.clip(area);
    paintWhole(canvas_, desktop_.get());
    paintTopBar(canvas_, scene);
    paintSidebar(canvas_, scene);
    paintHeaders(canvas_, scene);
    if (canvas_.visible(layout_->content)) {
        canvas_.save();
        canvas_.clip(layout_->content);
        canvas_.fill(layout_->content, theme::kPane);
        paintBoard(canvas_, scene);
        canvas_.restore();
    }
    paintLiftedCard(canvas_, scene);
    paintMenu(canvas_, scene);
    paintToast(canvas_, scene);
    paintCorners();
    paintDialog(canvas_, scene);
    canvas_.restore();
}

void AppPainter::paintCorners() {
    const Rect& w = layout_->window;
    const double r = kWindowRadius + 1;
    for (const double x : {w.x - 1, w.x + w.width - kWindowRadius}) {
        for (const double y : {w.y - 1, w.y + w.height - kWindowRadius}) {
            const Rect corner{x, y, r, r};
            if (!canvas_.visible(corner)) continue;
            canvas_.save();
            canvas_.clip(corner);
            paintWhole(canvas_, frame_.get());
            canvas_.restore();
        }
    }
    canvas_.strokeRounded(inset(w, -1), kWindowRadius + 1, rgb(0x10242B).withAlpha(0.1));
}

} // namespace glintro::sample
