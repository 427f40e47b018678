#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "app/shell/ExitStatus.h"
#include "core/base/Geometry.h"
#include "core/edit/EditScript.h"
#include "core/export/ExportOptions.h"
#include "core/model/Look.h"
#include "platform/linux/LinuxDesktop.h"
#include "sample/SampleReel.h"

namespace glintro {

enum class Report { text, json };

struct RenderArguments {
    std::vector<std::filesystem::path> reels;    // at least one; folders or what stands for them
    std::optional<std::filesystem::path> output; // of a single reel; absent: named after each, in `folder`
    std::filesystem::path folder;                // empty: the current one
    ExportOptions options;
    std::optional<Look> look;                       // instead of the reel's own
    std::optional<std::filesystem::path> wallpaper; // the picture behind the Look "Desktop"
    int workers = 0;                                // 0: as many as the machine has cores
    Report report = Report::text;
};

struct StillArguments {
    std::filesystem::path reel;
    Seconds at = 0; // source time
    std::optional<std::filesystem::path> output;
    std::filesystem::path folder; // as in RenderArguments
    int longSide = 1920;
    std::optional<Look> look;
    std::optional<std::filesystem::path> wallpaper;
};

struct InspectArguments {
    std::filesystem::path reel;
    std::vector<Seconds> at; // source times
    Report report = Report::text;
};

struct SampleArguments {
    std::filesystem::path folder;
    SampleOptions options;
};

// A device to record from: when on without a name, the default one.
struct DeviceWish {
    bool on = false;
    std::optional<std::string> name; // or id
    bool operator==(const DeviceWish&) const = default;
};

struct RecordArguments {
    // At most one of the three; with none, the main display.
    std::optional<std::string> display; // a number counted from 1, or a name
    std::optional<std::string> window;  // a title, or a part of it, or an id
    std::optional<Rect> area;           // points of the desktop; not checked against any display
    bool choose = false;                // to be asked again in the desktop's dialog
    std::optional<LinuxDesktop> on;     // absent: as the environment says
    std::optional<Seconds> seconds;     // absent: until a signal ends it
    DeviceWish microphone;
    DeviceWish camera;
    std::optional<int> fps; // absent, like the next: as the user prefers
    std::optional<bool> hevc;
    std::optional<std::filesystem::path> output; // the reel's folder; absent: a new one in the library
    Report report = Report::text;
};

struct SourcesArguments {
    std::optional<LinuxDesktop> on; // absent: as the environment says
    Report report = Report::text;
};

struct RecoverArguments {
    std::vector<std::filesystem::path> reels; // at least one
    Report report = Report::text;
};

struct ListArguments {
    std::string query; // empty: all reels
    Report report = Report::text;
};

struct ImportArguments {
    std::vector<std::filesystem::path> files; // at least one
    Report report = Report::text;
};

struct EditArguments {
    std::filesystem::path reel;
    EditScript script; // not empty
    bool isDryRun = false;
    Report report = Report::text;
};

using Command =
    std::variant<RenderArguments, StillArguments, InspectArguments, SampleArguments, RecordArguments,
                 SourcesArguments, RecoverArguments, ListArguments, ImportArguments, EditArguments>;

// What is said instead of running a command. With the status of success it is what was asked for (help, the
// version) and belongs on standard output; otherwise it says what was expected.
struct Notice {
    ExitStatus status = ExitStatus::success;
    std::string text;
};

// `arguments` are those behind the program's name. Values are checked as far as that goes without looking at
// any file.
std::expected<Command, Notice> parseCommandLine(const std::vector<std::string>& arguments);

} // namespace glintro
