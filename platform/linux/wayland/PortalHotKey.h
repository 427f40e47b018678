#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/HotKeySource.h"
#include "platform/linux/wayland/PortalBus.h"

namespace glintro {

// A key combination by way of the GlobalShortcuts portal. The desktop may ask the user about it, show it in
// its settings and let them choose another one, so listen() succeeds as soon as the portal knows such
// shortcuts at all; what came of it the handlers tell.
class PortalHotKey final : public HotKeySource {
  public:
    ~PortalHotKey() override { stop(); }

    Result<void> listen(const KeyCombination& keys, HotKeyHandlers handlers) override;
    void stop() override;

  private:
    void run(const std::string& trigger, const std::stop_token& stop);
    [[nodiscard]] Result<void> serve(const std::string& trigger, const std::stop_token& stop);
    [[nodiscard]] Result<std::string> createSession(const std::string& trigger, const std::stop_token& stop);
    [[nodiscard]] Result<void> bind(const std::string& session, const std::string& trigger,
                                    const std::stop_token& stop);
    void show(const std::optional<std::string>& trigger);

    std::unique_ptr<PortalBus> bus_; // used by the thread while it runs
    HotKeyHandlers handlers_;
    std::optional<std::string> shown_; // the trigger that `bound` was called with last; nullopt after `lost`
    bool isLost_ = false;
    std::jthread thread_;
};

// The combination as the portal wants it described ("CTRL+ALT+r"); nullopt for keys other than letters,
// digits and function keys.
std::optional<std::string> shortcutTrigger(const KeyCombination& keys);

} // namespace glintro
