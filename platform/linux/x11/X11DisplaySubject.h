#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/ShareableContent.h"
#include "platform/linux/x11/X11Composition.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Occlusion.h"
#include "platform/linux/x11/X11Resource.h"
#include "platform/linux/x11/X11Subject.h"
#include "platform/linux/x11/X11TopLevels.h"

namespace glintro {

// A display or an area of it without this process's windows: the root window's own pixels, and a composition
// without them in the rows where one of them is.
class X11DisplaySubject final : public X11Subject {
  public:
    // The connection must outlive this. `area`: desktop coordinates; all of the display when absent. Fails
    // when it does not lie on the display.
    [[nodiscard]] static Result<std::unique_ptr<X11DisplaySubject>> create(const X11Connection& connection,
                                                                           const ShareableDisplay& display,
                                                                           const std::optional<Rect>& area);

    [[nodiscard]] Result<void> begin() override;
    void handle(const xcb_generic_event_t& event) override;
    [[nodiscard]] Result<void> update(Seconds now) override;
    std::optional<Seconds> wakeTime() const override;
    PixelSize size() const override { return {area_.width, area_.height}; }
    const RowSet& dirty() const override;
    X11Sources expose() override;
    bool isOutdated() override;
    void makeAllDirty() override { dirty_ = RowSet({0, area_.height}); }
    Rect frame(PixelSize canvas) const override;

  private:
    X11DisplaySubject(const X11Connection& connection, const ShareableDisplay& display);

    [[nodiscard]] Result<PixelRect> place(const ShareableDisplay& display) const;
    [[nodiscard]] Result<void> relocate();
    void moveTo(const PixelRect& area);
    std::vector<PixelRect> placesOf(const std::vector<PixelRect>& ownWindows) const;
    void updateOcclusion(Seconds now);
    void addOwnPlaces(const std::vector<PixelRect>& places);
    void prepareComposition(Seconds now);
    void redirect(Seconds now);
    void addDamage(const xcb_damage_notify_event_t& damage);
    void addDirty(const PixelRect& partOfRoot);
    RowSet occludedRows() const;

    const X11Connection& connection_;
    std::uint32_t display_;
    double scale_;
    std::optional<PixelRect> part_; // pixels from the display's corner; all of it when absent

    mutable std::mutex mutex_; // of area_ where it is written, and where other threads read it
    PixelRect area_;           // of the root window

    X11TopLevels topLevels_;
    X11Damage damage_;
    RowSet dirty_;
    bool layoutHasChanged_ = false;
    bool windowsHaveChanged_ = true;

    X11Occlusion occlusion_;
    std::vector<PixelRect> ownPlaces_; // where windows of ours have been since occlusion_ was updated
    std::optional<X11Composition> composition_;
    Seconds linger_ = 0;                 // how long a window's place stays occluded after it has gone
    int margin_ = 0;                     // how far a window's shadow may reach
    bool isRedirected_ = false;          // the server keeps the pixels of covered windows
    std::optional<Seconds> redrawnTime_; // when programs have drawn what was covered before that
};

} // namespace glintro
