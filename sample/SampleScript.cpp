#include "sample/SampleScript.h"

#include <algorithm>
#include <array>

#include "sample/ScriptWriter.h"

namespace glintro::sample {
namespace {

const char* oneOf(std::span<const char* const> texts, Random& random) {
    return texts[static_cast<std::size_t>(random.index(static_cast<int>(texts.size())))];
}

// One that is not on the board yet, as far as there are such.
const char* newTitle(ScriptWriter& writer) {
    const auto titles = newTaskTitles();
    const auto start = static_cast<std::size_t>(writer.random().index(static_cast<int>(titles.size())));
    for (std::size_t i = 0; i < titles.size(); ++i) {
        const char* title = titles[(start + i) % titles.size()];
        if (!writer.state().onBoard(title)) return title;
    }
    return titles[start];
}

enum class Assignee { user, another };

void fillDialog(ScriptWriter& writer, Assignee assignee) {
    writer.click({Part::newButton, 0});
    writer.rest(0.3, 0.4);
    writer.click({Part::titleField, 0});
    writer.rest(0.15, 0.25);
    writer.type(newTitle(writer));
    writer.rest(0.2, 0.35);
    writer.click({Part::priorityChoice, writer.random().unit() < 0.7 ? 2 : 0});
    writer.rest(0.15, 0.3);
    if (assignee == Assignee::another) {
        writer.click({Part::personChoice, 1 + writer.random().index(4)});
        writer.rest(0.25, 0.5);
    }
    writer.click({Part::create, 0});
    writer.rest(0.7, 1.0);
}

void addTask(ScriptWriter& writer) {
    fillDialog(writer, Assignee::another);
}

void addOwnTask(ScriptWriter& writer) {
    fillDialog(writer, Assignee::user);
}

void moveCard(ScriptWriter& writer) {
    const auto& columns = writer.state().columns;
    int from = writer.random().index(kColumnCount - 1);
    if (columns[static_cast<std::size_t>(from)].empty()) from = columns[0].empty() ? 1 : 0;
    const auto& ids = columns[static_cast<std::size_t>(from)];
    if (ids.empty()) return;
    const int row = writer.random().index(std::min(3, static_cast<int>(ids.size())));
    const auto room = static_cast<int>(columns[static_cast<std::size_t>(from) + 1].size());
    writer.dragCard(ids[static_cast<std::size_t>(row)], from + 1,
                    writer.random().index(std::min(3, room + 1)));
    writer.rest(0.4, 0.7);
}

void filterBoard(ScriptWriter& writer) {
    const int chosen = writer.state().filter == 0 ? 1 + writer.random().index(3) : 0;
    writer.click({Part::filterButton, 0});
    writer.rest(0.3, 0.5);
    writer.hover({Part::menuItem, chosen == 0 ? 2 : chosen - 1});
    writer.rest(0.2, 0.4);
    writer.click({Part::menuItem, chosen});
    writer.rest(1.0, 1.6);
}

void searchBoard(ScriptWriter& writer) {
    writer.click({Part::search, 0});
    writer.rest(0.2, 0.4);
    writer.type(oneOf(searches(), writer.random()));
    writer.rest(1.0, 1.5);
    writer.click({Part::searchClear, 0});
    writer.rest(0.5, 0.9);
}

void pickCard(ScriptWriter& writer) {
    const auto& ids = writer.state().columns[static_cast<std::size_t>(writer.random().index(kColumnCount))];
    if (ids.empty()) return;
    writer.click(
        {Part::card,
         ids[static_cast<std::size_t>(writer.random().index(std::min(3, static_cast<int>(ids.size()))))]});
    writer.rest(0.4, 0.8);
}

// Nothing moves while the presenter talks.
void talk(ScriptWriter& writer) {
    writer.rest(2.2, 3.8);
}

void pause(ScriptWriter& writer) {
    writer.rest(1.6, 2.0);
}

using Act = void (*)(ScriptWriter&);
constexpr std::array<Act, 4> kOpening{addOwnTask, pause, moveCard, filterBoard};
constexpr std::array<Act, 6> kScenes{addTask, moveCard, filterBoard, talk, searchBoard, pickCard};

// The scenes of one round in an order of its own, each once.
std::vector<Act> shuffled(Random& random) {
    std::vector<Act> scenes(kScenes.begin(), kScenes.end());
    for (int i = static_cast<int>(scenes.size()) - 1; i > 0; --i) {
        std::swap(scenes[static_cast<std::size_t>(i)], scenes[static_cast<std::size_t>(random.index(i + 1))]);
    }
    return scenes;
}

// Adds those of the scenes that still fit.
void play(std::span<const Act> scenes, Seconds end, ScriptWriter& writer) {
    for (const Act scene : scenes) {
        ScriptWriter attempt = writer;
        scene(attempt);
        if (attempt.now() <= end) writer = std::move(attempt);
    }
}

} // namespace

SampleScript writeScript(const AppLayout& layout, Seconds duration, std::uint64_t seed) {
    Random random(seed);
    ScriptWriter writer(layout, Random(random.next()));
    writer.rest(0.2, 0.4);
    const Seconds end = duration - 0.2;
    play(kOpening, end, writer);
    for (Seconds before = -1; before < writer.now();) {
        before = writer.now();
        play(shuffled(random), end, writer);
    }
    return {writer.path(), writer.inputs()};
}

} // namespace glintro::sample
