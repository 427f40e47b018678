#pragma once

namespace glintro {

enum class X11ServerKind {
    absent,     // DISPLAY names none that answers
    standalone, // has a screen of its own, real or virtual
    xwayland    // shows its windows on a Wayland desktop
};

// What the X server is that DISPLAY names.
X11ServerKind x11ServerKind();

} // namespace glintro
