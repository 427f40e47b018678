#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "platform/HotKeySource.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// The keys and modifier bits that a combination means on the keyboard as it is set up now.
struct X11KeyChoice {
    std::vector<xcb_keycode_t> keys;
    std::uint16_t modifiers = 0;
    std::uint16_t numLock = 0;
    bool operator==(const X11KeyChoice&) const = default;
};

// Fails when no key of the keyboard carries the symbol.
[[nodiscard]] Result<X11KeyChoice> findX11Keys(const X11Connection& connection, const KeyCombination& keys);

// A key combination grabbed for one connection: the server sends the key's presses and releases there,
// whichever window has the focus and whether Num Lock and Caps Lock are on. Ends with release() or the
// connection.
class X11KeyGrab {
  public:
    // Fails when another program holds the combination.
    [[nodiscard]] static Result<X11KeyGrab> create(const X11Connection& connection,
                                                   const KeyCombination& keys);

    void release(const X11Connection& connection) const;
    const X11KeyChoice& choice() const { return choice_; }
    bool isOf(xcb_keycode_t key) const;

  private:
    X11KeyChoice choice_;
};

// For example "Alt+Super+R".
std::string nameOf(const KeyCombination& keys);

} // namespace glintro
