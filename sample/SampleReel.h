#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/reel/Project.h"

namespace glintro {

enum class SampleCamera { off, on };
enum class SampleMicrophone { off, on };

struct SampleOptions {
    double seconds = 20;        // 0.5 to 3600; the movie lasts the nearest whole number of frames
    PixelSize size{1920, 1200}; // even, 64 to 8192 each
    int fps = 60;               // 1 to 120
    std::uint64_t seed = 1;
    SampleCamera camera = SampleCamera::on;
    SampleMicrophone microphone = SampleMicrophone::on;
};

// Makes a reel that looks like a real take, in a folder that is new, empty or left by an unfinished run of
// this; any other folder is refused and left alone. A run that fails or is cancelled removes what it
// wrote. `progress` is called from the calling thread with the share done, 0..1; false cancels, and an empty
// function lets it run. The same options give the same movies and events; only the identifiers of the zooms
// differ from run to run.
Result<Project> makeSample(const std::filesystem::path& folder, const SampleOptions& options,
                           const std::function<bool(double fraction)>& progress);

} // namespace glintro
