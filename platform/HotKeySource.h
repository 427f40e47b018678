#pragma once

#include <cstdint>
#include <functional>

#include "core/base/Failure.h"

namespace glintro {

// A key with modifiers, by the X keysym of the key without them ('r' is 0x72) on every system.
struct KeyCombination {
    enum Modifier : std::uint32_t { shift = 1, control = 2, alt = 4, super = 8 };

    std::uint32_t keySymbol = 0;
    std::uint32_t modifiers = 0; // of Modifier, or-ed
    bool operator==(const KeyCombination&) const = default;
};

// One key combination that works whichever program is in front.
class HotKeySource {
  public:
    virtual ~HotKeySource() = default;

    // Replaces the combination listened to before. `pressed` is called on a thread of the source's. Fails
    // when another program holds the combination, or the system has no such keys.
    [[nodiscard]] virtual Result<void> listen(const KeyCombination& keys, std::function<void()> pressed) = 0;
    // No handler runs any more when this returns. Not from a handler.
    virtual void stop() = 0;
};

} // namespace glintro
