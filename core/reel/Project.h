#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "core/model/ProjectInfo.h"
#include "core/model/RecordingEvents.h"

namespace glintro {

// A reel: a folder with a screen movie, and the record of it. A value; whoever holds one owns a copy. The
// folder is the identity: two values of one reel with different edits are equal.
class Project {
  public:
    struct LoadResult;
    struct Registration;

    Project(std::filesystem::path folder, ProjectInfo record)
        : info(std::move(record)), folder_(std::move(folder)) {}

    // What a folder is, by its screen movie (which is not opened) and its project file.
    [[nodiscard]] static LoadResult inspect(const std::filesystem::path& folder);
    // The reel of a folder that inspects as ok.
    [[nodiscard]] static std::optional<Project> load(const std::filesystem::path& folder);

    // Writes the project file of a folder that already holds the screen movie, with default settings and
    // zooms at the recorded clicks. A project file that is there is kept as "project-damaged.json".
    // `nullopt` when the movie cannot be read or has no length, or the file cannot be written. Opens the
    // movie: not for the main thread.
    [[nodiscard]] static std::optional<Project> registerReel(const std::filesystem::path& folder,
                                                             const Registration& registration);

    // Replaces the project file in one step; the old one stays on failure.
    [[nodiscard]] bool save() const;

    // The recorded events; empty ones when the file is missing or not what it should be.
    RecordingEvents loadEvents() const;

    const std::filesystem::path& folder() const { return folder_; }
    const std::filesystem::path& id() const { return folder_; }
    std::filesystem::path rawURL() const { return folder_ / "raw.mov"; }
    std::filesystem::path infoURL() const { return folder_ / "project.json"; }
    std::filesystem::path eventsURL() const { return folder_ / "events.json"; }
    std::filesystem::path cameraURL() const { return folder_ / "camera.mov"; }
    // The project file as it was before a rebuild.
    std::filesystem::path damagedURL() const { return folder_ / "project-damaged.json"; }

    Size sourceSize() const { return {info.width, info.height}; }
    // Whether a path leads to one of the files that make up the reel, also through links.
    bool owns(const std::filesystem::path& file) const;
    // Recorded with a camera, and its movie is still there.
    bool cameraAvailable() const;

    friend bool operator==(const Project& a, const Project& b) { return a.folder_ == b.folder_; }

    ProjectInfo info;

  private:
    std::filesystem::path folder_;
};

struct Project::LoadResult {
    enum class Status {
        ok,
        damaged, // a screen movie whose project file cannot be read
        none,    // no screen movie: not a reel
    };

    Status status = Status::none;
    std::optional<Project> project = {}; // when ok
};

// What a new reel's record is made of besides its movie and events.
struct Project::Registration {
    std::string name = {};
    bool hasCamera = false;
    Seconds cameraOffset = 0;
    bool hasAudio = false;
    double zoomLevel = 2.0;
    std::optional<AspectRatio> aspect = {}; // 16:9 when absent
    Timestamp created = {};
    bool pointerIsEmbedded = false; // in the pictures: a second one drawn beside it would confuse
};

} // namespace glintro

template <>
struct std::hash<glintro::Project> {
    std::size_t operator()(const glintro::Project& project) const {
        return std::filesystem::hash_value(project.folder());
    }
};
