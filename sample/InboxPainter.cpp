#include "sample/Icons.h"
#include "sample/Painters.h"

namespace glintro::sample {
namespace {

constexpr int kUnread = 8;

void paintRow(Canvas& canvas, const Scene& scene, int index) {
    const Rect area = scene.layout.listRow(index, scene.frame.scroll);
    if (!canvas.visible(area)) return;
    const Message& message = messages()[static_cast<std::size_t>(index)];
    const bool current = index == scene.frame.detail.message;
    const Rect tile{area.x + 12, area.y + 3, area.width - 24, area.height - 6};
    if (current) canvas.fillRounded(tile, 9, theme::accentSoft);
    if (!current && scene.hovers({Part::listRow, index})) canvas.fillRounded(tile, 9, rgb(0xECF0F2));
    const double x = area.x + 72;
    const double right = tile.x + tile.width - 14;
    paintAvatar(canvas, message.person, {area.x + 42, area.y + area.height / 2}, 17);
    const bool unread = index < kUnread;
    if (unread) canvas.circle({right - 4, area.y + 50}, 4, theme::accent);
    canvas.text(people()[static_cast<std::size_t>(message.person)].name, {x, area.y + 21},
                {.size = 13, .weight = unread ? 650 : 500});
    canvas.text(message.time, {right, area.y + 21},
                {.size = 11.5, .colour = theme::faint, .align = Align::right});
    canvas.text(message.subject, {x, area.y + 39},
                {.size = 12.5, .weight = unread ? 550 : 400, .maxWidth = right - x - 20});
    canvas.text(message.body, {x, area.y + 56},
                {.size = 12, .colour = theme::muted, .maxWidth = right - x - 20});
}

void paintScrollBar(Canvas& canvas, const Scene& scene) {
    const Rect& list = scene.layout.list;
    const int rows = static_cast<int>(messages().size());
    const double all = scene.layout.longestScroll(rows) + list.height;
    const double length = list.height * list.height / all;
    const double top = list.y + scene.frame.scroll / all * list.height;
    canvas.fillRounded({list.x + list.width - 8, top + 3, 5, length - 6}, 2.5, rgb(0xCDD5DA));
}

void paintSentReply(Canvas& canvas, const Scene& scene, double top) {
    const AppFrame::Detail& detail = scene.frame.detail;
    if (detail.sent.empty()) return;
    const Rect& area = scene.layout.detail;
    const TextStyle style{.size = 13.5, .colour = theme::white, .maxWidth = area.width * 0.62, .lines = 3};
    const double width = canvas.textWidth(detail.sent, style) + 32;
    const double height = canvas.textHeight(detail.sent, style) + 22;
    const Rect bubble{area.x + area.width - 28 - width, top, width, height};
    canvas.fillRounded(bubble, 12, theme::accent);
    canvas.text(detail.sent, {bubble.x + 16, bubble.y + 19.5}, style);
    canvas.text("Just now", {bubble.x + bubble.width, bubble.y + height + 13},
                {.size = 11, .colour = theme::faint, .align = Align::right});
}

void paintMessage(Canvas& canvas, const Scene& scene) {
    const Rect& area = scene.layout.detail;
    const Message& message = messages()[static_cast<std::size_t>(scene.frame.detail.message)];
    const double x = area.x + 28;
    const double width = area.width - 56;
    canvas.text(message.subject, {x, area.y + 36}, {.size = 18, .weight = 650, .maxWidth = width});
    paintAvatar(canvas, message.person, {x + 18, area.y + 82}, 18);
    canvas.text(people()[static_cast<std::size_t>(message.person)].name, {x + 48, area.y + 74},
                {.size = 13.5, .weight = 600});
    canvas.text("to Maya Lindqvist", {x + 48, area.y + 92}, {.size = 12, .colour = theme::muted});
    canvas.text(message.time, {x + width, area.y + 74},
                {.size = 12, .colour = theme::faint, .align = Align::right});
    canvas.fill({x, area.y + 118, width, 1}, theme::line);
    const TextStyle body{
        .size = 14, .colour = rgb(0x2B3844), .maxWidth = std::min(width, 620.0), .lines = 14};
    canvas.text(message.body, {x, area.y + 146}, body);
    paintSentReply(canvas, scene, area.y + 164 + canvas.textHeight(message.body, body));
}

void paintDetail(Canvas& canvas, const Scene& scene) {
    const Rect& area = scene.layout.detail;
    const AppFrame::Detail& detail = scene.frame.detail;
    canvas.fill(area, theme::white);
    canvas.fill({area.x, area.y, 1, area.height}, theme::line);
    canvas.fill({area.x, area.y, area.width, 1}, theme::line);
    if (detail.opacity < 1) canvas.beginLayer();
    paintMessage(canvas, scene);
    if (detail.opacity < 1) canvas.endLayer(detail.opacity);
    paintField(canvas, scene.layout.reply,
               {detail.draft, "Write a reply", detail.focus == Part::reply, detail.caret, 14});
    paintButton(canvas, scene, {Part::send, 0}, scene.layout.send, "Send", ButtonKind::primary);
}

} // namespace

void paintInbox(Canvas& canvas, const Scene& scene) {
    if (canvas.visible(scene.layout.list)) {
        canvas.save();
        canvas.clip(scene.layout.list);
        for (int i = 0; i < static_cast<int>(messages().size()); ++i) paintRow(canvas, scene, i);
        paintScrollBar(canvas, scene);
        canvas.restore();
    }
    if (canvas.visible(scene.layout.detail)) paintDetail(canvas, scene);
}

} // namespace glintro::sample
