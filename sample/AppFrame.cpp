#include "sample/AppFrame.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace glintro::sample {
namespace {

constexpr double kDimmed = 0.32;
constexpr Seconds kToastStays = 2.4;
constexpr Seconds kToastMoves = 0.2;

bool sameText(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

bool mentions(const std::string& text, const std::string& part) {
    return std::ranges::search(text, part, sameText).begin() != text.end() || part.empty();
}

bool passes(const Task& task, int filter) {
    switch (filter) {
        case 1:
            return task.person == 0;
        case 2:
            return task.priority == Priority::high;
        case 3:
            return task.comments > 0;
        default:
            return true;
    }
}

double cardOpacity(const AppState& state, const Task& task, Seconds time) {
    if (!mentions(task.title, state.searchText)) return kDimmed;
    if (passes(task, state.filter)) return 1;
    const double shows = std::round(state.filterShows.at(time) * 32) / 32;
    return 1 - (1 - kDimmed) * shows;
}

using Posture = AppFrame::Posture;

void placeCards(AppFrame& frame, const AppState& state, Seconds time, Point pointer) {
    for (std::size_t column = 0; column < kColumnCount; ++column) {
        frame.counts[column] = static_cast<int>(state.columns[column].size());
        for (const int id : state.columns[column]) {
            const bool lifted = state.drag && state.drag->task == id;
            const Task& task = state.tasks[static_cast<std::size_t>(id)].task;
            frame.cards.push_back({id, state.area({Part::card, id}, time),
                                   lifted ? 1 : cardOpacity(state, task, time), id == state.selectedTask,
                                   lifted ? Posture::gap : Posture::resting});
        }
    }
    if (!state.drag) return;
    const Rect slot = state.layout().cardSlot(0, 0);
    const Point corner{pointer.x - state.drag->grip.x, pointer.y - state.drag->grip.y};
    frame.cards.push_back(
        {state.drag->task, {corner.x, corner.y, slot.width, slot.height}, 1, true, Posture::lifted});
    for (int column = 0; column < kColumnCount; ++column) {
        if (contains(state.layout().column(column), pointer)) frame.dropColumn = column;
    }
}

double toastOpacity(const AppState& state, Seconds time) {
    const Seconds age = time - state.toastTime;
    return std::clamp(std::min(age, kToastMoves + kToastStays - age) / kToastMoves, 0.0, 1.0);
}

void addCardDamage(const AppFrame& before, const AppFrame& after, const AppLayout& layout,
                   std::vector<Rect>& areas) {
    if (before.counts != after.counts || before.dropColumn != after.dropColumn) {
        areas.push_back(layout.content);
        return;
    }
    const auto addMissing = [&](const AppFrame& one, const AppFrame& other) {
        for (const AppFrame::Card& card : one.cards) {
            if (std::ranges::find(other.cards, card) == other.cards.end())
                areas.push_back(grown(card.area, 26));
        }
    };
    addMissing(before, after);
    addMissing(after, before);
}

} // namespace

AppFrame AppFrame::evaluate(const AppState& state, Seconds time, Point pointer) {
    const bool caret =
        state.focus != Part::none && std::fmod(std::max(0.0, time - state.lastKey), 1.06) < 0.53;
    AppFrame frame;
    frame.heading = {state.searchText, state.filter, Part::none, false, static_cast<int>(time / 60)};
    if (state.focus == Part::search) {
        frame.heading.focus = state.focus;
        frame.heading.caret = caret;
    }
    frame.pressed = state.pressed;
    frame.pressedArea = state.area(state.pressed, time);
    if (!state.drag) frame.hover = state.targetAt(pointer, time);
    frame.hoverArea = state.area(frame.hover, time);
    placeCards(frame, state, time, pointer);
    frame.menuShows = state.menuShows.at(time);
    frame.dialogShows = state.dialogShows.at(time);
    const bool typing = state.focus == Part::titleField;
    if (frame.dialogShows > 0)
        frame.dialog = {state.title, state.priority, state.person, typing, typing && caret};
    frame.toastShows = toastOpacity(state, time);
    if (frame.toastShows > 0) frame.toast = state.toast;
    return frame;
}

std::vector<Rect> damage(const AppFrame& before, const AppFrame& after, const AppLayout& layout) {
    std::vector<Rect> areas;
    if (before.heading.minute != after.heading.minute) areas.push_back(layout.topBar);
    if (before.heading != after.heading || before.counts != after.counts) {
        areas.push_back(layout.header);
        areas.push_back(layout.subheader);
    }
    if (before.hover != after.hover || before.pressed != after.pressed
        || before.hoverArea != after.hoverArea) {
        for (const Rect& area : {before.hoverArea, after.hoverArea, before.pressedArea, after.pressedArea}) {
            if (area.width > 0) areas.push_back(grown(area, 16));
        }
    }
    addCardDamage(before, after, layout, areas);
    if (before.menuShows != after.menuShows) areas.push_back(grown(layout.filterMenu, 40));
    if (before.dialogShows != after.dialogShows) areas.push_back(layout.window);
    if (before.dialog != after.dialog) areas.push_back(grown(layout.dialog, 2));
    if (before.toastShows != after.toastShows || before.toast != after.toast)
        areas.push_back(grown(layout.toast, 40));
    return areas;
}

} // namespace glintro::sample
