#include "sample/ScriptWriter.h"

#include <algorithm>

namespace glintro::sample {

ScriptWriter::ScriptWriter(const AppLayout& layout, Random random)
    : state_(layout),
      random_(random),
      path_({layout.window.x + layout.window.width * 0.55, layout.window.y + layout.window.height * 0.62}) {}

void ScriptWriter::rest(Seconds shortest, Seconds longest) {
    now_ += random_.between(shortest, longest);
}

Point ScriptWriter::spotIn(Target target) {
    const Rect area = state_.area(target, now_);
    const bool field = target.part == Part::search || target.part == Part::titleField;
    const double across = field ? 0.3 : 0.5;
    const auto off = [&] { return std::clamp(random_.normal() * 0.1, -0.28, 0.28); };
    return {area.x + area.width * (across + off() * (field ? 0.5 : 1)), area.y + area.height * (0.5 + off())};
}

void ScriptWriter::hover(Target target) {
    const Rect area = state_.area(target, now_);
    now_ = path_.reach(spotIn(target), std::min(area.width, area.height), now_, random_);
}

void ScriptWriter::send(InputEvent::Kind kind, Point at) {
    inputs_.push_back({now_, kind, at});
    state_.receive(inputs_.back());
}

void ScriptWriter::pressHere() {
    send(InputEvent::Kind::press, path_.end());
    now_ += random_.between(0.07, 0.12);
    send(InputEvent::Kind::release, path_.end());
}

void ScriptWriter::click(Target target) {
    hover(target);
    rest(0.06, 0.16);
    pressHere();
}

void ScriptWriter::type(std::string_view text) {
    for (const char letter : text) {
        now_ += letter == ' ' ? random_.between(0.06, 0.13) : random_.between(0.035, 0.095);
        inputs_.push_back({now_, InputEvent::Kind::key, path_.end(), std::string(1, letter)});
        state_.receive(inputs_.back());
    }
}

void ScriptWriter::dragCard(int task, int column, int row) {
    const Target card{Part::card, task};
    hover(card);
    rest(0.12, 0.25);
    send(InputEvent::Kind::press, path_.end());
    const Rect from = state_.area(card, now_);
    const Rect to = state_.layout().cardSlot(column, row);
    const Point start = path_.end();
    rest(0.1, 0.18);
    now_ = path_.glide({start.x + to.x - from.x, start.y + to.y - from.y + 8}, now_,
                       random_.between(0.75, 1.1), random_);
    rest(0.15, 0.3);
    send(InputEvent::Kind::release, path_.end());
}

} // namespace glintro::sample
