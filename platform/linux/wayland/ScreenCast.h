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
#include "platform/linux/wayland/SharedSource.h"

namespace glintro {

// What is to be shared.
struct CastRequest {
    SharedSource::Kind kind = SharedSource::Kind::screen; // screen or window
    // What the user called it, for example "Terminal"; empty when they named nothing. The portal cannot be
    // told a name, so it only keeps apart what is remembered.
    std::string name = {};
    bool mayRestore = true; // what was chosen for the same kind and name before, without a dialog
};

// A session of the ScreenCast portal: what the user has agreed to share, for as long as this lives. One
// thread at a time may use it.
class ScreenCast {
  public:
    enum class PointerMode { metadata, embedded, hidden };

    // Shares what the user chose before for the same request where that may be restored and the portal still
    // brings back the same source; else asks them. Takes as long as they do; see ScreenCapture::open.
    [[nodiscard]] static Result<std::unique_ptr<ScreenCast>> open(const CastRequest& request,
                                                                  const std::stop_token& cancel);
    ~ScreenCast();

    PointerMode pointerMode() const { return pointerMode_; }
    // The PipeWire node of the pictures, on the connection of releaseRemote().
    std::uint32_t node() const { return node_; }
    // The socket of the PipeWire connection; the caller owns it from now on.
    FileDescriptor releaseRemote() { return std::move(remote_); }

    // What is shared, as far as the portal tells.
    const SharedSource& source() const { return source_; }
    // Whether a token shared it, so that the user may not have been asked.
    bool isRestored() const { return isRestored_; }

    // Readable when there may be something to process(); false when the desktop has ended the session, or the
    // portal is gone, which alone would tell.
    int descriptor() const { return bus_->descriptor(); }
    bool process() { return bus_->process() && !isClosed_ && !bus_->portalIsGone(); }

  private:
    explicit ScreenCast(std::unique_ptr<PortalBus> bus) : bus_(std::move(bus)) {}
    [[nodiscard]] static Result<std::unique_ptr<ScreenCast>> openWith(const std::string& token,
                                                                      SharedSource::Kind kind,
                                                                      const std::stop_token& cancel);
    [[nodiscard]] Result<void> createSession(const std::stop_token& cancel);
    [[nodiscard]] Result<void> choosePointerMode();
    [[nodiscard]] Result<void> selectSources(SharedSource::Kind kind, const std::string& token,
                                             const std::stop_token& cancel);
    [[nodiscard]] Result<void> start(const std::stop_token& cancel);
    [[nodiscard]] Result<void> openRemote(const std::stop_token& cancel);
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
    SharedSource source_;
    bool isRestored_ = false;
    FileDescriptor remote_;
};

} // namespace glintro
