#include "core/reel/Project.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "core/base/FileIO.h"

namespace glintro {
namespace {

bool fileExists(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::exists(file, error);
}

} // namespace

Project::LoadResult Project::inspect(const std::filesystem::path& folder) {
    using enum LoadResult::Status;
    Project project(folder, {});
    if (!fileExists(project.rawURL())) return {none, std::nullopt};
    const auto text = readFile(project.infoURL(), kLongestProjectText);
    if (!text) return {damaged, std::nullopt};
    auto info = decodeProjectInfo(*text);
    if (!info) return {damaged, std::nullopt};
    project.info = std::move(*info);
    return {ok, std::move(project)};
}

std::optional<Project> Project::load(const std::filesystem::path& folder) {
    return inspect(folder).project;
}

bool Project::save() const {
    const auto text = encodeProjectInfo(info);
    return text && writeFileAtomically(infoURL(), *text, Readers::owner);
}

RecordingEvents Project::loadEvents() const {
    return readEvents(eventsURL()).value_or(RecordingEvents());
}

bool Project::owns(const std::filesystem::path& file) const {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path wanted = fs::weakly_canonical(file, ignored);
    return std::ranges::any_of(
        std::array{rawURL(), infoURL(), eventsURL(), cameraURL(), damagedURL()}, [&](const fs::path& own) {
            return fs::equivalent(own, file, ignored) || fs::weakly_canonical(own, ignored) == wanted;
        });
}

bool Project::cameraAvailable() const {
    return info.hasCamera && fileExists(cameraURL());
}

} // namespace glintro
