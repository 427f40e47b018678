#include "app/shell/SampleCommand.h"

#include <cmath>

#include <fmt/format.h>

#include "app/shell/ProgressBar.h"
#include "app/shell/SignalCancel.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

Result<Project> make(const SampleArguments& arguments) {
    ProgressBar bar;
    const auto cancel = std::make_shared<ExportCancel>();
    const SignalCancel signals(cancel);
    const double frames = std::round(arguments.options.seconds * arguments.options.fps);
    return makeSample(arguments.folder, arguments.options, [&](double fraction) {
        bar.show(fraction, static_cast<int>(fraction * frames), static_cast<int>(frames));
        return !cancel->isCancelled();
    });
}

} // namespace

Result<void> runSample(const SampleArguments& arguments, const Console& console) {
    const auto project = make(arguments);
    if (!project) return std::unexpected(project.error());
    const ProjectInfo& info = project->info;
    fmt::print(console.out, "{}\n  {:.0f} × {:.0f}, {} fps, {}{}{}\n", project->folder().string(), info.width,
               info.height, arguments.options.fps, timecode(info.duration), info.hasAudio ? ", sound" : "",
               info.hasCamera ? ", camera" : "");
    return {};
}

} // namespace glintro
