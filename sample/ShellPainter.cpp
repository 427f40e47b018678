#include <fmt/format.h>

#include "sample/Icons.h"
#include "sample/Painters.h"

namespace glintro::sample {
namespace {

void addStop(cairo_pattern_t* pattern, double offset, Colour c) {
    cairo_pattern_add_color_stop_rgba(pattern, offset, c.red, c.green, c.blue, c.alpha);
}

void paintHill(Canvas& canvas, const AppLayout& layout, double height, double swing, Colour top,
               Colour bottom) {
    cairo_t* context = canvas.context();
    const double w = layout.screen.width;
    const double h = layout.screen.height;
    const double y = h * height;
    cairo_move_to(context, 0, y);
    cairo_curve_to(context, w * 0.18, y - swing, w * 0.32, y + swing * 0.8, w * 0.52, y);
    cairo_curve_to(context, w * 0.7, y - swing * 0.7, w * 0.86, y - swing * 0.2, w, y - swing);
    cairo_line_to(context, w, h);
    cairo_line_to(context, 0, h);
    cairo_close_path(context);
    const PatternPtr shade(cairo_pattern_create_linear(0, y - swing, 0, h));
    addStop(shade.get(), 0, top);
    addStop(shade.get(), 1, bottom);
    cairo_set_source(context, shade.get());
    cairo_fill(context);
}

void paintNavItem(Canvas& canvas, const Scene& scene, int index, Icon icon, const char* label) {
    const Rect area = scene.layout.nav(index);
    const bool current = index == 0; // the board
    if (current) canvas.fillRounded(area, 8, theme::kWhite);
    if (current) canvas.strokeRounded(area, 8, theme::kLine);
    const double middle = area.y + area.height / 2;
    drawIcon(canvas, icon, {area.x + 20, middle}, 18, current ? theme::kAccent : theme::kMuted);
    canvas.text(
        label, {area.x + 40, middle},
        {.size = 13.5, .weight = current ? 600 : 500, .colour = current ? theme::kInk : theme::kMuted});
}

void paintProjects(Canvas& canvas, const Scene& scene) {
    constexpr Colour dots[] = {theme::kAccent, theme::kSky, theme::kAmber, theme::kViolet};
    const Rect first = scene.layout.project(0);
    canvas.text("PROJECTS", {first.x + 12, first.y - 18},
                {.size = 10.5, .weight = 600, .colour = theme::kFaint});
    for (int i = 0; i < 4; ++i) {
        const Rect area = scene.layout.project(i);
        const double middle = area.y + area.height / 2;
        canvas.circle({area.x + 20, middle}, 4.5, dots[i]);
        canvas.text(
            projectNames()[static_cast<std::size_t>(i)], {area.x + 40, middle},
            {.size = 13, .weight = i == 0 ? 600 : 450, .colour = i == 0 ? theme::kInk : theme::kMuted});
    }
}

void paintLogo(Canvas& canvas, Point corner) {
    canvas.fillRounded({corner.x, corner.y, 30, 30}, 8, theme::kAccent);
    cairo_t* context = canvas.context();
    cairo_set_source_rgb(context, 1, 1, 1);
    cairo_set_line_width(context, 2.4);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    for (const double y : {12.0, 18.5}) {
        cairo_move_to(context, corner.x + 7, corner.y + y);
        cairo_curve_to(context, corner.x + 12, corner.y + y - 5, corner.x + 18, corner.y + y + 5,
                       corner.x + 23, corner.y + y);
        cairo_stroke(context);
    }
}

void paintBoardSubheader(Canvas& canvas, const Scene& scene) {
    const Rect& area = scene.layout.subheader;
    const double middle = area.y + 18;
    double x = area.x + 24 + 13;
    for (const int person : {0, 1, 2, 3, 4}) {
        canvas.circle({x, middle}, 15, theme::kPane);
        paintAvatar(canvas, person, {x, middle}, 13);
        x += 27;
    }
    x += 12;
    drawIcon(canvas, Icon::calendar, {x + 4, middle}, 15, theme::kFaint);
    canvas.text("Opens on 24 May", {x + 18, middle}, {.size = 12.5, .colour = theme::kMuted});
    const int done = scene.frame.counts[3];
    const int all = done + scene.frame.counts[0] + scene.frame.counts[1] + scene.frame.counts[2];
    const double right = area.x + area.width - 24;
    const std::string label = fmt::format("{} of {} done", done, all);
    canvas.text(label, {right, middle}, {.size = 12.5, .colour = theme::kMuted, .align = Align::right});
    const Rect track{right - 84 - 150, middle - 3, 140, 6};
    canvas.fillRounded(track, 3, theme::kLine);
    canvas.fillRounded({track.x, track.y, track.width * done / std::max(all, 1), 6}, 3, theme::kAccent);
}

void paintSearch(Canvas& canvas, const Scene& scene) {
    const AppFrame::Heading& shown = scene.frame.heading;
    const Rect& area = scene.layout.search;
    paintField(canvas, area, {shown.search, "Search", shown.focus == Part::search, shown.caret, 32});
    drawIcon(canvas, Icon::search, {area.x + 17, area.y + 16}, 15, theme::kFaint);
    if (shown.search.empty()) return;
    const Rect& clear = scene.layout.searchClear;
    if (scene.hovers({Part::searchClear, 0})) canvas.fillRounded(clear, 6, theme::kLine);
    drawIcon(canvas, Icon::close, centre(clear), 12, theme::kMuted);
}

} // namespace

void paintDesktop(Canvas& canvas, const AppLayout& layout) {
    const double w = layout.screen.width;
    const double h = layout.screen.height;
    const PatternPtr sky(cairo_pattern_create_linear(0, 0, w * 0.25, h));
    addStop(sky.get(), 0, rgb(0x9CC7DB));
    addStop(sky.get(), 0.45, rgb(0xDCE3E6));
    addStop(sky.get(), 0.8, rgb(0xF5D3B8));
    cairo_set_source(canvas.context(), sky.get());
    cairo_paint(canvas.context());
    paintHill(canvas, layout, 0.62, h * 0.16, rgb(0x9DBFC4), rgb(0x6D9FA6));
    paintHill(canvas, layout, 0.76, h * 0.11, rgb(0x5F979C), rgb(0x3C767D));
    paintHill(canvas, layout, 0.9, h * 0.07, rgb(0x346C72), rgb(0x1F4D55));
    canvas.dropShadow(layout.window, 12, 26, 16, 0.34);
    canvas.dropShadow(layout.window, 12, 4, 2, 0.22);
    canvas.fillRounded(layout.window, 12, theme::kPane);
}

void paintTopBar(Canvas& canvas, const Scene& scene) {
    const Rect& bar = scene.layout.topBar;
    if (!canvas.visible(bar)) return;
    canvas.fill(bar, theme::kWhite.withAlpha(0.62));
    const double middle = bar.height / 2;
    canvas.circle({22, middle}, 4.5, theme::kAccent);
    canvas.text("Tidewell", {36, middle}, {.size = 12.5, .weight = 600});
    double x = 112;
    for (const char* word : {"File", "Edit", "View", "Help"}) {
        canvas.text(word, {x, middle}, {.size = 12.5, .colour = rgb(0x33404C)});
        x += 46;
    }
    const int minutes = 9 * 60 + 41 + scene.frame.heading.minute;
    const std::string clock = fmt::format("Thu 7 May   {:02}:{:02}", minutes / 60 % 24, minutes % 60);
    canvas.text(clock, {bar.width - 20, middle}, {.size = 12.5, .weight = 500, .align = Align::right});
    double icon = bar.width - 148;
    for (const Icon status : {Icon::battery, Icon::network, Icon::sound}) {
        drawIcon(canvas, status, {icon, middle}, 16, rgb(0x33404C), 1.4);
        icon -= 30;
    }
}

void paintSidebar(Canvas& canvas, const Scene& scene) {
    const Rect& area = scene.layout.sidebar;
    if (!canvas.visible(area)) return;
    canvas.fill(area, theme::kSidebar);
    canvas.fill({area.x + area.width - 1, area.y, 1, area.height}, theme::kLine);
    paintLogo(canvas, {area.x + 18, area.y + 18});
    canvas.text("Tidewell", {area.x + 58, area.y + 33}, {.size = 16, .weight = 700});
    paintNavItem(canvas, scene, 0, Icon::board, "Board");
    paintNavItem(canvas, scene, 1, Icon::inbox, "Inbox");
    paintNavItem(canvas, scene, 2, Icon::insights, "Insights");
    paintNavItem(canvas, scene, 3, Icon::calendar, "Calendar");
    paintNavItem(canvas, scene, 4, Icon::files, "Files");
    paintProjects(canvas, scene);
    const double bottom = area.y + area.height;
    canvas.fill({area.x + 16, bottom - 68, area.width - 32, 1}, theme::kLine);
    paintAvatar(canvas, 0, {area.x + 34, bottom - 34}, 16);
    canvas.text(people()[0].name, {area.x + 60, bottom - 42}, {.size = 13, .weight = 600});
    canvas.text("Rye & Crumb", {area.x + 60, bottom - 25}, {.size = 11.5, .colour = theme::kMuted});
}

void paintHeaders(Canvas& canvas, const Scene& scene) {
    const AppLayout& l = scene.layout;
    if (canvas.visible(l.header)) {
        canvas.fill(l.header, theme::kPane);
        canvas.text("Riverside opening", {l.header.x + 24, l.header.y + 33}, {.size = 20, .weight = 700});
        paintSearch(canvas, scene);
        paintButton(canvas, scene, {Part::filterButton, 0}, l.filterButton, "Filter", ButtonKind::plain);
        paintButton(canvas, scene, {Part::newButton, 0}, l.newButton, "New task", ButtonKind::primary);
        if (scene.frame.heading.filter != 0) { // a filter is on
            const Point mark{l.filterButton.x + l.filterButton.width - 3, l.filterButton.y + 3};
            canvas.circle(mark, 6.5, theme::kPane);
            canvas.circle(mark, 4.5, theme::kCoral);
        }
        double x = l.windowControls.x + 14;
        for (const Icon icon : {Icon::minimise, Icon::maximise, Icon::close}) {
            drawIcon(canvas, icon, {x, l.windowControls.y + 16}, 16, theme::kMuted, 1.4);
            x += 28;
        }
    }
    if (!canvas.visible(l.subheader)) return;
    canvas.fill(l.subheader, theme::kPane);
    paintBoardSubheader(canvas, scene);
}

} // namespace glintro::sample
