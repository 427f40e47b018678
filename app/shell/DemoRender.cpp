#include "app/shell/DemoRender.h"

#include <fmt/format.h>

#include "app/shell/SignalCancel.h"
#include "core/base/Numbers.h"
#include "core/export/Exporter.h"
#include "core/timeline/AutoZoom.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr double kDefaultZoom = 1.6;
constexpr int kShortSide = 1080;
constexpr int kFps = 30;

AspectRatio chosenAspect(const Environment& environment) {
    const std::string word = environment("GLINTRO_RENDER_ASPECT").value_or("wide");
    if (word == "square") return AspectRatio::square;
    if (word == "vertical" || word == "tall") return AspectRatio::tall;
    return AspectRatio::wide;
}

std::int64_t chosenGradient(const Environment& environment) {
    return parseWhole(environment("GLINTRO_RENDER_GRADIENT").value_or("")).value_or(0);
}

double chosenZoom(const Environment& environment) {
    return parseDecimal(environment("GLINTRO_RENDER_ZOOM").value_or("")).value_or(kDefaultZoom);
}

void applyDemonstration(ProjectInfo& info, const RecordingEvents& events, const Environment& environment) {
    ProjectSettings& settings = info.settings;
    settings.background = BackgroundKind::gradient;
    settings.gradientIndex = chosenGradient(environment);
    settings.padding = 0.06;
    settings.cornerRadius = 16;
    settings.shadow = 0.7;
    settings.aspect = chosenAspect(environment);
    settings.showCursor = true;
    settings.cursorSize = 1.25;
    settings.clickRipple = true;
    settings.zooms = AutoZoom::segments(events.clicks, info.duration, chosenZoom(environment));
    settings.showCamera = false;
}

Result<ExportOutcome> render(const Project& project, const fs::path& output) {
    ExportOptions options;
    options.shortSide = kShortSide;
    options.fps = kFps;
    options.fill = project.info.settings.aspect != AspectRatio::wide;
    const auto cancel = std::make_shared<ExportCancel>();
    const SignalCancel onSignal(cancel);
    return Exporter::run({.project = project,
                          .settings = project.info.settings,
                          .options = options,
                          .to = output,
                          .cancel = cancel});
}

} // namespace

ExitStatus DemoRender::run(const std::string& folder, const Environment& environment,
                           const Console& console) {
    const fs::path output =
        environment("GLINTRO_RENDER_OUT").value_or((fs::path(folder) / "rendered.mp4").string());
    auto project = Project::load(folder);
    if (!project) {
        fmt::print(console.out, "✗ no Glintro project in {}\n", folder);
        return ExitStatus::failed;
    }
    applyDemonstration(project->info, project->loadEvents(), environment);
    if (!project->save()) console.warn("The project file couldn’t be saved; the render goes on without.");
    const auto rendered = render(*project, output);
    if (!rendered) {
        fmt::print(console.out, "✗ render failed: {}\n", rendered.error().message);
        return ExitStatus::failed;
    }
    for (const std::string& warning : rendered->warnings) console.warn(warning);
    fmt::print(console.out, "✓ rendered {} with {} zooms\n", output.string(),
               project->info.settings.zooms.size());
    return ExitStatus::success;
}

} // namespace glintro
