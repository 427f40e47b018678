#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "core/reel/Project.h"
#include "sample/SampleReel.h"
#include "tests/support/Files.h"

namespace glintro {

// A reel whose movie is there by name only.
inline Project handMadeReel(const std::filesystem::path& folder, const ProjectInfo& info,
                            const RecordingEvents& events = {}) {
    std::filesystem::create_directories(folder);
    Project project(folder, info);
    test::putFile(project.rawURL(), "");
    if (!project.save() || !writeEvents(events, project.eventsURL()))
        throw std::runtime_error("no reel in " + folder.string());
    return project;
}

// A real reel, as short and small as it serves.
inline Project tinyReel(const std::filesystem::path& folder, double seconds = 0.5) {
    const SampleOptions options{.seconds = seconds, .size = {128, 80}, .fps = 20};
    auto project = makeSample(folder, options, [](double) { return true; });
    if (!project) throw std::runtime_error(project.error().message);
    return *project;
}

inline void change(Project project, const std::function<void(ProjectInfo&)>& edit) {
    edit(project.info);
    if (!project.save()) throw std::runtime_error("not saved: " + project.folder().string());
}

} // namespace glintro
