#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/HotKeySource.h"
#include "platform/linux/wayland/PortalBus.h"

namespace glintro {

// A key combination by way of the GlobalShortcuts portal. The desktop may ask the user about it, show it in
// its settings and let them choose another one; nothing tells whether they did, so listen() succeeds as soon
// as the portal knows such shortcuts at all.
class PortalHotKey final : public HotKeySource {
  public:
    ~PortalHotKey() override { stop(); }

    Result<void> listen(const KeyCombination& keys, std::function<void()> pressed) override;
    void stop() override;

  private:
    void run(const std::string& trigger, const std::stop_token& stop);
    std::optional<std::string> createSession(const std::string& trigger, const std::stop_token& stop);

    std::unique_ptr<PortalBus> bus_; // used by the thread while it runs
    std::function<void()> pressed_;
    std::jthread thread_;
};

// The combination as the portal wants it described ("CTRL+ALT+r"); nothing for keys other than letters,
// digits and function keys.
std::optional<std::string> shortcutTrigger(const KeyCombination& keys);

} // namespace glintro
