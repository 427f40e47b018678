#include "app/shell/EditCommand.h"

#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "app/shell/Inspection.h"
#include "app/shell/InspectionJson.h"
#include "app/shell/ReelFolder.h"
#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"
#include "core/reel/ProjectUpdate.h"
#include "core/reel/TakeJournal.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

Result<Project> openToEdit(const fs::path& folder) {
    if (TakeJournal::isRunning(folder))
        return failure(
            fmt::format("“{}” is being recorded right now. Stop the recording first.", folder.string()));
    return openReel(folder);
}

// A reel without the file has no clicks. One whose file is damaged would lose the zooms made from them.
Result<RecordingEvents> eventsToEditWith(const Project& project) {
    std::error_code ignored;
    auto events = readEvents(project.eventsURL());
    if (events) return events;
    if (fs::status(project.eventsURL(), ignored).type() == fs::file_type::not_found) return RecordingEvents{};
    return failure(
        fmt::format("The clicks of “{}” (events.json) can’t be read, so no zooms can be made from them.",
                    project.folder().string()),
        events.error().detail, events.error().nativeCode);
}

// What the file holds at the moment of the change, edited, is what is answered and saved.
Result<EditedReel> editAndSave(const fs::path& folder, const EditScript& script, const EditInputs& inputs) {
    EditedReel result;
    const auto change = [&](ProjectInfo& info) -> Result<void> {
        auto edited = script.apply(info, inputs);
        if (!edited) return std::unexpected(edited.error());
        info = edited->info;
        result = *std::move(edited);
        return {};
    };
    if (auto updated = updateProject(folder, change); !updated) return std::unexpected(updated.error());
    return result;
}

void printLines(const EditedReel& reel, const Inspection& result, bool isDryRun, const Console& console) {
    for (const std::string& line : reel.done) fmt::print(console.out, "{}\n", printable(line));
    if (reel.done.empty()) fmt::print(console.out, "Nothing changed\n");
    fmt::print(console.out, "{}: {}, {} shot{}{}\n", printable(result.info.name),
               timecode(result.map.compDuration()), result.shots.size(), result.shots.size() == 1 ? "" : "s",
               isDryRun ? "; nothing is saved" : "");
}

} // namespace

Result<void> runEdit(const EditArguments& arguments, const ReelFinder& reels, double defaultZoom,
                     const Console& console) {
    const auto folder = reels.find(arguments.reel);
    if (!folder) return std::unexpected(folder.error());
    auto project = openToEdit(*folder);
    if (!project) return std::unexpected(project.error());
    EditInputs inputs{.defaultZoom = defaultZoom};
    if (arguments.script.needsClicks()) {
        auto events = eventsToEditWith(*project);
        if (!events) return std::unexpected(events.error());
        inputs.clicks = std::move(events->clicks);
    }
    auto edited = arguments.isDryRun ? arguments.script.apply(project->info, inputs)
                                     : editAndSave(*folder, arguments.script, inputs);
    if (!edited) return std::unexpected(edited.error());
    project->info = edited->info;
    const Inspection result(*project, {});
    if (arguments.report == Report::text) {
        printLines(*edited, result, arguments.isDryRun, console);
        return {};
    }
    const auto json = inspectionJson(result);
    if (!json) return std::unexpected(json.error());
    console.out << *json << '\n';
    return {};
}

} // namespace glintro
