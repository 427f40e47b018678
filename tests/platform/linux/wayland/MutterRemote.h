#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/wayland/PortalBus.h"

namespace glintro::test {

// The compositor's own interfaces for test robots: moves the pointer, and shares a window without a dialog.
// Throws where mutter does not play along.
class MutterRemote {
  public:
    MutterRemote();

    void movePointerTo(double x, double y);
    // The node, on the user's PipeWire daemon, that shows the window in front. Lives as long as this.
    std::uint32_t shareFrontWindow();

  private:
    BusMessage call(const char* destination, const std::string& path, const char* interface,
                    const char* method, const char* types = nullptr, ...);

    BusHandle bus_;
    std::string remote_;
    std::uint32_t node_ = 0;
};

} // namespace glintro::test
