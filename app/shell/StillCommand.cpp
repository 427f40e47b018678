#include "app/shell/StillCommand.h"

#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "app/shell/OutputName.h"
#include "app/shell/ReelFolder.h"
#include "app/shell/SignalCancel.h"
#include "core/export/Destination.h"
#include "core/media/decode/StillImage.h"
#include "core/render/StillSource.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

Result<BgraImage> render(const Project& project, const StillArguments& arguments, Wallpaper& wallpaper,
                         const Console& console) {
    ProjectSettings settings = project.info.settings;
    if (arguments.look) arguments.look->apply(settings);
    const LongSide longSide{static_cast<double>(arguments.longSide)};
    auto picture =
        wallpaper.pictureFor(settings, outputSize(settings.aspect, project.sourceSize(), longSide));
    if (!picture) return std::unexpected(picture.error());
    auto source = StillSource::open(project, [&] { return eventsOrWarning(project, console); });
    if (!source) return std::unexpected(source.error());
    const CameraUse camera = settings.showCamera ? CameraUse::with : CameraUse::without;
    return (*source)->still({.at = arguments.at, .camera = camera, .tolerance = FrameTolerance::exact},
                            settings, arguments.longSide, *std::move(picture), Framing::fit);
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

Result<void> runStill(const StillArguments& arguments, const Console& console, AskDesktopPicture desktop) {
    const auto project = openReel(arguments.reel);
    if (!project) return std::unexpected(project.error());
    if (arguments.output) {
        if (auto checked = checkDestination(*project, *arguments.output); !checked) return checked;
    }
    warnOfMissingCamera(*project, console);
    const auto cancel = std::make_shared<ExportCancel>();
    const SignalCancel onSignal(cancel);
    Wallpaper wallpaper(arguments.wallpaper, std::move(desktop), console);
    const auto image = render(*project, arguments, wallpaper, console);
    if (!image) return std::unexpected(image.error());
    if (cancel->isCancelled()) return std::unexpected(Failure::cancelled());
    return arguments.output ? saveTo(*arguments.output, *image, console)
                            : saveToNewName(arguments.folder, *project, *image, console);
}

} // namespace glintro
