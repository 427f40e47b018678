#include "sample/Icons.h"
#include "sample/Painters.h"

namespace glintro::sample {
namespace {

void paintMenuItem(Canvas& canvas, const Scene& scene, int index) {
    const Rect area = scene.layout.menuItem(index);
    const bool lit = scene.hovers({Part::menuItem, index});
    if (lit) canvas.fillRounded(area, 7, theme::kAccent);
    const double middle = area.y + area.height / 2;
    if (index == scene.frame.heading.filter) {
        drawIcon(canvas, Icon::check, {area.x + 18, middle}, 15, lit ? theme::kWhite : theme::kAccent, 2);
    }
    canvas.text(filterNames()[static_cast<std::size_t>(index)], {area.x + 34, middle},
                {.size = 13, .weight = 500, .colour = lit ? theme::kWhite : theme::kInk});
}

void paintPriorities(Canvas& canvas, const Scene& scene) {
    constexpr const char* names[] = {"Low", "Medium", "High"};
    constexpr Colour colours[] = {theme::kSky, theme::kAmber, theme::kCoral};
    for (int i = 0; i < 3; ++i) {
        const Rect area = scene.layout.priorityChoice(i);
        const bool chosen = i == static_cast<int>(scene.frame.dialog.priority);
        const bool lit = scene.hovers({Part::priorityChoice, i});
        canvas.fillRounded(area, 8, chosen ? theme::kAccentSoft : lit ? theme::kField : theme::kWhite);
        canvas.strokeRounded(area, 8, chosen ? theme::kAccent : theme::kLine, chosen ? 1.5 : 1);
        const double middle = area.y + area.height / 2;
        drawIcon(canvas, Icon::flag, {area.x + 21, middle}, 15, colours[i], 1.8);
        canvas.text(names[i], {area.x + 36, middle}, {.size = 13, .weight = chosen ? 600 : 500});
    }
}

void paintPeople(Canvas& canvas, const Scene& scene) {
    for (int i = 0; i < 5; ++i) {
        const Point middle = centre(scene.layout.personChoice(i));
        const bool chosen = i == scene.frame.dialog.person;
        const bool lit = scene.hovers({Part::personChoice, i});
        if (chosen || lit) canvas.circle(middle, 18, chosen ? theme::kAccent : theme::kLine);
        if (chosen || lit) canvas.circle(middle, 16, theme::kWhite);
        paintAvatar(canvas, i, middle, 14);
    }
    const Rect last = scene.layout.personChoice(4);
    canvas.text(people()[static_cast<std::size_t>(scene.frame.dialog.person)].name,
                {last.x + last.width + 16, last.y + last.height / 2}, {.size = 13, .colour = theme::kMuted});
}

void paintDialogBody(Canvas& canvas, const Scene& scene) {
    const AppLayout& l = scene.layout;
    const AppFrame::Dialog& dialog = scene.frame.dialog;
    canvas.dropShadow(l.dialog, 14, 24, 14, 0.34);
    canvas.fillRounded(l.dialog, 14, theme::kWhite);
    const double left = l.titleField.x;
    canvas.text("New task", {left, l.dialog.y + 38}, {.size = 18, .weight = 700});
    const TextStyle label{.size = 12, .weight = 600, .colour = theme::kMuted};
    canvas.text("Title", {left, l.titleField.y - 15}, label);
    paintField(canvas, l.titleField,
               {dialog.title, "What needs to be done?", dialog.focused, dialog.caret, 14});
    canvas.text("Priority", {left, l.priorityChoice(0).y - 15}, label);
    paintPriorities(canvas, scene);
    canvas.text("Assigned to", {left, l.personChoice(0).y - 15}, label);
    paintPeople(canvas, scene);
    paintButton(canvas, scene, {Part::cancel, 0}, l.cancel, "Cancel", ButtonKind::plain);
    paintButton(canvas, scene, {Part::create, 0}, l.create, "Create task", ButtonKind::primary);
}

} // namespace

void paintMenu(Canvas& canvas, const Scene& scene) {
    const Rect& area = scene.layout.filterMenu;
    if (scene.frame.menuShows <= 0 || !canvas.visible(inset(area, -40))) return;
    canvas.save();
    canvas.beginLayer();
    cairo_translate(canvas.context(), 0, -6 * (1 - scene.frame.menuShows));
    canvas.dropShadow(area, 10, 10, 6, 0.24);
    canvas.fillRounded(area, 10, theme::kWhite);
    canvas.strokeRounded(area, 10, theme::kLine);
    for (int i = 0; i < static_cast<int>(filterNames().size()); ++i) paintMenuItem(canvas, scene, i);
    canvas.endLayer(scene.frame.menuShows);
    canvas.restore();
}

void paintDialog(Canvas& canvas, const Scene& scene) {
    const double shows = scene.frame.dialogShows;
    if (shows <= 0 || !canvas.visible(scene.layout.window)) return;
    canvas.fillRounded(scene.layout.window, 12, rgb(0x10242B).withAlpha(0.34 * shows));
    if (!canvas.visible(inset(scene.layout.dialog, -80))) return;
    canvas.save();
    if (shows < 1) canvas.beginLayer();
    cairo_translate(canvas.context(), 0, 14 * (1 - shows));
    paintDialogBody(canvas, scene);
    if (shows < 1) canvas.endLayer(shows);
    canvas.restore();
}

void paintToast(Canvas& canvas, const Scene& scene) {
    const double shows = scene.frame.toastShows;
    if (shows <= 0 || !canvas.visible(inset(scene.layout.toast, -40))) return;
    canvas.save();
    canvas.beginLayer();
    cairo_translate(canvas.context(), 0, -10 * (1 - shows));
    const TextStyle style{.size = 13.5, .weight = 550, .colour = theme::kWhite};
    const double width = canvas.textWidth(scene.frame.toast, style) + 66;
    const Point middle = centre(scene.layout.toast);
    const Rect area{middle.x - width / 2, scene.layout.toast.y, width, scene.layout.toast.height};
    canvas.dropShadow(area, 12, 9, 5, 0.3);
    canvas.fillRounded(area, 12, theme::kInk);
    canvas.circle({area.x + 25, middle.y}, 9, theme::kGreen);
    drawIcon(canvas, Icon::check, {area.x + 25, middle.y}, 12, theme::kWhite, 2);
    canvas.text(scene.frame.toast, {area.x + 44, middle.y}, style);
    canvas.endLayer(shows);
    canvas.restore();
}

void paintAvatar(Canvas& canvas, int person, Point middle, double radius) {
    const Person& who = people()[static_cast<std::size_t>(person)];
    canvas.circle(middle, radius, who.colour);
    canvas.text(who.initials, middle,
                {.size = radius * 0.78, .weight = 650, .colour = theme::kWhite, .align = Align::centre});
}

void paintButton(Canvas& canvas, const Scene& scene, Target target, const Rect& area, const char* label,
                 ButtonKind kind) {
    const bool primary = kind == ButtonKind::primary;
    const bool pressed = scene.presses(target);
    const bool lit = scene.hovers(target);
    const Colour plain = pressed ? rgb(0xE2E7EA) : lit ? rgb(0xF0F3F5) : theme::kWhite;
    const Colour filled = pressed ? rgb(0x065652) : lit ? theme::kAccentDark : theme::kAccent;
    if (!pressed) canvas.dropShadow(area, 8, 1.5, 1, 0.12);
    canvas.fillRounded(area, 8, primary ? filled : plain);
    if (!primary) canvas.strokeRounded(area, 8, rgb(0xD9DFE3));
    const Colour ink = primary ? theme::kWhite : theme::kInk;
    const TextStyle style{.size = 13, .weight = 600, .colour = ink, .align = Align::centre};
    const bool hasIcon = target.part == Part::filterButton || target.part == Part::newButton;
    const Point middle = centre(area);
    canvas.text(label, {middle.x + (hasIcon ? 10 : 0), middle.y}, style);
    if (!hasIcon) return;
    const double left = middle.x + 10 - canvas.textWidth(label, style) / 2;
    drawIcon(canvas, target.part == Part::newButton ? Icon::plus : Icon::filter, {left - 14, middle.y}, 15,
             ink, 1.8);
}

void paintField(Canvas& canvas, const Rect& area, const FieldContent& content) {
    canvas.fillRounded(area, 8, content.focused ? theme::kWhite : rgb(0xEEF1F3));
    canvas.strokeRounded(area, 8, content.focused ? theme::kAccent : rgb(0xE1E6EA),
                         content.focused ? 1.5 : 1);
    const double middle = area.y + area.height / 2;
    const TextStyle style{.size = 13.5};
    canvas.save();
    canvas.clip(inset(area, 2));
    if (content.text.empty()) {
        canvas.text(content.placeholder, {area.x + content.left, middle},
                    {.size = 13.5, .colour = theme::kFaint});
    }
    // A long text moves to the left, so that its end stays in sight.
    const double width = canvas.textWidth(content.text, style);
    const double x = area.x + content.left + std::min(0.0, area.width - content.left - 16 - width);
    canvas.text(content.text, {x, middle}, style);
    if (content.caret) canvas.fill({x + width + 1, middle - 9, 1.5, 18}, theme::kAccent);
    canvas.restore();
}

} // namespace glintro::sample
