#include "app/shell/ReelFolder.h"

#include <system_error>

#include <fmt/format.h>

#include "app/editor/ReelNotices.h"
#include "core/media/decode/MovieReader.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// Whether a path may be the name of a reel.
bool isName(const fs::path& named) {
    return !named.empty() && !named.has_parent_path();
}

std::string noReelMessage(const fs::path& folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (status.type() == fs::file_type::not_found)
        return fmt::format("There is no folder “{}”{}.", folder.string(),
                           isName(folder) ? ", and the library has no reel of that name" : "");
    if (error) return fmt::format("“{}” can’t be opened: {}.", folder.string(), error.message());
    if (status.type() != fs::file_type::directory)
        return fmt::format("“{}” is not a folder. Give the reel’s folder, the one that holds raw.mov.",
                           folder.string());
    const fs::directory_iterator entries(folder, error);
    if (error) return fmt::format("“{}” can’t be opened: {}.", folder.string(), error.message());
    return fmt::format("“{}” is not a reel: it holds no raw.mov.", folder.string());
}

std::string damagedMessage(const fs::path& folder) {
    std::error_code ignored;
    if (!fs::exists(Project(folder, {}).infoURL(), ignored))
        return fmt::format(
            "“{}” holds a recording, but no project file (project.json): “glintro recover” makes one.",
            folder.string());
    return fmt::format("The project file of “{}” (project.json) is damaged: “glintro recover” rebuilds it.",
                       folder.string());
}

} // namespace

Failure whyNoReel(const fs::path& folder, Project::LoadResult::Status status) {
    const bool damaged = status == Project::LoadResult::Status::damaged;
    return {damaged ? damagedMessage(folder) : noReelMessage(folder)};
}

Result<Project> openReel(const fs::path& folder) {
    Project::LoadResult result = Project::inspect(folder);
    if (!result.project) return std::unexpected(whyNoReel(folder, result.status));
    std::error_code ignored;
    if (!fs::is_regular_file(result.project->rawURL(), ignored)) // opening a pipe would wait for ever
        return failure(fmt::format("The raw.mov of “{}” is not a file.", folder.string()));
    return std::move(*result.project);
}

RecordingEvents eventsOrWarning(const Project& project, const Console& console) {
    std::error_code ignored;
    auto events = readEvents(project.eventsURL());
    if (events) return std::move(*events);
    if (fs::exists(project.eventsURL(), ignored)) console.warn(notice::kEventsUnreadable);
    return {};
}

void warnOfMissingCamera(const Project& project, const Console& console) {
    if (!project.info.settings.showCamera || !project.info.hasCamera) return;
    if (!project.cameraAvailable())
        console.warn(notice::kCameraMissing);
    else if (!MovieReader::open(project.cameraURL(), MovieReader::Access::single))
        console.warn(notice::kCameraUnreadable);
}

} // namespace glintro
