#pragma once

#include "core/base/Failure.h"
#include "platform/BgraPicture.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Subject.h"

namespace glintro {

// What a subject that has not begun shows now, at most `maxSide` pixels along its longer side. The connection
// is the one that the subject uses, and nobody else. Programs get `redrawing` seconds to draw what was
// covered until now. Fails when the subject cannot be had, and when it shows nothing for two seconds.
[[nodiscard]] Result<BgraPicture> x11Snapshot(const X11Connection& connection, X11Subject& subject,
                                              int maxSide, Seconds redrawing);

} // namespace glintro
