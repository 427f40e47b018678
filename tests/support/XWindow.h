#pragma once

#include <cstdint>
#include <string>

#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include "tests/support/XSession.h"

namespace glintro::test {

// A window of a program of its own (a connection of its own, that is), for tests to describe, show and move.
// Each call returns when the server has taken it in; what a window manager makes of it comes later.
class XWindow {
  public:
    explicit XWindow(const std::string& display, int width = 300, int height = 200, int x = 0, int y = 0,
                     bool overrideRedirect = false, std::uint32_t colour = 0xFFFFFF)
        : connection_(connectTo(display)), window_(xcb_generate_id(connection_.get())) {
        const std::uint32_t values[] = {colour, overrideRedirect ? 1U : 0U};
        xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window_, rootOf(connection_.get()),
                          static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                          static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_size_hints_t hints{};
        xcb_icccm_size_hints_set_position(&hints, 1, x, y);
        xcb_icccm_set_wm_normal_hints(connection_.get(), window_, &hints);
        synchronise(connection_.get());
    }

    xcb_window_t id() const { return window_; }
    xcb_connection_t* connection() const { return connection_.get(); }

    void setText(const std::string& property, const std::string& type, const std::string& text) {
        set(property, type, 8, static_cast<std::uint32_t>(text.size()), text.data());
    }
    void setWords(const std::string& property, const std::string& type,
                  const std::vector<std::uint32_t>& words) {
        set(property, type, 32, static_cast<std::uint32_t>(words.size()), words.data());
    }
    void setTitle(const std::string& title) { setText("_NET_WM_NAME", "UTF8_STRING", title); }
    void setType(const std::string& type) {
        setWords("_NET_WM_WINDOW_TYPE", "ATOM", {atomOf(connection_.get(), "_NET_WM_WINDOW_TYPE_" + type)});
    }

    void show() {
        xcb_map_window(connection_.get(), window_);
        synchronise(connection_.get());
    }
    void hide() {
        xcb_unmap_window(connection_.get(), window_);
        synchronise(connection_.get());
    }
    void move(int x, int y) {
        const std::uint32_t values[] = {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
        xcb_configure_window(connection_.get(), window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
        synchronise(connection_.get());
    }
    // Of this colour from now on.
    void paint(std::uint32_t colour) {
        xcb_change_window_attributes(connection_.get(), window_, XCB_CW_BACK_PIXEL, &colour);
        xcb_clear_area(connection_.get(), 0, window_, 0, 0, 0, 0);
        synchronise(connection_.get());
    }
    void raise() {
        const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection_.get(), window_, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
        synchronise(connection_.get());
    }
    void minimise() { tellManager("WM_CHANGE_STATE", XCB_ICCCM_WM_STATE_ICONIC); }
    void moveToDesktop(std::uint32_t number) { tellManager("_NET_WM_DESKTOP", number); }

  private:
    void set(const std::string& property, const std::string& type, std::uint8_t format, std::uint32_t count,
             const void* data) {
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window_,
                            atomOf(connection_.get(), property), atomOf(connection_.get(), type), format,
                            count, data);
        synchronise(connection_.get());
    }

    void tellManager(const std::string& message, std::uint32_t value) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window_;
        event.type = atomOf(connection_.get(), message);
        event.data.data32[0] = value;
        xcb_send_event(connection_.get(), 0, rootOf(connection_.get()),
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&event));
        synchronise(connection_.get());
    }

    XConnection connection_;
    xcb_window_t window_;
};

} // namespace glintro::test
