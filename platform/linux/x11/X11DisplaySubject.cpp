#include "platform/linux/x11/X11DisplaySubject.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <xcb/randr.h>

#include "platform/linux/x11/X11Content.h"

namespace glintro {
namespace {

// How long programs get to draw parts of their windows that were covered before the server kept them.
constexpr Seconds kRedrawing = 0.1;
// What compositing managers do to windows: they fade them out, and give them shadows.
constexpr Seconds kFading = 0.5;
constexpr int kShadow = 32;

PixelRect inPixels(const Rect& rect, double scale) {
    const auto pixels = [scale](double points) { return static_cast<int>(std::lround(points * scale)); };
    return {pixels(rect.x), pixels(rect.y), pixels(rect.width), pixels(rect.height)};
}

// From desktop coordinates to points from the display's corner.
Rect onDisplay(const Rect& area, const ShareableDisplay& display) {
    return {area.x - display.frame.x, area.y - display.frame.y, area.width, area.height};
}

const RowSet kNoRows;

} // namespace

X11DisplaySubject::X11DisplaySubject(const X11Connection& connection, const ShareableDisplay& display)
    : connection_(connection), display_(display.id), scale_(display.scale), topLevels_(connection) {}

Result<std::unique_ptr<X11DisplaySubject>> X11DisplaySubject::create(const X11Connection& connection,
                                                                     const ShareableDisplay& display,
                                                                     const std::optional<Rect>& area) {
    std::unique_ptr<X11DisplaySubject> subject(new X11DisplaySubject(connection, display));
    if (area) subject->part_ = inPixels(onDisplay(*area, display), display.scale);
    const Result<PixelRect> place = subject->place(display);
    if (!place) return std::unexpected(place.error());
    subject->moveTo(*place);
    return subject;
}

// Where the picture is on the root window when the display is as told.
Result<PixelRect> X11DisplaySubject::place(const ShareableDisplay& display) const {
    const PixelRect whole = inPixels(display.frame, scale_);
    if (!part_) return whole;
    const PixelRect area{whole.x + part_->x, whole.y + part_->y, part_->width, part_->height};
    if (isEmpty(area) || intersected(area, whole) != area) {
        return failure("The area to record does not lie on the display: choose one that does.");
    }
    return area;
}

void X11DisplaySubject::moveTo(const PixelRect& area) {
    {
        const std::scoped_lock lock(mutex_);
        area_ = area;
    }
    composition_.reset();
    makeAllDirty();
}

Result<void> X11DisplaySubject::begin() {
    topLevels_.begin();
    damage_ = X11Damage(connection_.get(), xcb_generate_id(connection_.get()));
    xcb_damage_create(connection_.get(), damage_.id(), connection_.root(),
                      XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES);
    if (hasX11Extension(connection_.get(), xcb_randr_id)) {
        xcb_randr_select_input(connection_.get(), connection_.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE
                                   | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    }
    // It may have changed between the opening and now.
    return relocate();
}

void X11DisplaySubject::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    const xcb_query_extension_reply_t* damage = xcb_get_extension_data(connection_.get(), &xcb_damage_id);
    const xcb_query_extension_reply_t* randr = xcb_get_extension_data(connection_.get(), &xcb_randr_id);
    if (type == damage->first_event) {
        addDamage(reinterpret_cast<const xcb_damage_notify_event_t&>(event));
    } else if (randr->present != 0 && (type == randr->first_event || type == randr->first_event + 1)) {
        layoutHasChanged_ = true;
    } else if (topLevels_.handle(event)) {
        windowsHaveChanged_ = true;
    } else if (composition_) {
        if (const auto changed = composition_->handle(event)) addDirty(*changed);
    }
}

// In occluded places the root window shows what the picture does not; windows tell of their own changes
// there.
void X11DisplaySubject::addDamage(const xcb_damage_notify_event_t& damage) {
    if (damage.damage == damage_.id()) {
        const PixelRect part{damage.area.x, damage.area.y, damage.area.width, damage.area.height};
        if (occlusion_.contains(intersected(part, area_))) return;
        addDirty(part);
        // What is guessed from the pixels around the places follows them.
        if (composition_ && composition_->guessesWallpaper() && occlusion_.touches(part)) {
            for (const PixelRect& rect : occlusion_.rects()) addDirty(rect);
        }
    } else if (composition_) {
        const auto changed = composition_->handle(reinterpret_cast<const xcb_generic_event_t&>(damage));
        if (!changed) return;
        for (const PixelRect& rect : occlusion_.rects()) addDirty(intersected(rect, *changed));
    }
}

void X11DisplaySubject::addDirty(const PixelRect& partOfRoot) {
    const PixelRect part = intersected(partOfRoot, area_);
    if (!isEmpty(part)) dirty_.add(RowRange{part.y - area_.y, part.bottom() - area_.y});
}

Result<void> X11DisplaySubject::update(Seconds now) {
    if (std::exchange(layoutHasChanged_, false)) {
        if (const Result<void> moved = relocate(); !moved) return moved;
    }
    if (redrawnTime_ && *redrawnTime_ <= now) redrawnTime_.reset();
    updateOcclusion(now);
    return {};
}

Result<void> X11DisplaySubject::relocate() {
    const Result<std::vector<ShareableDisplay>> displays = x11Displays(connection_);
    if (!displays) return std::unexpected(displays.error());
    const auto display = std::ranges::find(*displays, display_, &ShareableDisplay::id);
    if (display == displays->end()) {
        return failure("The display was disconnected, so the recording ended.");
    }
    ShareableDisplay now = *display;
    now.scale = scale_;
    const Result<PixelRect> area = place(now);
    if (!area) {
        return failure(
            "The display's resolution changed and the recorded area is no longer on it, so the recording "
            "ended.");
    }
    if (*area != area_) moveTo(*area);
    return {};
}

// The parts of the picture that must not be shown as they are when windows of ours are there.
std::vector<PixelRect> X11DisplaySubject::placesOf(const std::vector<PixelRect>& ownWindows) const {
    std::vector<PixelRect> places;
    for (const PixelRect& rect : ownWindows) {
        const PixelRect place = intersected(grown(rect, margin_), area_);
        if (!isEmpty(place)) places.push_back(place);
    }
    return places;
}

// A compositing manager may show a window late in any place it has been, so all of those are occluded.
void X11DisplaySubject::updateOcclusion(Seconds now) {
    addOwnPlaces(topLevels_.drainOwnPlaces());
    std::vector<PixelRect> places = topLevels_.ownRects();
    if (occlusion_.isEmpty() && windowsHaveChanged_ && !(places.empty() && ownPlaces_.empty())) {
        const bool isComposed = isX11ScreenComposed(connection_);
        linger_ = isComposed ? kFading : 0;
        margin_ = isComposed ? kShadow : 0;
    }
    if (linger_ > 0) places.insert(places.end(), ownPlaces_.begin(), ownPlaces_.end());
    ownPlaces_.clear();
    for (const PixelRect& changed : occlusion_.update(placesOf(places), now, linger_)) addDirty(changed);
    const bool windowsChanged = std::exchange(windowsHaveChanged_, false);
    if (occlusion_.isEmpty()) {
        composition_.reset();
    } else if (windowsChanged || !composition_) {
        prepareComposition(now);
    }
}

void X11DisplaySubject::addOwnPlaces(const std::vector<PixelRect>& places) {
    ownPlaces_.insert(ownPlaces_.end(), places.begin(), places.end());
}

void X11DisplaySubject::prepareComposition(Seconds now) {
    redirect(now);
    if (!composition_) {
        composition_.emplace(connection_, area_);
        makeAllDirty();
    }
    composition_->follow(topLevels_.bottomToTop());
    for (const PixelRect& rect : occlusion_.rects()) addDirty(rect);
}

// Stays until the stream ends: each change of it costs all programs a redrawing, and the root's own pixels
// are the same with it.
void X11DisplaySubject::redirect(Seconds now) {
    if (std::exchange(isRedirected_, true)) return;
    xcb_composite_redirect_subwindows(connection_.get(), connection_.root(),
                                      XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    redrawnTime_ = now + kRedrawing;
}

std::optional<Seconds> X11DisplaySubject::wakeTime() const {
    const std::optional<Seconds> end = occlusion_.nextExpiry();
    if (redrawnTime_ && end) return std::min(*redrawnTime_, *end);
    return redrawnTime_ ? redrawnTime_ : end;
}

const RowSet& X11DisplaySubject::dirty() const {
    return redrawnTime_ ? kNoRows : dirty_;
}

// Only rows that a window of ours touches are composed. All of them have been dirty since they are touched.
X11Sources X11DisplaySubject::expose() {
    xcb_damage_subtract(connection_.get(), damage_.id(), XCB_NONE, XCB_NONE);
    const RowSet rows = std::exchange(dirty_, {});
    const X11Source root{connection_.root(), area_.x, area_.y, {0, area_.height}};
    if (occlusion_.isEmpty() || !composition_) return {root};
    const RowSet covered = occludedRows();
    const X11Source composed{composition_->draw(rows.intersected(covered), occlusion_.rects()), 0, 0, {}};
    X11Sources sources;
    int row = 0;
    const auto addUntil = [&](X11Source source, int end) {
        source.rows = {std::exchange(row, end), end};
        sources.push_back(source);
    };
    for (const RowRange& range : covered.ranges()) {
        addUntil(root, range.begin);
        addUntil(composed, range.end);
    }
    addUntil(root, area_.height);
    return sources;
}

RowSet X11DisplaySubject::occludedRows() const {
    RowSet rows;
    for (const PixelRect& rect : occlusion_.rects()) {
        rows.add(RowRange{rect.y - area_.y, rect.bottom() - area_.y});
    }
    return rows;
}

// A window of ours that came while the pixels were on their way may be among them, even when it has gone
// again.
bool X11DisplaySubject::isOutdated() {
    const std::vector<PixelRect> seen = topLevels_.drainOwnPlaces();
    addOwnPlaces(seen);
    const std::vector<PixelRect> places = placesOf(seen);
    return !std::ranges::all_of(places,
                                [this](const PixelRect& place) { return occlusion_.contains(place); });
}

Rect X11DisplaySubject::frame(PixelSize canvas) const {
    const std::scoped_lock lock(mutex_);
    return coveredByCanvas(area_, canvas, scale_);
}

} // namespace glintro
