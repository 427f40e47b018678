#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/base/Geometry.h"

namespace glintro::test {

// A window whose every pixel the test knows. It speaks the few requests of the Wayland protocol it needs by
// itself, so that tests need no toolkit. Throws where the compositor does not play along.
class WaylandWindow {
  public:
    // Fills the screen when the size is 0 x 0.
    explicit WaylandWindow(PixelSize size);
    ~WaylandWindow();
    WaylandWindow(const WaylandWindow&) = delete;
    WaylandWindow& operator=(const WaylandWindow&) = delete;

    PixelSize size() const { return size_; }
    // Draws rectangles of colours 0xRRGGBB, one over the other, and shows the result.
    struct Patch {
        PixelRect where;
        std::uint32_t colour = 0;
    };
    void show(const std::vector<Patch>& patches);
    void resize(PixelSize size, std::uint32_t colour);

  private:
    using Words = std::vector<std::uint32_t>;
    void send(std::uint32_t object, std::uint32_t request, const Words& arguments, int descriptor = -1);
    void receive();
    void handle(std::uint32_t object, std::uint32_t event, const Words& body);
    void roundTrip();
    std::uint32_t bind(const std::string& interface, std::uint32_t version);
    void allocate(PixelSize size);

    FileDescriptor socket_;
    std::map<std::string, std::uint32_t> globals_; // interface to name
    // Objects of ours; a new one must have the next number.
    std::uint32_t nextId_ = 2;
    std::uint32_t registry_ = 0, compositor_ = 0, shm_ = 0, wmBase_ = 0;
    std::uint32_t surface_ = 0, xdgSurface_ = 0, toplevel_ = 0;
    std::uint32_t awaited_ = 0; // the callback of the last round trip
    std::uint32_t configured_ = 0;
    PixelSize proposed_;
    PixelSize size_;
    FileDescriptor memory_;
    std::uint32_t* pixels_ = nullptr;
    std::size_t bytes_ = 0;
    std::uint32_t pool_ = 0;
};

} // namespace glintro::test
