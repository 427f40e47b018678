#include <algorithm>

#include "platform/linux/x11/X11Content.h"
#include "platform/linux/x11/X11Desktop.h"
#include "platform/linux/x11/X11Streams.h"

namespace glintro {
namespace {

// Fractions of a point come from scaled desktops: an edge may stick out by what rounding does.
constexpr double kRounding = 1.0 / 16;

bool isInside(const Rect& area, const Rect& display) {
    return area.x >= display.x - kRounding && area.y >= display.y - kRounding
           && area.x + area.width <= display.x + display.width + kRounding
           && area.y + area.height <= display.y + display.height + kRounding;
}

// Written so that numbers that are none fail the tests, too.
Result<void> checkArea(const Rect& area, const ShareableDisplay& display) {
    const bool hasSize = area.width > 0 && area.height > 0;
    if (!hasSize) {
        return failure("The area to record is empty: give it a width and a height.");
    }
    if (!isInside(area, display.frame)) {
        return failure("The area to record does not lie on one display: choose one that does.");
    }
    return {};
}

// The display that a filter means, now that its area is known to lie on it.
Result<ShareableDisplay> displayOf(const DisplayFilter& filter) {
    const Result<X11Connection> connection = connectToX11();
    if (!connection) return std::unexpected(connection.error());
    const Result<std::vector<ShareableDisplay>> displays = x11Displays(*connection);
    if (!displays) return std::unexpected(displays.error());
    const auto display = std::ranges::find(*displays, filter.display, &ShareableDisplay::id);
    if (display == displays->end()) {
        return failure("The display to record is not connected any more: choose another one.");
    }
    if (filter.area) {
        if (const Result<void> usable = checkArea(*filter.area, *display); !usable) {
            return std::unexpected(usable.error());
        }
    }
    return *display;
}

// Each call connects again: it is called seldom, and the server may have been another one before.
class X11ScreenCapture final : public ScreenCapture {
  public:
    bool hasAccess() override { return connectToX11().has_value(); }
    Result<ShareableContent> content() override;
    Result<BgraPicture> picture(const ContentFilter& filter, int maxSide) override;
    Result<std::unique_ptr<ScreenStream>> open(const ContentFilter& filter, std::stop_token cancel) override;
};

Result<ShareableContent> X11ScreenCapture::content() {
    const Result<X11Connection> connection = connectToX11();
    if (!connection) return std::unexpected(connection.error());
    Result<std::vector<ShareableDisplay>> displays = x11Displays(*connection);
    if (!displays) return std::unexpected(displays.error());
    Result<std::vector<ShareableWindow>> windows = x11Windows(*connection);
    if (!windows) return std::unexpected(windows.error());
    return ShareableContent{std::move(*displays), std::move(*windows)};
}

Result<BgraPicture> X11ScreenCapture::picture(const ContentFilter& filter, int maxSide) {
    if (const auto* window = std::get_if<WindowFilter>(&filter)) {
        return pictureOfX11Window(window->window, maxSide);
    }
    const auto& part = std::get<DisplayFilter>(filter);
    const Result<ShareableDisplay> display = displayOf(part);
    if (!display) return std::unexpected(display.error());
    return pictureOfX11Display(*display, part.area, maxSide);
}

Result<std::unique_ptr<ScreenStream>> X11ScreenCapture::open(const ContentFilter& filter,
                                                             std::stop_token cancel) {
    if (cancel.stop_requested()) return std::unexpected(Failure::cancelled());
    if (const auto* window = std::get_if<WindowFilter>(&filter)) return openX11Window(window->window);
    const auto& part = std::get<DisplayFilter>(filter);
    const Result<ShareableDisplay> display = displayOf(part);
    if (!display) return std::unexpected(display.error());
    return openX11Display(*display, part.area);
}

} // namespace

std::unique_ptr<ScreenCapture> createX11ScreenCapture() {
    return std::make_unique<X11ScreenCapture>();
}

} // namespace glintro
