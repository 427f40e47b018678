#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "core/reel/Project.h"
#include "sample/SampleReel.h"

namespace glintro {

inline void writeText(const std::filesystem::path& file, std::string_view text) {
    std::ofstream(file, std::ios::binary) << text;
}

inline std::string readText(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// A reel whose movie is there by name only.
inline Project handMadeReel(const std::filesystem::path& folder, const ProjectInfo& info,
                            const RecordingEvents& events = {}) {
    std::filesystem::create_directories(folder);
    Project project(folder, info);
    writeText(project.rawURL(), "");
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

// Every file below a folder with what it holds.
inline std::map<std::string, std::string> filesBelow(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        files[entry.path().string()] = entry.is_regular_file() ? readText(entry.path()) : "";
    return files;
}

} // namespace glintro
