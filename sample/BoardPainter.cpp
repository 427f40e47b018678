#include <fmt/format.h>

#include "sample/Icons.h"
#include "sample/Painters.h"

namespace glintro::sample {
namespace {

constexpr Colour kColumnColours[] = {theme::kFaint, theme::kSky, theme::kAmber, theme::kGreen};

void paintCardFooter(Canvas& canvas, const Task& task, const Rect& area) {
    const double middle = area.y + area.height - 23;
    double x = area.x + 20;
    const bool urgent = task.priority == Priority::high;
    drawIcon(canvas, urgent ? Icon::flag : Icon::clock, {x, middle}, 14,
             urgent ? theme::kCoral : theme::kFaint);
    x += 13;
    const TextStyle small{.size = 11.5, .weight = 450, .colour = theme::kMuted};
    canvas.text(task.due, {x, middle}, small);
    x += canvas.textWidth(task.due, small) + 18;
    if (task.comments > 0) {
        drawIcon(canvas, Icon::comment, {x, middle}, 14, theme::kFaint);
        canvas.text(fmt::format("{}", task.comments), {x + 12, middle}, small);
    }
    paintAvatar(canvas, task.person, {area.x + area.width - 24, middle}, 11);
}

void paintCard(Canvas& canvas, const Scene& scene, const AppFrame::Card& card) {
    const Task& task = scene.state.tasks[static_cast<std::size_t>(card.task)].task;
    const Rect& area = card.area;
    if (card.posture == AppFrame::Posture::gap) {
        canvas.fillRounded(area, 10, rgb(0xC5D0D4).withAlpha(0.35));
        return;
    }
    const bool hovered = scene.hovers({Part::card, card.task});
    if (card.posture == AppFrame::Posture::lifted) {
        canvas.dropShadow(area, 10, 12, 8, 0.3);
    } else {
        canvas.dropShadow(area, 10, hovered ? 5 : 2.5, hovered ? 3 : 1, hovered ? 0.16 : 0.1);
    }
    canvas.fillRounded(area, 10, theme::kWhite);
    canvas.strokeRounded(area, 10,
                         card.selected ? theme::kAccent
                         : hovered     ? rgb(0xC9D2D8)
                                       : theme::kLine,
                         card.selected ? 1.5 : 1);
    const Tag& tag = tags()[static_cast<std::size_t>(task.tag)];
    const TextStyle pill{.size = 10.5, .weight = 600, .colour = tag.colour};
    const double width = canvas.textWidth(tag.name, pill) + 16;
    canvas.fillRounded({area.x + 13, area.y + 13, width, 19}, 6, tag.colour.withAlpha(0.13));
    canvas.text(tag.name, {area.x + 21, area.y + 22.5}, pill);
    canvas.text(task.title, {area.x + 14, area.y + 47},
                {.size = 13, .weight = 550, .maxWidth = area.width - 26, .lines = 2});
    paintCardFooter(canvas, task, area);
}

void paintColumn(Canvas& canvas, const Scene& scene, int index) {
    const Rect area = scene.layout.column(index);
    if (!canvas.visible(area)) return;
    if (index == scene.frame.dropColumn) {
        canvas.fillRounded({area.x - 6, area.y, area.width + 12, area.height + 20}, 12, theme::kAccentSoft);
    }
    const double middle = area.y + 18;
    canvas.circle({area.x + 7, middle}, 4, kColumnColours[index]);
    const TextStyle name{.size = 13, .weight = 600};
    const char* label = columnNames()[static_cast<std::size_t>(index)];
    canvas.text(label, {area.x + 19, middle}, name);
    canvas.text(fmt::format("{}", scene.frame.counts[static_cast<std::size_t>(index)]),
                {area.x + 27 + canvas.textWidth(label, name), middle},
                {.size = 13, .weight = 500, .colour = theme::kFaint});
    drawIcon(canvas, Icon::more, {area.x + area.width - 10, middle}, 16, theme::kFaint);
}

} // namespace

void paintBoard(Canvas& canvas, const Scene& scene) {
    for (int column = 0; column < kColumnCount; ++column) paintColumn(canvas, scene, column);
    for (const AppFrame::Card& card : scene.frame.cards) {
        if (card.posture == AppFrame::Posture::lifted || !canvas.visible(inset(card.area, -20))) continue;
        if (card.opacity < 1) canvas.beginLayer();
        paintCard(canvas, scene, card);
        if (card.opacity < 1) canvas.endLayer(card.opacity);
    }
}

void paintLiftedCard(Canvas& canvas, const Scene& scene) {
    if (scene.frame.cards.empty() || scene.frame.cards.back().posture != AppFrame::Posture::lifted) return;
    paintCard(canvas, scene, scene.frame.cards.back());
}

} // namespace glintro::sample
