#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "core/export/ExportCancel.h"
#include "core/export/ExportOptions.h"
#include "core/raster/Picture.h"
#include "core/reel/Project.h"

namespace glintro {

// A live preview of the frame just written, at most 640 pixels on its longer side.
struct ExportFrame {
    BgraImage image;
    int index = 0; // 1-based
    int total = 0;
};

// How a render turned out that was finished.
struct ExportOutcome {
    // What the user should know of the file, one sentence each.
    std::vector<std::string> warnings;
};

// How far an export is. `fraction` stays below 1 until the file is finished.
struct ExportProgress {
    double fraction = 0;
    int written = 0; // frames
    int total = 0;   // frames
    PixelSize canvas;
};

// One render of a reel to one file.
struct ExportRequest {
    Project project;
    ProjectSettings settings;
    ExportOptions options;
    std::filesystem::path to;
    std::shared_ptr<const BgraImage> wallpaper = nullptr;
    std::shared_ptr<ExportCancel> cancel = std::make_shared<ExportCancel>();
    // Both are called on the export's own threads, one call at a time; either may be empty.
    std::function<void(const ExportFrame&)> onFrame = {}; // frames 1, 4, 7, ...
    std::function<void(const ExportProgress&)> progress = {};
    // Threads that draw; 0 for as many as the machine has cores. The file does not depend on it.
    int workers = 0;
};

class Exporter {
  public:
    // Renders and returns when the file is finished, has failed or was cancelled (Failure::isCancelled). The
    // file replaces its destination in one step, when it is whole and on the disk: a render that does not
    // finish leaves no partial file and an older file as it was. A cancel has effect up to that step, also
    // while the file is being finished. The destination's folder is made. A destination that is one of the
    // reel's own files is refused. Sound that cannot be decoded is left out, with a warning.
    [[nodiscard]] static Result<ExportOutcome> run(const ExportRequest& request);
};

} // namespace glintro
