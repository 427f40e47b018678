#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/Geometry.h"

namespace glintro {

// What the ScreenCast portal tells of a source that the user shares. All of it is optional in the portal's
// interface: an absent field is one that this portal does not report.
struct SharedSource {
    enum class Kind : std::uint32_t {
        unknown = 0,
        screen = 1,
        window = 2,
        virtualScreen = 4
    }; // the portal's

    Kind kind = Kind::unknown;
    std::string id; // stays the same when a restore token brings the source back; empty when absent
    std::optional<Point> position; // on the desktop, in points; screens only
    std::optional<Size> size;      // points
    bool operator==(const SharedSource&) const = default;
};

// Whether a source restored by a token is the one that the token was given for, as far as both descriptions
// tell. Windows may have been moved and resized meanwhile; a screen that is elsewhere or of another size is
// another one, unless its id says otherwise.
bool isSameSource(const SharedSource& before, const SharedSource& now);

// Whether a source of this kind answers a request for the other. What a portal does not tell is believed.
bool answers(SharedSource::Kind wanted, SharedSource::Kind shared);

// For a sentence: "the screen of 1600 × 900 points at 1920, 30", "the window".
std::string describe(const SharedSource& source, SharedSource::Kind wanted);

} // namespace glintro
