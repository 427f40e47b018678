#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <pipewire/pipewire.h>
#include <spa/param/video/raw.h>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/wayland/CastPicture.h"

namespace glintro {

struct CastHandlers {
    std::function<void(const CastPicture&)> picture;
    // In pixels of the picture; nullopt while the pointer is elsewhere.
    std::function<void(std::optional<Point>)> pointer;
    // The stream has ended by itself; called at most once.
    std::function<void(Failure)> ended;
};

// The pictures of one PipeWire node, read from buffers in shared memory. Handlers are called on the
// connection's thread. Create and destroy it under the connection's lock, or after its thread has ended.
class CastStream {
  public:
    [[nodiscard]] static Result<std::unique_ptr<CastStream>> connect(PipeWireConnection& connection,
                                                                     std::uint32_t node,
                                                                     CastHandlers handlers);

    ~CastStream();

  private:
    CastStream(PipeWireConnection& connection, std::uint32_t node, CastHandlers handlers)
        : connection_(connection), node_(node), handlers_(std::move(handlers)) {}
    static const pw_stream_events kStreamEvents;
    static const pw_registry_events kRegistryEvents;

    void formatChanged(const spa_pod* parameter);
    void process();
    void readBuffer(const spa_buffer& buffer);
    void readPointer(const spa_buffer& buffer, Point origin);
    void nudge();
    void end(const char* detail);

    PipeWireConnection& connection_;
    std::uint32_t node_ = 0;
    CastHandlers handlers_;
    bool hasEnded_ = false;
    bool hasPicture_ = false;
    bool hasMissedDamage_ = false; // a buffer that could not be read told of changes
    spa_source* nudgeTimer_ = nullptr;
    std::optional<spa_video_info_raw> format_;
    PipeWireRegistry registry_;
    PipeWireHook registryHook_;
    PipeWireStream stream_;
    PipeWireHook streamHook_;
};

} // namespace glintro
