#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <spa/buffer/meta.h>

#include "core/base/Geometry.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

namespace glintro::test {

// A PipeWire node that shows pictures as a compositor would, with whatever the test lets it say beside them.
class ScreenNode {
  public:
    // What goes with one picture; the pointers are to the buffer that is about to be sent.
    struct Sheet {
        spa_data* data = nullptr;
        spa_meta_header* header = nullptr;
        spa_meta_cursor* pointer = nullptr;
        spa_region* crop = nullptr;
        spa_region* damage = nullptr; // 16 of them
        spa_meta_videotransform* turn = nullptr;
    };

    // In the daemon that the environment names.
    ScreenNode(PixelSize size, std::uint32_t format);
    ~ScreenNode();

    std::uint32_t id();
    void resize(PixelSize size);
    // Sends one picture of one value in all bytes, as soon as somebody looks; `write` changes what goes with
    // it.
    void send(std::uint8_t value, const std::function<void(const Sheet&)>& write = {});
    // The same if somebody looks now; else false.
    bool trySend(std::uint8_t value, const std::function<void(const Sheet&)>& write = {});

  private:
    static const pw_stream_events kEvents;
    void describeBuffers();
    void fill(spa_buffer& buffer, std::uint8_t value, const std::function<void(const Sheet&)>& write) const;
    std::uint32_t bytes() const { return static_cast<std::uint32_t>(size_.width * size_.height * 4); }

    std::unique_ptr<PipeWireConnection> connection_;
    PixelSize size_;
    std::uint32_t format_;
    PipeWireStream stream_;
    PipeWireHook hook_;
};

} // namespace glintro::test
