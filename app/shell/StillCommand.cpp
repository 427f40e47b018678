#include "app/shell/StillCommand.h"

#include <future>
#include <system_error>

#include <fmt/format.h>

#include "app/shell/OutputName.h"
#include "app/shell/ReelFolder.h"
#include "app/shell/SignalCancel.h"
#include "core/media/decode/StillImage.h"
#include "core/render/Still.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

Result<BgraImage> render(const Project& project, const StillArguments& arguments, const Console& console) {
    ProjectSettings settings = project.info.settings;
    if (arguments.look) arguments.look->apply(settings);
    auto wallpaper = loadWallpaper(arguments.wallpaper);
    if (!wallpaper) return std::unexpected(wallpaper.error());
    auto events = std::async(std::launch::async, [&] { return eventsOrWarning(project, console); });
    const CameraUse camera = settings.showCamera ? CameraUse::with : CameraUse::without;
    const auto frame = Still::frame(project, arguments.at, camera);
    if (!frame) return std::unexpected(frame.error());
    return Still::render(*frame, events.get(), settings, arguments.longSide, *std::move(wallpaper),
                         Framing::fit);
}

Result<void> saveTo(const fs::path& file, const BgraImage& image, const Console& console) {
    if (auto saved = savePng(image, file); !saved) return saved;
    fmt::print(console.out, "{}\n  {} × {}\n", file.string(), image.size.width, image.size.height);
    return {};
}

Result<void> saveToNewName(const fs::path& folder, const Project& project, const BgraImage& image,
                           const Console& console) {
    auto name = ReservedName::create(folder, outputStem(project), ".png");
    if (!name) return std::unexpected(name.error());
    auto saved = saveTo(name->path(), image, console);
    if (saved) name->keep();
    return saved;
}

} // namespace

Result<void> runStill(const StillArguments& arguments, const Console& console) {
    const auto project = openReel(arguments.reel);
    if (!project) return std::unexpected(project.error());
    if (arguments.output) {
        if (auto checked = checkOutput(*project, *arguments.output); !checked) return checked;
    }
    warnOfMissingCamera(*project, console);
    const auto cancel = std::make_shared<ExportCancel>();
    const SignalCancel signals(cancel);
    const auto image = render(*project, arguments, console);
    if (!image) return std::unexpected(image.error());
    if (cancel->isCancelled()) return std::unexpected(Failure::cancelled());
    return arguments.output ? saveTo(*arguments.output, *image, console)
                            : saveToNewName(arguments.folder, *project, *image, console);
}

} // namespace glintro
