#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "core/model/ProjectSettings.h"
#include "core/raster/Picture.h"
#include "platform/DesktopPicture.h"

namespace glintro {

// Asks the desktop for its own picture; called only when a frame shows it.
using AskDesktopPicture = std::function<std::optional<DesktopPicture>()>;

// The picture behind the Look “Desktop” on the command line: the file that was named, else the desktop's own.
class Wallpaper {
  public:
    // The console must outlive it.
    Wallpaper(std::optional<std::filesystem::path> named, AskDesktopPicture desktop, const Console& console);

    // The picture for settings and a canvas, in the size needed to cover it. A file that was named must be a
    // picture, whatever the settings show. Null for settings that show none, and where the desktop has none:
    // the gradient then stands in, and the console says so, once.
    [[nodiscard]] Result<std::shared_ptr<const BgraImage>> pictureFor(const ProjectSettings& settings,
                                                                      PixelSize canvas);

  private:
    std::shared_ptr<const BgraImage> desktopPicture(PixelSize canvas);
    void warnOnce();

    std::optional<std::filesystem::path> named_;
    AskDesktopPicture desktop_;
    const Console& console_;
    bool hasWarned_ = false;
};

} // namespace glintro
