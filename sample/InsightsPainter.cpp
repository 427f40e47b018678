#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "sample/Icons.h"
#include "sample/Painters.h"

namespace glintro::sample {
namespace {

constexpr double kTopValue = 8; // thousands
constexpr double kLongestShare = 0.4;

void paintTile(Canvas& canvas, const Rect& area) {
    canvas.dropShadow(area, 12, 2.5, 1, 0.08);
    canvas.fillRounded(area, 12, theme::white);
    canvas.strokeRounded(area, 12, theme::line);
}

std::string grouped(double value) {
    const long whole = std::lround(value);
    return whole < 1000 ? fmt::format("{}", whole) : fmt::format("{},{:03}", whole / 1000, whole % 1000);
}

std::string totalText(int index, double value) {
    if (index == 2) return fmt::format("€ {:.2f}", value);
    if (index == 3) return fmt::format("{:.0f} %", value);
    return grouped(value);
}

void paintTotal(Canvas& canvas, const Scene& scene, int index) {
    constexpr const char* changes[] = {"12.4 %", "8.1 %", "3.0 %", "5.6 %"};
    const Rect area = scene.layout.total(index);
    if (!canvas.visible(inset(area, -8))) return;
    paintTile(canvas, area);
    const auto i = static_cast<std::size_t>(index);
    canvas.text(totalNames()[i], {area.x + 18, area.y + 25},
                {.size = 12.5, .weight = 500, .colour = theme::muted});
    canvas.text(totalText(index, scene.frame.charts.totals[i]), {area.x + 18, area.y + 60},
                {.size = 24, .weight = 650});
    const TextStyle change{.size = 12, .weight = 600, .colour = theme::green, .align = Align::right};
    const double right = area.x + area.width - 18;
    canvas.text(changes[i], {right, area.y + 61}, change);
    drawIcon(canvas, Icon::arrowUp, {right - canvas.textWidth(changes[i], change) - 10, area.y + 61}, 13,
             theme::green, 1.8);
}

Point plotPoint(const Scene& scene, int index) {
    const Rect& plot = scene.layout.plot;
    const double value = scene.frame.charts.visits[static_cast<std::size_t>(index)];
    return {plot.x + plot.width * index / 11, plot.y + plot.height * (1 - value / kTopValue)};
}

void traceCurve(cairo_t* context, const Scene& scene) {
    Point previous = plotPoint(scene, 0);
    cairo_move_to(context, previous.x, previous.y);
    for (int i = 1; i < 12; ++i) {
        const Point next = plotPoint(scene, i);
        const double bend = (next.x - previous.x) * 0.45;
        cairo_curve_to(context, previous.x + bend, previous.y, next.x - bend, next.y, next.x, next.y);
        previous = next;
    }
}

void paintCurve(Canvas& canvas, const Scene& scene) {
    cairo_t* context = canvas.context();
    const Rect& plot = scene.layout.plot;
    traceCurve(context, scene);
    cairo_line_to(context, plot.x + plot.width, plot.y + plot.height);
    cairo_line_to(context, plot.x, plot.y + plot.height);
    cairo_close_path(context);
    const PatternPtr shade(cairo_pattern_create_linear(0, plot.y, 0, plot.y + plot.height));
    const Colour c = theme::accent;
    cairo_pattern_add_color_stop_rgba(shade.get(), 0, c.red, c.green, c.blue, 0.26);
    cairo_pattern_add_color_stop_rgba(shade.get(), 1, c.red, c.green, c.blue, 0.02);
    cairo_set_source(context, shade.get());
    cairo_fill(context);
    traceCurve(context, scene);
    cairo_set_source_rgb(context, c.red, c.green, c.blue);
    cairo_set_line_width(context, 2.4);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(context);
}

void paintAxes(Canvas& canvas, const Scene& scene) {
    const Rect& plot = scene.layout.plot;
    for (int value = 0; value <= 8; value += 2) {
        const double y = plot.y + plot.height * (1 - value / kTopValue);
        canvas.fill({plot.x, y, plot.width, 1}, value == 0 ? rgb(0xD5DBE0) : rgb(0xEDF0F2));
        canvas.text(value == 0 ? "0" : fmt::format("{}k", value), {plot.x - 14, y},
                    {.size = 11.5, .colour = theme::faint, .align = Align::right});
    }
    const Series& series = periods()[static_cast<std::size_t>(scene.frame.charts.period)];
    for (int i = 0; i < 12; ++i) {
        canvas.text(series.labels[static_cast<std::size_t>(i)],
                    {plot.x + plot.width * i / 11, plot.y + plot.height + 20},
                    {.size = 11.5, .colour = theme::faint, .align = Align::centre});
    }
}

void paintPointLabel(Canvas& canvas, const Scene& scene) {
    const int index = scene.frame.charts.point;
    if (index < 0) return;
    const Rect& plot = scene.layout.plot;
    const Point p = plotPoint(scene, index);
    canvas.fill({p.x - 0.5, plot.y, 1, plot.height}, theme::accent.withAlpha(0.35));
    canvas.circle(p, 6, theme::white);
    canvas.circle(p, 4.2, theme::accent);
    const double x = std::clamp(p.x, plot.x + 30, plot.x + plot.width - 40);
    const Rect label{x - 52, p.y - 62, 104, 44};
    canvas.dropShadow(label, 8, 5, 3, 0.25);
    canvas.fillRounded(label, 8, theme::ink);
    const Series& series = periods()[static_cast<std::size_t>(scene.frame.charts.period)];
    const auto i = static_cast<std::size_t>(index);
    canvas.text(series.labels[i], {x, label.y + 14},
                {.size = 11, .colour = rgb(0xAEBAC4), .align = Align::centre});
    canvas.text(fmt::format("{} visits", grouped(series.visits[i] * 1000)), {x, label.y + 30},
                {.size = 12.5, .weight = 600, .colour = theme::white, .align = Align::centre});
}

void paintSources(Canvas& canvas, const Scene& scene) {
    constexpr Colour colours[] = {theme::accent, theme::sky, theme::violet, theme::amber, theme::coral};
    const Rect& area = scene.layout.sources;
    paintTile(canvas, area);
    canvas.text("Where they come from", {area.x + 20, area.y + 28}, {.size = 14, .weight = 600});
    const double pitch = (area.height - 54) / 5;
    for (int i = 0; i < 5; ++i) {
        const auto n = static_cast<std::size_t>(i);
        const double y = area.y + 66 + pitch * i;
        canvas.text(sourceNames()[n], {area.x + 20, y}, {.size = 12.5, .colour = theme::muted});
        canvas.text(fmt::format("{:.0f} %", scene.frame.charts.sources[n] * 100),
                    {area.x + area.width - 20, y}, {.size = 12.5, .weight = 600, .align = Align::right});
        const Rect track{area.x + 20, y + 15, area.width - 40, 8};
        canvas.fillRounded(track, 4, theme::field);
        canvas.fillRounded(
            {track.x, track.y, std::max(8.0, track.width * scene.frame.charts.sources[n] / kLongestShare), 8},
            4, colours[i]);
    }
}

} // namespace

void paintInsights(Canvas& canvas, const Scene& scene) {
    for (int i = 0; i < 4; ++i) paintTotal(canvas, scene, i);
    if (canvas.visible(inset(scene.layout.chart, -8))) {
        const Rect& area = scene.layout.chart;
        paintTile(canvas, area);
        canvas.text("Visits", {area.x + 22, area.y + 28}, {.size = 14, .weight = 600});
        canvas.circle({area.x + area.width - 104, area.y + 28}, 4, theme::accent);
        canvas.text("Both shops", {area.x + area.width - 92, area.y + 28},
                    {.size = 12, .colour = theme::muted});
        paintAxes(canvas, scene);
        paintCurve(canvas, scene);
        paintPointLabel(canvas, scene);
    }
    if (canvas.visible(inset(scene.layout.sources, -8))) paintSources(canvas, scene);
}

} // namespace glintro::sample
