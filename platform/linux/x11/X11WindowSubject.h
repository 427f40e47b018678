#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Resource.h"
#include "platform/linux/x11/X11Subject.h"
#include "platform/linux/x11/X11WindowShape.h"

namespace glintro {

// One window with its title bar, from the pixels that the server keeps of it: also while others cover it. A
// new size is accepted when it has been stable for a moment, because window managers animate windows through
// many. While the window is minimised there is nothing new to show.
class X11WindowSubject final : public X11Subject {
  public:
    // The connection must outlive this. Fails when there is no such window, or it is minimised.
    [[nodiscard]] static Result<std::unique_ptr<X11WindowSubject>> create(const X11Connection& connection,
                                                                          xcb_window_t window, double scale);

    [[nodiscard]] Result<void> begin() override;
    void handle(const xcb_generic_event_t& event) override;
    [[nodiscard]] Result<void> update(Seconds now) override;
    std::optional<Seconds> wakeTime() const override;
    PixelSize size() const override { return {shown_.visible.width, shown_.visible.height}; }
    const RowSet& dirty() const override;
    X11Sources expose() override;
    bool isOutdated() override { return false; }
    void makeAllDirty() override { dirty_ = RowSet({0, shown_.visible.height}); }
    Rect frame(PixelSize canvas) const override;

  private:
    X11WindowSubject(const X11Connection& connection, xcb_window_t window, double scale,
                     const X11WindowShape& shape)
        : connection_(connection), window_(window), scale_(scale), shown_(shape), wanted_(shape) {}

    void watch(xcb_window_t frame);
    bool concerns(xcb_window_t window) const { return window == window_ || window == shown_.frame; }
    void addDamage(const PixelRect& partOfFrame);
    [[nodiscard]] Result<void> readShape(Seconds now);
    bool hasOtherPixels(const X11WindowShape& shape) const;
    void moveTo(const X11WindowShape& shape);
    void accept(const X11WindowShape& shape);
    bool namePixels(xcb_window_t frame);

    const X11Connection& connection_;
    xcb_window_t window_;
    double scale_;

    mutable std::mutex mutex_; // of shown_ where it is written, and where other threads read it
    X11WindowShape shown_;     // as the picture shows it

    X11WindowShape wanted_;             // as it is now
    std::optional<Seconds> staleSince_; // since when the picture lags behind
    std::optional<Seconds> acceptTime_; // when to accept the wanted shape

    X11Pixmap pixels_; // of the shown frame, kept by the server while named
    X11Damage damage_;
    RowSet dirty_;
    bool hasNewShape_ = false;
    bool wasUnmapped_ = false; // its pixels are others when it comes back
    bool isClosed_ = false;
};

} // namespace glintro
