#include "app/shell/InspectCommand.h"

#include <fmt/format.h>

#include "app/shell/Inspection.h"
#include "app/shell/InspectionJson.h"
#include "app/shell/ReelFolder.h"
#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

using Align = TextTable::Align;

std::string_view statusText(Project::LoadResult::Status status) {
    using enum Project::LoadResult::Status;
    if (status == ok) return "ok";
    return status == damaged ? "damaged" : "none";
}

void printStatus(std::string_view status, Report report, const Console& console) {
    if (report == Report::json)
        fmt::print(console.out, "{{\n  \"status\": \"{}\"\n}}\n", status);
    else
        fmt::print(console.out, "Status: {}\n", status);
}

std::string rateText(double rate) {
    return fmt::format("{:.4g}×", rate);
}

std::string counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string summary(const Inspection& reel) {
    const ProjectInfo& info = reel.info;
    return fmt::format(
        "{}\n"
        "  Recorded  {}, {:.0f} × {:.0f} pixels, {}{}{}\n"
        "  Style     {}, {} ({} × {})\n"
        "  Finished  {}, {}, {}\n",
        printable(info.name), timestampText(info.created).value_or("at an unknown time"), info.width,
        info.height, timecode(info.duration), info.hasAudio ? ", sound" : "",
        info.hasCamera ? ", camera" : "", reel.look ? reel.look->name : "Custom",
        storedText(info.settings.aspect), reel.canvas.width, reel.canvas.height,
        timecode(reel.map.compDuration()), counted(reel.shots.size(), "shot"),
        counted(reel.map.pieces().size(), "piece"));
}

std::string shotTable(const Inspection& reel) {
    TextTable table({{"Shot", Align::right},
                     {"Start", Align::right},
                     {"End", Align::right},
                     {"Kind"},
                     {"Rate", Align::right},
                     {"Lasts", Align::right},
                     {"Caption"}});
    for (const Shot& shot : reel.shots)
        table.add({std::to_string(shot.number), timecode(shot.start), timecode(shot.end),
                   std::string(storedText(shot.kind)), rateText(shot.rate), timecode(shot.outputDuration()),
                   shot.caption()});
    return table.text();
}

std::string pieceTable(const Inspection& reel) {
    TextTable table({{"Piece", Align::right},
                     {"Start", Align::right},
                     {"End", Align::right},
                     {"Rate", Align::right},
                     {"In the reel", Align::right}});
    int number = 0;
    for (const TimeMap::Piece& piece : reel.map.pieces())
        table.add({std::to_string(++number), timecode(piece.src0), timecode(piece.src1), rateText(piece.rate),
                   timecode(piece.comp0)});
    return table.text();
}

std::string frameTable(const Inspection& reel) {
    TextTable table({{"At", Align::right},
                     {"In the reel", Align::right},
                     {"Shows", Align::right},
                     {"Shot", Align::right},
                     {"Zoom", Align::right},
                     {"Centre"},
                     {"Pointer"}});
    const auto place = [](Point at) { return fmt::format("{:.4f} {:.4f}", at.x, at.y); };
    for (const InspectedFrame& frame : reel.frames)
        table.add({fmt::format("{:.3f}", frame.sourceTime), timecode(frame.compositionTime),
                   timecode(frame.shownSource), frame.shot ? std::to_string(*frame.shot) : "–",
                   fmt::format("{:.3f}×", frame.zoom.scale), place(frame.zoom.centre),
                   frame.pointer ? place(*frame.pointer) : "–"});
    return table.text();
}

void printTables(const Inspection& reel, const Console& console) {
    console.out << summary(reel) << '\n' << shotTable(reel) << '\n' << pieceTable(reel);
    if (!reel.frames.empty()) console.out << '\n' << frameTable(reel);
}

} // namespace

Result<void> runInspect(const InspectArguments& arguments, const Console& console) {
    const Project::LoadResult loaded = Project::inspect(arguments.reel);
    if (!loaded.project) {
        printStatus(statusText(loaded.status), arguments.report, console);
        return std::unexpected(whyNoReel(arguments.reel, loaded.status));
    }
    const Inspection inspection(*loaded.project, arguments.at);
    if (arguments.report == Report::text) {
        printTables(inspection, console);
        return {};
    }
    const auto json = inspectionJson(inspection);
    if (!json) return std::unexpected(json.error());
    console.out << *json << '\n';
    return {};
}

} // namespace glintro
