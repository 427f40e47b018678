#include "app/shell/RenderCommand.h"

#include <chrono>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/shell/OutputName.h"
#include "app/shell/ProgressBar.h"
#include "app/shell/ReelFolder.h"
#include "app/shell/SignalCancel.h"
#include "core/export/Exporter.h"
#include "core/media/MovieReader.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// The movie as it turned out.
struct RenderedMovie {
    fs::path file;
    PixelSize size;
    Seconds duration = 0;
    int fps = 0;
    int frames = 0;
    std::uintmax_t bytes = 0;
    Seconds elapsed = 0; // host time that the render took
};

// Renders, and returns how many frames the movie has.
Result<int> exportMovie(ExportRequest request) {
    int frames = 0;
    ProgressBar bar;
    request.progress = [&](const ExportProgress& progress) {
        frames = progress.total;
        bar.show(progress.fraction, progress.written, progress.total);
    };
    if (auto done = Exporter::run(request); !done) return std::unexpected(done.error());
    return frames;
}

Result<RenderedMovie> renderTo(const fs::path& file, const Project& project, const RenderArguments& arguments,
                               const std::shared_ptr<ExportCancel>& cancel) {
    const auto started = std::chrono::steady_clock::now();
    ExportRequest request{.project = project,
                          .settings = project.info.settings,
                          .options = arguments.options,
                          .to = fs::absolute(file),
                          .cancel = cancel,
                          .workers = arguments.workers};
    if (arguments.look) arguments.look->apply(request.settings);
    const auto frames = exportMovie(request);
    if (!frames) return std::unexpected(frames.error());
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
    const auto movie = MovieReader::open(file, MovieReader::Access::single);
    if (!movie) return std::unexpected(movie.error());
    const MovieProperties& properties = (*movie)->properties();
    std::error_code ignored;
    return RenderedMovie{file,    properties.naturalSize,       properties.duration, request.options.fps,
                         *frames, fs::file_size(file, ignored), elapsed.count()};
}

void printJson(const RenderedMovie& movie, const Console& console) {
    const nlohmann::json all{{"output", fs::absolute(movie.file).string()},
                             {"width", movie.size.width},
                             {"height", movie.size.height},
                             {"duration", movie.duration},
                             {"fps", movie.fps},
                             {"frames", movie.frames},
                             {"bytes", movie.bytes},
                             {"seconds", movie.elapsed}};
    console.out << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

std::string bytesText(std::uintmax_t bytes) {
    const auto amount = static_cast<double>(bytes);
    if (bytes < 1'000'000) return fmt::format("{:.0f} kB", amount / 1e3);
    if (bytes < 1'000'000'000) return fmt::format("{:.1f} MB", amount / 1e6);
    return fmt::format("{:.2f} GB", amount / 1e9);
}

void printText(const RenderedMovie& movie, const Console& console) {
    fmt::print(console.out, "{}\n  {} × {}, {} fps, {}, {}\n  Rendered in {}, {:.0f} frames a second\n",
               movie.file.string(), movie.size.width, movie.size.height, movie.fps, timecode(movie.duration),
               bytesText(movie.bytes), shortDuration(movie.elapsed), movie.frames / movie.elapsed);
}

void print(const RenderedMovie& movie, Report report, const Console& console) {
    if (report == Report::json)
        printJson(movie, console);
    else
        printText(movie, console);
}

Result<RenderedMovie> renderToNewName(const Project& project, const RenderArguments& arguments,
                                      const std::shared_ptr<ExportCancel>& cancel) {
    auto name = ReservedName::create({}, outputStem(project), ".mp4");
    if (!name) return std::unexpected(name.error());
    auto movie = renderTo(name->path(), project, arguments, cancel);
    if (movie) name->keep();
    return movie;
}

} // namespace

Result<void> runRender(const RenderArguments& arguments, const Console& console) {
    const auto project = openReel(arguments.reel);
    if (!project) return std::unexpected(project.error());
    if (arguments.output) {
        if (auto checked = checkOutput(*project, *arguments.output); !checked) return checked;
    }
    eventsOrWarning(*project, console);
    warnOfMissingCamera(*project, console);
    const auto cancel = std::make_shared<ExportCancel>();
    const SignalCancel signals(cancel);
    const auto movie = arguments.output ? renderTo(*arguments.output, *project, arguments, cancel)
                                        : renderToNewName(*project, arguments, cancel);
    if (!movie) return std::unexpected(movie.error());
    print(*movie, arguments.report, console);
    return {};
}

} // namespace glintro
