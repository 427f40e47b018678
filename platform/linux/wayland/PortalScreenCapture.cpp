#include <cerrno>
#include <chrono>
#include <mutex>
#include <string>
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
constexpr std::chrono::milliseconds kShortTimeout{250};
constexpr std::chrono::seconds kLongTimeout{25};

Result<void> askWhetherThePortalCanDoIt(std::chrono::microseconds timeout) {
    auto bus = PortalBus::connect();
    if (!bus) return std::unexpected(bus.error());
    (*bus)->setTimeout(timeout);
    const auto version = (*bus)->number("org.freedesktop.portal.ScreenCast", "version");
    if (!version) return std::unexpected(version.error());
    return {};
}

class PortalScreenCapture final : public ScreenCapture {
  public:
    bool hasAccess() override {
        const auto able = askWhetherThePortalCanDoIt(kShortTimeout);
        return able
               || able.error().nativeCode == ETIMEDOUT; // then content() asks again, with the longer timeout
    }

    Result<ShareableContent> content() override {
        if (auto able = askWhetherThePortalCanDoIt(kLongTimeout); !able) return std::unexpected(able.error());
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
        const auto area = display ? display->area : std::nullopt;
        CastRequest request =
            this->request(display ? SharedSource::Kind::screen : SharedSource::Kind::window);
        bool isRestored = false;
        auto stream = openOnce(request, area, cancel, isRestored);
        if (stream || !area || !isRestored || stream.error().isCancelled()) return stream;
        // The area may lie on another screen than the one chosen before, which would come back each time
        // without a question.
        request.mayRestore = false;
        return openOnce(request, area, cancel, isRestored);
    }

    void forgetChoice() override {
        const std::scoped_lock lock(mutex_);
        mayRestore_ = false;
    }
    void nameChoice(const std::string& name) override {
        const std::scoped_lock lock(mutex_);
        name_ = name;
    }

  private:
    // `isRestored`: whether the user may not have been asked.
    Result<std::unique_ptr<ScreenStream>> openOnce(const CastRequest& request,
                                                   const std::optional<Rect>& area,
                                                   const std::stop_token& cancel, bool& isRestored) {
        auto cast = ScreenCast::open(request, cancel);
        if (!cast) return std::unexpected(cast.error());
        choiceMade();
        isRestored = (*cast)->isRestored();
        return PortalStream::open(std::move(*cast), area, request, cancel);
    }
    CastRequest request(SharedSource::Kind kind) {
        const std::scoped_lock lock(mutex_);
        return {kind, name_, mayRestore_};
    }
    // Not before: a user who closes the dialog has not agreed to the old choice.
    void choiceMade() {
        const std::scoped_lock lock(mutex_);
        mayRestore_ = true;
    }

    std::mutex mutex_;
    std::string name_;       // under mutex_
    bool mayRestore_ = true; // under mutex_
};

} // namespace

std::unique_ptr<ScreenCapture> createPortalScreenCapture() {
    return std::make_unique<PortalScreenCapture>();
}

} // namespace glintro
