#include "app/shell/RecoverCommand.h"

#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/shell/JsonOutput.h"
#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"
#include "core/reel/Recovery.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Outcome = RecoveredReel::Outcome;

std::string_view statusText(Outcome outcome) {
    switch (outcome) {
        case Outcome::fine:
            return "fine";
        case Outcome::recovered:
            return "recovered";
        case Outcome::nothingRecorded:
            return "nothing recorded";
    }
    return {};
}

std::string summary(const RecoveredReel& reel) {
    if (reel.outcome == Outcome::fine) return "was fine";
    if (reel.outcome == Outcome::nothingRecorded) return "nothing was recorded, so its files are removed";
    const ProjectInfo& info = reel.project->info;
    return fmt::format("recovered, {}{}{}", timecode(info.duration), info.hasAudio ? ", sound" : "",
                       info.hasCamera ? ", camera" : "");
}

nlohmann::json toJson(const RecoveredReel& reel) {
    nlohmann::json json{{"status", statusText(reel.outcome)}};
    if (!reel.project) return json;
    const ProjectInfo& info = reel.project->info;
    json["name"] = info.name;
    json["duration"] = info.duration;
    json["hasAudio"] = info.hasAudio;
    json["hasCamera"] = info.hasCamera;
    return json;
}

nlohmann::json toJson(const Result<RecoveredReel>& recovered, const fs::path& folder) {
    nlohmann::json json =
        recovered ? toJson(*recovered) : nlohmann::json{{"error", recovered.error().message}};
    json["reel"] = folder.string();
    return json;
}

// At once: the next reel may be a long one.
void printLine(const RecoveredReel& reel, const fs::path& folder, const Console& console) {
    fmt::print(console.out, "{}: {}\n", printable(folder.string()), summary(reel));
    console.out.flush();
}

} // namespace

Result<void> runRecover(const RecoverArguments& arguments, const ReelDefaults& defaults,
                        const Console& console) {
    const std::size_t count = arguments.reels.size();
    nlohmann::json all = nlohmann::json::array();
    std::vector<Failure> failures;
    for (const fs::path& folder : arguments.reels) {
        const auto recovered = recoverReel(folder, defaults);
        if (!recovered) failures.push_back(recovered.error());
        if (!recovered && count > 1) console.warn(recovered.error().message);
        if (recovered && arguments.report == Report::text) printLine(*recovered, folder, console);
        if (recovered && recovered->notice) console.warn(*recovered->notice);
        all.push_back(toJson(recovered, folder));
    }
    if (!failures.empty() && count == 1) return std::unexpected(failures.front());
    if (arguments.report == Report::json) printJson(count == 1 ? all.front() : all, console);
    if (failures.empty()) return {};
    return failure(fmt::format("{} of {} reels could not be recovered.", failures.size(), count));
}

} // namespace glintro
