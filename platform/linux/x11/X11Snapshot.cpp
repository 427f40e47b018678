#include "platform/linux/x11/X11Snapshot.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include <poll.h>

#include "platform/HostClock.h"
#include "platform/linux/x11/X11FrameBuffer.h"

namespace glintro {
namespace {

constexpr Seconds kTimeout = 2;

Failure serverGone() {
    return {"The X server no longer answers."};
}

// Until the server tells of something, or the moment has come.
void waitForEvents(const X11Connection& connection, Seconds moment) {
    xcb_flush(connection.get());
    const Seconds left = std::clamp(moment - hostTime(), 0.0, kTimeout);
    pollfd socket{xcb_get_file_descriptor(connection.get()), POLLIN, 0};
    ::poll(&socket, 1, static_cast<int>(std::ceil(left * 1000)));
}

void handleEvents(const X11Connection& connection, X11Subject& subject) {
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection.get())}) {
        subject.handle(*event);
    }
}

// `nullopt` when the picture changed on its way so that it must not be shown.
std::optional<BgraPicture> grabbed(const X11Connection& connection, X11Subject& subject, int maxSide) {
    const PixelSize size = subject.size();
    const auto buffer = X11FrameBuffer::create(connection.get(), size);
    const bool isComplete =
        buffer && buffer->grab(connection.get(), subject.expose(), RowSet({0, size.height}));
    if (buffer) buffer->detach(connection.get());
    handleEvents(connection, subject);
    if (!isComplete || subject.isOutdated()) return std::nullopt;
    return reducedPicture(buffer->pixels(), buffer->stride(), size, maxSide);
}

} // namespace

Result<BgraPicture> x11Snapshot(const X11Connection& connection, X11Subject& subject, int maxSide,
                                Seconds redrawing) {
    if (const Result<void> begun = subject.begin(); !begun) return std::unexpected(begun.error());
    const Seconds drawn = hostTime() + redrawing;
    const Seconds deadline = drawn + kTimeout;
    while (hostTime() < deadline) {
        handleEvents(connection, subject);
        if (!connection.isAlive()) return std::unexpected(serverGone());
        if (const auto updated = subject.update(hostTime()); !updated)
            return std::unexpected(updated.error());
        if (hostTime() < drawn) {
            waitForEvents(connection, drawn);
        } else if (subject.dirty().isEmpty()) {
            waitForEvents(connection, subject.wakeTime().value_or(deadline));
        } else if (auto picture = grabbed(connection, subject, maxSide)) {
            return *std::move(picture);
        } else {
            subject.makeAllDirty();
        }
    }
    return failure("There is nothing to see of it now.", "no picture within the timeout");
}

} // namespace glintro
