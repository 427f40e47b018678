#include "platform/linux/x11/X11KeyGrab.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include <xcb/xcb_keysyms.h>

namespace glintro {
namespace {

struct FreeKeySymbols {
    void operator()(xcb_key_symbols_t* symbols) const { xcb_key_symbols_free(symbols); }
};
using KeySymbols = std::unique_ptr<xcb_key_symbols_t, FreeKeySymbols>;

constexpr xcb_keysym_t kFirstFunctionKey = 0xFFBE, kLastFunctionKey = 0xFFE0; // F1 to F35
constexpr xcb_keysym_t kNumLock = 0xFF7F;
constexpr std::array<xcb_keysym_t, 2> kAlt{0xFFE9, 0xFFEA};
constexpr std::array<xcb_keysym_t, 2> kSuper{0xFFEB, 0xFFEC};

std::vector<xcb_keycode_t> keysWith(xcb_key_symbols_t* symbols, xcb_keysym_t symbol) {
    const X11Reply<xcb_keycode_t> found(xcb_key_symbols_get_keycode(symbols, symbol));
    std::vector<xcb_keycode_t> keys;
    for (const xcb_keycode_t* key = found.get(); key != nullptr && *key != XCB_NO_SYMBOL; ++key) {
        keys.push_back(*key);
    }
    return keys;
}

// Which of the eight modifiers each key with a symbol stands for is the user's choice.
class ModifierMap {
  public:
    ModifierMap(xcb_connection_t* connection, xcb_key_symbols_t* symbols) : symbols_(symbols) {
        map_.reset(xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    }

    template <std::size_t count>
    std::uint16_t maskOf(const std::array<xcb_keysym_t, count>& names, std::uint16_t otherwise) const {
        for (const xcb_keysym_t name : names) {
            for (const xcb_keycode_t key : keysWith(symbols_, name)) {
                if (const std::uint16_t mask = maskOf(key); mask != 0) return mask;
            }
        }
        return otherwise;
    }

  private:
    std::uint16_t maskOf(xcb_keycode_t key) const {
        if (!map_ || map_->keycodes_per_modifier == 0) return 0;
        const xcb_keycode_t* begin = xcb_get_modifier_mapping_keycodes(map_.get());
        const xcb_keycode_t* end = begin + xcb_get_modifier_mapping_keycodes_length(map_.get());
        const auto found = std::find(begin, end, key);
        if (found == end) return 0;
        return static_cast<std::uint16_t>(1 << ((found - begin) / map_->keycodes_per_modifier));
    }

    xcb_key_symbols_t* symbols_;
    X11Reply<xcb_get_modifier_mapping_reply_t> map_;
};

std::uint16_t maskOf(const KeyCombination& keys, const ModifierMap& map) {
    unsigned mask = 0;
    if ((keys.modifiers & KeyCombination::shift) != 0) mask |= XCB_MOD_MASK_SHIFT;
    if ((keys.modifiers & KeyCombination::control) != 0) mask |= XCB_MOD_MASK_CONTROL;
    if ((keys.modifiers & KeyCombination::alt) != 0) mask |= map.maskOf(kAlt, XCB_MOD_MASK_1);
    if ((keys.modifiers & KeyCombination::super) != 0) mask |= map.maskOf(kSuper, XCB_MOD_MASK_4);
    return static_cast<std::uint16_t>(mask);
}

// All are asked for before the first answer is waited for: the code of the first error, 0 when there is none.
int grabAll(const X11Connection& connection, const X11KeyChoice& choice) {
    std::vector<xcb_void_cookie_t> cookies;
    const unsigned number = choice.numLock, capitals = XCB_MOD_MASK_LOCK;
    for (const xcb_keycode_t key : choice.keys) {
        for (const unsigned locks : {0U, number, capitals, number | capitals}) {
            cookies.push_back(xcb_grab_key_checked(connection.get(), 0, connection.root(),
                                                   static_cast<std::uint16_t>(choice.modifiers | locks), key,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
    }
    int code = 0;
    for (const xcb_void_cookie_t cookie : cookies) {
        const X11Reply<xcb_generic_error_t> error(xcb_request_check(connection.get(), cookie));
        if (error && code == 0) code = error->error_code;
    }
    return code;
}

} // namespace

Result<X11KeyChoice> findX11Keys(const X11Connection& connection, const KeyCombination& keys) {
    const KeySymbols symbols(xcb_key_symbols_alloc(connection.get()));
    X11KeyChoice choice;
    choice.keys = keysWith(symbols.get(), keys.keySymbol);
    if (choice.keys.empty()) {
        return failure("This keyboard has no key for " + nameOf(keys) + ": choose other keys.");
    }
    const ModifierMap map(connection.get(), symbols.get());
    choice.modifiers = maskOf(keys, map);
    choice.numLock = map.maskOf(std::array{kNumLock}, XCB_MOD_MASK_2);
    return choice;
}

Result<X11KeyGrab> X11KeyGrab::create(const X11Connection& connection, const KeyCombination& keys) {
    Result<X11KeyChoice> choice = findX11Keys(connection, keys);
    if (!choice) return std::unexpected(choice.error());
    X11KeyGrab grab;
    grab.choice_ = std::move(*choice);
    if (const int code = grabAll(connection, grab.choice_); code != 0) {
        grab.release(connection);
        return failure("Another program already uses " + nameOf(keys)
                           + ": free the keys there, or choose others for Glintro.",
                       "GrabKey", code);
    }
    return grab;
}

void X11KeyGrab::release(const X11Connection& connection) const {
    xcb_ungrab_key(connection.get(), XCB_GRAB_ANY, connection.root(), XCB_MOD_MASK_ANY);
    xcb_flush(connection.get());
}

bool X11KeyGrab::isOf(xcb_keycode_t key) const {
    return std::ranges::find(choice_.keys, key) != choice_.keys.end();
}

std::string nameOf(const KeyCombination& keys) {
    std::string name;
    if ((keys.modifiers & KeyCombination::control) != 0) name += "Ctrl+";
    if ((keys.modifiers & KeyCombination::shift) != 0) name += "Shift+";
    if ((keys.modifiers & KeyCombination::alt) != 0) name += "Alt+";
    if ((keys.modifiers & KeyCombination::super) != 0) name += "Super+";
    const xcb_keysym_t symbol = keys.keySymbol;
    if (symbol > 0x20 && symbol < 0x7F)
        return name + static_cast<char>(std::toupper(static_cast<int>(symbol)));
    if (symbol >= kFirstFunctionKey && symbol <= kLastFunctionKey)
        return name + "F" + std::to_string(symbol - kFirstFunctionKey + 1);
    return name + "that key";
}

} // namespace glintro
