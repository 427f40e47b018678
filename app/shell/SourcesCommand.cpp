#include "app/shell/SourcesCommand.h"

#include <functional>
#include <type_traits>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/shell/JsonOutput.h"
#include "app/shell/SourceNames.h"
#include "app/shell/TerminalText.h"

namespace glintro {
namespace {

using Align = TextTable::Align;
using nlohmann::json;

constexpr int kLongestName = 60; // columns

struct Sources {
    Result<ShareableContent> screen;
    Result<std::vector<SoundDevice>> microphones;
    Result<std::vector<CameraDevice>> cameras;
};

std::string sizeText(const Rect& frame) {
    return fmt::format("{:g} × {:g}", frame.width, frame.height);
}

std::string displayTable(const std::vector<ShareableDisplay>& displays) {
    TextTable table({{"No.", Align::right}, {"Name"}, {"Size"}, {"Position"}, {"Scale", Align::right}});
    int number = 0;
    for (const ShareableDisplay& display : displays)
        table.add({std::to_string(++number), printable(display.name), sizeText(display.frame),
                   fmt::format("{:g}, {:g}", display.frame.x, display.frame.y),
                   fmt::format("{:g}×", display.scale)});
    return table.text();
}

std::string windowTable(const std::vector<ShareableWindow>& windows) {
    TextTable table({{"Id", Align::right}, {"Title"}, {"Application"}, {"Size"}});
    for (const ShareableWindow& window : windows)
        table.add({std::to_string(window.id), shortened(window.title, kLongestName),
                   shortened(window.application, kLongestName), sizeText(window.frame)});
    return table.text();
}

template <class Device>
std::string deviceTable(const std::vector<Device>& devices) {
    TextTable table({{"Id"}, {"Name"}});
    for (const Device& device : devices)
        table.add({printable(device.id), printable(device.name) + (device.isDefault ? " (default)" : "")});
    return table.text();
}

// The list that is part of what was asked for, or why that is not known.
template <class Whole, class Part>
auto partOf(const Result<Whole>& whole, Part part)
    -> Result<std::decay_t<std::invoke_result_t<Part, const Whole&>>> {
    if (!whole) return std::unexpected(whole.error());
    return std::invoke(part, *whole);
}

// A section of a list, of the word that there is nothing, or of the reason why that is not known.
template <class List, class Table>
void printSection(const char* heading, const Result<List>& list, Table table, const Console& console) {
    const std::string content = !list           ? "  " + printable(list.error().message) + "\n"
                                : list->empty() ? "  none\n"
                                                : table(*list);
    console.out << heading << '\n' << content;
}

void printScreen(const Result<ShareableContent>& screen, const Console& console) {
    if (screen && screen->chosenInDialog) {
        console.out << "Displays and windows\n  The desktop asks for them when a recording starts.\n\n";
        return;
    }
    printSection("Displays", partOf(screen, &ShareableContent::displays), displayTable, console);
    console.out << '\n';
    printSection("Windows", partOf(screen, nameableWindows), windowTable, console);
    console.out << '\n';
}

void print(const Sources& sources, const Console& console) {
    printScreen(sources.screen, console);
    printSection("Microphones", sources.microphones, deviceTable<SoundDevice>, console);
    console.out << '\n';
    printSection("Cameras", sources.cameras, deviceTable<CameraDevice>, console);
}

json frameJson(const Rect& frame) {
    return {{"x", frame.x}, {"y", frame.y}, {"width", frame.width}, {"height", frame.height}};
}

json frameJson(const PixelRect& frame) {
    return {{"x", frame.x}, {"y", frame.y}, {"width", frame.width}, {"height", frame.height}};
}

json toJson(const ShareableDisplay& display) {
    return {{"id", display.id},
            {"name", display.name},
            {"frame", frameJson(display.frame)},
            {"scale", display.scale},
            {"pixels", frameJson(display.pixels)}};
}

json toJson(const ShareableWindow& window) {
    return {{"id", window.id},
            {"title", window.title},
            {"application", window.application},
            {"process", window.process},
            {"frame", frameJson(window.frame)}};
}

template <class Device>
json toJson(const Device& device) {
    return {{"id", device.id}, {"name", device.name}, {"default", device.isDefault}};
}

template <class List>
void put(json& all, const char* key, const Result<List>& list) {
    all[key] = json::array();
    if (!list) {
        all["unknown"][key] = list.error().message;
        return;
    }
    for (const auto& each : *list) all[key].push_back(toJson(each));
}

json toJson(const Sources& sources) {
    json all{{"unknown", json::object()}};
    all["chosenInDialog"] = sources.screen && sources.screen->chosenInDialog;
    put(all, "displays", partOf(sources.screen, &ShareableContent::displays));
    put(all, "windows", partOf(sources.screen, nameableWindows));
    put(all, "microphones", sources.microphones);
    put(all, "cameras", sources.cameras);
    return all;
}

} // namespace

Result<void> runSources(const SourcesArguments& arguments, Platform& platform, const Console& console) {
    const Sources sources{platform.screen().content(), platform.sound().microphones(),
                          platform.cameras().cameras()};
    if (arguments.report == Report::json)
        printJson(toJson(sources), console);
    else
        print(sources, console);
    return {};
}

} // namespace glintro
