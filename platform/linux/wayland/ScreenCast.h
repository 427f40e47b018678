#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "core/base/Failure.h"
#include "core/base/FileDescriptor.h"
#include "core/base/Geometry.h"
#include "platform/linux/wayland/PortalBus.h"

namespace glintro {

// A session of the ScreenCast portal: what the user has agreed to share, for as long as this lives. One
// thread at a time may use it.
class ScreenCast {
  public:
    enum class Kind { screen, window };
    enum class Choice { asTheLastTime, anew };
    enum class PointerMode { metadata, hidden, embedded };

    // Asks the user, unless they are to get what they chose the last time and the portal remembers it. Takes
    // as long as they do; see ScreenCapture::open.
    [[nodiscard]] static Result<std::unique_ptr<ScreenCast>> open(Kind kind, Choice choice,
                                                                  const std::stop_token& cancel);
    ~ScreenCast();

    PointerMode pointerMode() const { return pointerMode_; }
    // The PipeWire node of the pictures, on the connection of takeRemote().
    std::uint32_t node() const { return node_; }
    FileDescriptor takeRemote() { return std::move(remote_); }

    // Where on the desktop it is and how large, in points, as far as the portal tells.
    Point position() const { return position_; }
    std::optional<Size> size() const { return size_; }

    // Readable when there may be something to process(); false when the desktop has ended the session, or the
    // portal is gone, which alone would tell.
    int descriptor() const { return bus_->descriptor(); }
    bool process() { return bus_->process() && !isClosed_ && !bus_->portalIsGone(); }

  private:
    explicit ScreenCast(std::unique_ptr<PortalBus> bus) : bus_(std::move(bus)) {}
    static Result<std::unique_ptr<ScreenCast>> openWith(const std::string& token, Kind kind,
                                                        const std::stop_token& cancel);
    Result<void> createSession(const std::stop_token& cancel);
    Result<void> choosePointerMode();
    Result<void> selectSources(Kind kind, const std::string& token, const std::stop_token& cancel);
    Result<void> start(const std::stop_token& cancel);
    Result<void> openRemote(const std::stop_token& cancel);
    int readStreams(sd_bus_message* results);
    bool readStreamEntry(sd_bus_message* message, const std::string& name);

    std::unique_ptr<PortalBus> bus_;
    std::string session_;
    PortalBus::SignalHandler closed_;
    BusSlot closedSlot_;
    bool isClosed_ = false;
    PointerMode pointerMode_ = PointerMode::embedded;
    std::string nextToken_;
    std::uint32_t node_ = 0;
    bool hasStream_ = false;
    Point position_;
    std::optional<Size> size_;
    FileDescriptor remote_;
};

} // namespace glintro
