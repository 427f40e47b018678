#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/base/Failure.h"

namespace glintro {

// A key with modifiers, by the X keysym of the key without them ('r' is 0x72) on every system.
struct KeyCombination {
    enum Modifier : std::uint32_t { shift = 1, control = 2, alt = 4, super = 8 };

    std::uint32_t keySymbol = 0;
    std::uint32_t modifiers = 0; // of Modifier, or-ed
    bool operator==(const KeyCombination&) const = default;
};

// What happens to a hot key. Called one at a time on a thread of the source; any of them may be empty.
struct HotKeyHandlers {
    std::function<void()> pressed;
    // The key works from now on. `trigger` is how the desktop shows it ("Alt+Super+R"); it is another
    // combination than the one asked for where the user has chosen one in the desktop's settings. Called
    // again when it changes, and when a lost key works again.
    std::function<void(const std::string& trigger)> bound;
    // The key does not work, or no longer: the message says why and what to do. Called once for each loss.
    std::function<void(const Failure& why)> lost;
};

// One key combination that works whichever program is in front.
class HotKeySource {
  public:
    virtual ~HotKeySource() = default;

    // Replaces the combination listened to before. Fails when another program holds the combination, or the
    // system has no such keys. Some desktops ask the user first: success then means only that `bound` or
    // `lost` will be called.
    [[nodiscard]] virtual Result<void> listen(const KeyCombination& keys, HotKeyHandlers handlers) = 0;

    // No handler runs any more when this returns. Not from a handler.
    virtual void stop() = 0;
};

} // namespace glintro
