#include "app/shell/RenderCommand.h"

#include <chrono>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/shell/JsonOutput.h"
#include "app/shell/OutputName.h"
#include "app/shell/ProgressBar.h"
#include "app/shell/ReelFolder.h"
#include "app/shell/RenderOptions.h"
#include "app/shell/SignalCancel.h"
#include "app/shell/TerminalText.h"
#include "core/export/Destination.h"
#include "core/export/Exporter.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// The file as it turned out.
struct Rendering {
    fs::path file;
    PixelSize size = {};
    Seconds duration = 0;
    int fps = 0;
    int frames = 0;
    std::uintmax_t bytes = 0;
    Seconds elapsed = 0; // host time that the render took
    std::vector<std::string> warnings = {};
};

// Renders the reels of one command line, one after the other.
class Renderer {
  public:
    Renderer(const RenderArguments& arguments, const Console& console, Wallpaper& wallpaper,
             std::shared_ptr<ExportCancel> cancel)
        : arguments_(arguments), console_(console), wallpaper_(wallpaper), cancel_(std::move(cancel)) {}

    Result<Rendering> render(const fs::path& reel) const;

  private:
    Result<Rendering> renderTo(const fs::path& file, const Project& project) const;
    Result<Rendering> renderToNewName(const Project& project) const;
    Result<ExportRequest> request(const fs::path& file, const Project& project) const;

    const RenderArguments& arguments_;
    const Console& console_;
    Wallpaper& wallpaper_;
    std::shared_ptr<ExportCancel> cancel_;
};

Result<Rendering> Renderer::render(const fs::path& reel) const {
    const auto project = openReel(reel);
    if (!project) return std::unexpected(project.error());
    if (arguments_.output) {
        if (auto checked = checkDestination(*project, *arguments_.output); !checked)
            return std::unexpected(checked.error());
    }
    eventsOrWarning(*project, console_);
    warnOfMissingCamera(*project, console_);
    return arguments_.output ? renderTo(*arguments_.output, *project) : renderToNewName(*project);
}

Result<Rendering> Renderer::renderToNewName(const Project& project) const {
    auto name =
        ReservedName::create(arguments_.folder, outputStem(project), fileEnding(arguments_.options.format));
    if (!name) return std::unexpected(name.error());
    auto rendering = renderTo(name->path(), project);
    if (rendering) name->keep();
    return rendering;
}

Result<ExportRequest> Renderer::request(const fs::path& file, const Project& project) const {
    ExportRequest request{.project = project,
                          .settings = project.info.settings,
                          .options = arguments_.options,
                          .to = file,
                          .wallpaper = nullptr,
                          .cancel = cancel_,
                          .workers = arguments_.workers};
    if (arguments_.look) arguments_.look->apply(request.settings);
    auto picture = wallpaper_.pictureFor(
        request.settings, arguments_.options.outputSize(request.settings, project.sourceSize()));
    if (!picture) return std::unexpected(picture.error());
    request.wallpaper = *std::move(picture);
    return request;
}

Result<Rendering> Renderer::renderTo(const fs::path& file, const Project& project) const {
    const auto started = std::chrono::steady_clock::now();
    Rendering rendering{.file = file, .fps = arguments_.options.frameRate()};
    auto order = request(file, project);
    if (!order) return std::unexpected(order.error());
    {
        ProgressBar bar;
        order->progress = [&](const ExportProgress& progress) {
            rendering.frames = progress.total;
            rendering.size = progress.canvas;
            bar.show(progress.fraction, progress.written, progress.total);
        };
        auto outcome = Exporter::run(*order);
        if (!outcome) return std::unexpected(outcome.error());
        rendering.warnings = std::move(outcome->warnings);
    }
    for (const std::string& warning : rendering.warnings) console_.warn(warning);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
    std::error_code ignored;
    rendering.elapsed = elapsed.count();
    rendering.duration = static_cast<double>(rendering.frames) / rendering.fps;
    rendering.bytes = fs::file_size(file, ignored);
    return rendering;
}

nlohmann::json toJson(const Rendering& rendering) {
    nlohmann::json json{{"output", fs::absolute(rendering.file).string()},
                        {"width", rendering.size.width},
                        {"height", rendering.size.height},
                        {"duration", rendering.duration},
                        {"fps", rendering.fps},
                        {"frames", rendering.frames},
                        {"bytes", rendering.bytes},
                        {"seconds", rendering.elapsed}};
    if (!rendering.warnings.empty()) json["warnings"] = rendering.warnings;
    return json;
}

void print(const Rendering& rendering, const Console& console) {
    fmt::print(console.out, "{}\n  {} × {}, {} fps, {}, {}\n  Rendered in {}, {:.0f} frames a second\n",
               rendering.file.string(), rendering.size.width, rendering.size.height, rendering.fps,
               timecode(rendering.duration), bytesText(rendering.bytes), shortDuration(rendering.elapsed),
               rendering.frames / rendering.elapsed);
    console.out.flush();
}

Result<void> renderOne(const Renderer& renderer, const RenderArguments& arguments, const Console& console) {
    const auto rendering = renderer.render(arguments.reels.front());
    if (!rendering) return std::unexpected(rendering.error());
    if (arguments.report == Report::json)
        printJson(toJson(*rendering), console);
    else
        print(*rendering, console);
    return {};
}

// A reel that fails does not keep the others from being rendered; a cancel ends them all.
Result<void> renderMany(const Renderer& renderer, const RenderArguments& arguments, const Console& console) {
    nlohmann::json all = nlohmann::json::array();
    std::size_t failures = 0;
    Seconds elapsed = 0;
    for (const fs::path& reel : arguments.reels) {
        const auto rendering = renderer.render(reel);
        if (!rendering && rendering.error().isCancelled()) return std::unexpected(rendering.error());
        nlohmann::json entry =
            rendering ? toJson(*rendering) : nlohmann::json{{"error", rendering.error().message}};
        entry["reel"] = reel.string();
        all.push_back(std::move(entry));
        if (!rendering) {
            ++failures;
            console.warn(fmt::format("{}: {}", reel.string(), rendering.error().message));
            continue;
        }
        elapsed += rendering->elapsed;
        if (arguments.report == Report::text) print(*rendering, console);
    }
    const std::size_t count = arguments.reels.size();
    if (arguments.report == Report::json)
        printJson(all, console);
    else
        fmt::print(console.out, "{} of {} reels rendered in {}\n", count - failures, count,
                   shortDuration(elapsed));
    if (failures > 0) return failure(fmt::format("{} of {} reels could not be rendered.", failures, count));
    return {};
}

} // namespace

Result<void> runRender(const RenderArguments& arguments, const Console& console, AskDesktopPicture desktop) {
    Wallpaper wallpaper(arguments.wallpaper, std::move(desktop), console);
    const auto cancel = std::make_shared<ExportCancel>();
    const SignalCancel onSignal(cancel);
    const Renderer renderer(arguments, console, wallpaper, cancel);
    return arguments.reels.size() == 1 ? renderOne(renderer, arguments, console)
                                       : renderMany(renderer, arguments, console);
}

} // namespace glintro
