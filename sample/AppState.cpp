#include "sample/AppState.h"

#include <algorithm>
#include <utility>

namespace glintro::sample {
namespace {

// The order in which overlapping targets are asked: what lies on top comes first.
constexpr std::array kDialogParts{Part::titleField, Part::priorityChoice, Part::personChoice, Part::cancel,
                                  Part::create};
constexpr std::array kWindowParts{Part::menuItem,     Part::searchClear, Part::search,
                                  Part::filterButton, Part::newButton,   Part::card};
constexpr std::size_t kMostInColumn = 6;

int count(Part part, const AppState& state) {
    switch (part) {
        case Part::priorityChoice:
            return 3;
        case Part::menuItem:
            return static_cast<int>(filterNames().size());
        case Part::card:
            return static_cast<int>(state.tasks.size());
        case Part::personChoice:
            return 5;
        default:
            return 1;
    }
}

} // namespace

double Transition::at(Seconds time) const {
    const double p = 1 - std::clamp((time - start_) / duration_, 0.0, 1.0);
    return to_ + (from_ - to_) * p * p * p;
}

void Transition::glide(double value, Seconds now, Seconds duration) {
    from_ = at(now);
    to_ = value;
    start_ = now;
    duration_ = duration;
}

AppState::AppState(const AppLayout& layout) : layout_(&layout) {
    for (int column = 0; column < kColumnCount; ++column) {
        for (const Task& task : openingTasks(column)) {
            auto& ids = columns[static_cast<std::size_t>(column)];
            const Rect slot = layout.cardSlot(column, static_cast<int>(ids.size()));
            ids.push_back(static_cast<int>(tasks.size()));
            tasks.push_back({task, Transition(slot.x), Transition(slot.y)});
        }
    }
}

void AppState::receive(const InputEvent& event) {
    switch (event.kind) {
        case InputEvent::Kind::press:
            press(event.at, event.time);
            break;
        case InputEvent::Kind::release:
            release(event.at, event.time);
            break;
        case InputEvent::Kind::key:
            type(event.text, event.time);
            break;
    }
}

bool AppState::shows(Target target) const {
    switch (target.part) {
        case Part::menuItem:
            return menuOpen;
        case Part::searchClear:
            return !searchText.empty();
        case Part::card:
            return std::ranges::any_of(
                columns, [&](const auto& ids) { return std::ranges::count(ids, target.index) > 0; });
        default:
            return true;
    }
}

bool AppState::onBoard(std::string_view wanted) const {
    return std::ranges::any_of(columns, [&](const auto& ids) {
        return std::ranges::any_of(
            ids, [&](int id) { return tasks[static_cast<std::size_t>(id)].task.title == wanted; });
    });
}

Rect AppState::area(Target target, Seconds time) const {
    const AppLayout& l = *layout_;
    switch (target.part) {
        case Part::none:
            break;
        case Part::search:
            return l.search;
        case Part::searchClear:
            return l.searchClear;
        case Part::filterButton:
            return l.filterButton;
        case Part::newButton:
            return l.newButton;
        case Part::menuItem:
            return l.menuItem(target.index);
        case Part::card: {
            const PlacedTask& placed = tasks[static_cast<std::size_t>(target.index)];
            const Rect slot = l.cardSlot(0, 0);
            return {placed.x.at(time), placed.y.at(time), slot.width, slot.height};
        }
        case Part::titleField:
            return l.titleField;
        case Part::priorityChoice:
            return l.priorityChoice(target.index);
        case Part::personChoice:
            return l.personChoice(target.index);
        case Part::cancel:
            return l.cancel;
        case Part::create:
            return l.create;
    }
    return {};
}

Target AppState::targetAt(Point pointer, Seconds time) const {
    const auto find = [&](auto parts) -> Target {
        for (const Part part : parts) {
            for (int i = 0; i < count(part, *this); ++i) {
                if (const Target target{part, i}; shows(target) && contains(area(target, time), pointer))
                    return target;
            }
        }
        return {};
    };
    if (dialogOpen) return find(kDialogParts);
    if (!contains(layout_->window, pointer)) return {};
    if (menuOpen && contains(layout_->filterMenu, pointer)) return find(std::array{Part::menuItem});
    return find(kWindowParts);
}

void AppState::press(Point at, Seconds time) {
    pressed = targetAt(at, time);
    const bool editable = pressed.part == Part::search || pressed.part == Part::titleField;
    focus = editable ? pressed.part : Part::none;
    lastKey = time;
    if (pressed.part != Part::card) return;
    const Rect card = area(pressed, time);
    selectedTask = pressed.index;
    drag = Drag{pressed.index, {at.x - card.x, at.y - card.y}};
}

void AppState::release(Point at, Seconds time) {
    const Target start = std::exchange(pressed, Target{});
    if (const auto dropped = std::exchange(drag, std::nullopt)) dropCard(*dropped, at, time);
    if (targetAt(at, time) == start) activate(start, time);
    if (menuOpen && start.part != Part::filterButton) {
        menuOpen = false;
        menuShows.glide(0, time, 0.12);
    }
}

void AppState::activate(Target target, Seconds time) {
    switch (target.part) {
        case Part::searchClear:
            searchText.clear();
            break;
        case Part::filterButton:
            menuOpen = !menuOpen;
            menuShows.glide(menuOpen ? 1 : 0, time, 0.16);
            break;
        case Part::menuItem:
            filter = target.index;
            filterShows.jump(0);
            filterShows.glide(1, time, 0.3);
            break;
        case Part::newButton:
            title.clear();
            priority = Priority::medium;
            person = 0;
            dialogOpen = true;
            dialogShows.glide(1, time, 0.22);
            break;
        default:
            activateInDialog(target, time);
    }
}

void AppState::activateInDialog(Target target, Seconds time) {
    switch (target.part) {
        case Part::priorityChoice:
            priority = static_cast<Priority>(target.index);
            break;
        case Part::personChoice:
            person = target.index;
            break;
        case Part::cancel:
            closeDialog(time);
            break;
        case Part::create:
            if (title.empty()) break;
            createTask(time);
            closeDialog(time);
            announce("Task added to To do", time);
            break;
        default:
            break;
    }
}

void AppState::type(const std::string& text, Seconds time) {
    lastKey = time;
    if (focus == Part::search) searchText += text;
    if (focus == Part::titleField) title += text;
}

void AppState::closeDialog(Seconds time) {
    dialogOpen = false;
    focus = Part::none;
    dialogShows.glide(0, time, 0.16);
}

void AppState::createTask(Seconds time) {
    const Rect slot = layout_->cardSlot(0, 0);
    const int id = static_cast<int>(tasks.size());
    tasks.push_back({{title, id % static_cast<int>(tags().size()), person, "23 May", 0, priority},
                     Transition(slot.x),
                     Transition(slot.y - 24)});
    auto& ids = columns[0];
    ids.insert(ids.begin(), id);
    selectedTask = id;
    settleCards(time);
}

void AppState::dropCard(const Drag& dropped, Point at, Seconds time) {
    const int task = dropped.task;
    PlacedTask& placed = tasks[static_cast<std::size_t>(task)];
    const double x = at.x - dropped.grip.x;
    const double y = at.y - dropped.grip.y;
    placed.x.jump(x);
    placed.y.jump(y);
    for (int column = 0; column < kColumnCount; ++column) {
        if (!contains(layout_->column(column), at)) continue;
        for (auto& ids : columns) std::erase(ids, task);
        auto& ids = columns[static_cast<std::size_t>(column)];
        const Rect first = layout_->cardSlot(column, 0);
        const double pitch = layout_->cardSlot(column, 1).y - first.y;
        const auto row = static_cast<std::size_t>(std::max(0.0, (y - first.y) / pitch + 0.5));
        ids.insert(ids.begin() + static_cast<std::ptrdiff_t>(std::min(row, ids.size())), task);
    }
    settleCards(time);
}

void AppState::settleCards(Seconds time) {
    for (int column = 0; column < kColumnCount; ++column) {
        auto& ids = columns[static_cast<std::size_t>(column)];
        if (ids.size() > kMostInColumn) ids.resize(kMostInColumn);
        for (int row = 0; row < static_cast<int>(ids.size()); ++row) {
            PlacedTask& placed = tasks[static_cast<std::size_t>(ids[static_cast<std::size_t>(row)])];
            const Rect slot = layout_->cardSlot(column, row);
            if (placed.x.goal() == slot.x && placed.y.goal() == slot.y) continue;
            placed.x.glide(slot.x, time, 0.3);
            placed.y.glide(slot.y, time, 0.3);
        }
    }
}

void AppState::announce(std::string text, Seconds time) {
    toast = std::move(text);
    toastTime = time;
}

} // namespace glintro::sample
