#include <atomic>
#include <cerrno>
#include <chrono>
#include <utility>

#include "platform/linux/wayland/PortalBus.h"
#include "platform/linux/wayland/PortalStream.h"
#include "platform/linux/wayland/ScreenCast.h"
#include "platform/linux/wayland/WaylandDesktop.h"

namespace glintro {
namespace {

// The one entry of each list stands for what the user will choose in the portal's dialog.
constexpr std::uint32_t kChosenDisplay = 1;
constexpr std::uint32_t kChosenWindow = 1;

// For a question that a window waits for, and for one that it does not wait for.
constexpr std::chrono::milliseconds kGlance{250};
constexpr std::chrono::seconds kPatience{25};

Result<void> askWhetherThePortalCanDoIt(std::chrono::microseconds patience) {
    auto bus = PortalBus::connect();
    if (!bus) return std::unexpected(bus.error());
    (*bus)->setPatience(patience);
    const auto version = (*bus)->number("org.freedesktop.portal.ScreenCast", "version");
    if (!version) return std::unexpected(version.error());
    return {};
}

class PortalScreenCapture final : public ScreenCapture {
  public:
    bool hasAccess() override {
        const auto able = askWhetherThePortalCanDoIt(kGlance);
        return able || able.error().nativeCode == ETIMEDOUT; // then it is asked again, with patience
    }

    Result<ShareableContent> content() override {
        if (auto able = askWhetherThePortalCanDoIt(kPatience); !able) return std::unexpected(able.error());
        ShareableContent content;
        content.displays.push_back({.id = kChosenDisplay, .name = "Screen", .frame = {}});
        content.windows.push_back({.id = kChosenWindow, .title = "Window", .application = {}, .frame = {}});
        content.chosenInDialog = true;
        return content;
    }

    Result<std::unique_ptr<ScreenStream>> open(const ContentFilter& filter, std::stop_token cancel) override {
        const auto* display = std::get_if<DisplayFilter>(&filter);
        const bool isKnown = display ? display->display == kChosenDisplay
                                     : std::get<WindowFilter>(filter).window == kChosenWindow;
        if (!isKnown)
            return failure("The screen or window does not exist; on this desktop it is chosen in a dialog.");
        auto cast = ScreenCast::open(display ? ScreenCast::Kind::screen : ScreenCast::Kind::window,
                                     choice_.load(), cancel);
        if (!cast) return std::unexpected(cast.error());
        choice_ = ScreenCast::Choice::asTheLastTime;
        return PortalStream::open(std::move(*cast), display ? display->area : std::nullopt, cancel);
    }

    // Until they have chosen: a user who gives up has not agreed to the old choice.
    void forgetChoice() override { choice_ = ScreenCast::Choice::anew; }

  private:
    std::atomic<ScreenCast::Choice> choice_ = ScreenCast::Choice::asTheLastTime;
};

} // namespace

std::unique_ptr<ScreenCapture> createPortalScreenCapture() {
    return std::make_unique<PortalScreenCapture>();
}

} // namespace glintro
