#include "platform/linux/x11/DesktopSettings.h"
#include "platform/linux/x11/X11Desktop.h"
#include "platform/linux/x11/X11RootPixmap.h"

namespace glintro {
namespace {

class LinuxDesktopPictureSource final : public DesktopPictureSource {
  public:
    std::optional<DesktopPicture> picture() override {
        if (auto file = pictureOfDesktopSettings()) return *file;
        const Result<X11Connection> connection = connectToX11();
        if (!connection) return std::nullopt;
        if (auto pixels = x11RootPixmap(*connection)) return std::move(*pixels);
        return std::nullopt;
    }
};

} // namespace

std::unique_ptr<DesktopPictureSource> createDesktopPictureSource() {
    return std::make_unique<LinuxDesktopPictureSource>();
}

} // namespace glintro
