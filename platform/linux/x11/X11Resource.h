#pragma once

#include <cstdint>
#include <utility>

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace glintro {

// A resource of the server's that is given back with the object, which the connection must outlive.
template <auto giveBack>
class X11Resource {
  public:
    X11Resource() = default;
    X11Resource(xcb_connection_t* connection, std::uint32_t id) : connection_(connection), id_(id) {}
    X11Resource(X11Resource&& other) noexcept
        : connection_(other.connection_), id_(std::exchange(other.id_, 0)) {}
    // What is held so far is given back after the other one was made.
    X11Resource& operator=(X11Resource&& other) noexcept {
        std::swap(connection_, other.connection_);
        std::swap(id_, other.id_);
        return *this;
    }
    ~X11Resource() {
        if (id_ != 0) giveBack(connection_, id_);
    }

    std::uint32_t id() const { return id_; }
    explicit operator bool() const { return id_ != 0; }

  private:
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t id_ = 0;
};

using X11Pixmap = X11Resource<xcb_free_pixmap>;
using X11Window = X11Resource<xcb_destroy_window>;
using X11GraphicsContext = X11Resource<xcb_free_gc>;
using X11Damage = X11Resource<xcb_damage_destroy>;
using X11Picture = X11Resource<xcb_render_free_picture>;
using X11Region = X11Resource<xcb_xfixes_destroy_region>;

} // namespace glintro
