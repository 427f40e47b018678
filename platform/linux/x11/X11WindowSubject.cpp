#include "platform/linux/x11/X11WindowSubject.h"

#include <algorithm>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

// A shape is accepted when it has been stable for so long,
constexpr Seconds kStableTime = 0.12;
// or the picture has lagged behind for so long: somebody drags the window's edge.
constexpr Seconds kLongestLag = 0.4;

const RowSet kNoRows;

template <class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

Failure closed() {
    return {"The window was closed, so the recording ended."};
}

} // namespace

Result<std::unique_ptr<X11WindowSubject>> X11WindowSubject::create(const X11Connection& connection,
                                                                   xcb_window_t window, double scale) {
    const std::optional<X11WindowShape> shape = x11WindowShape(connection, window);
    if (!shape) return failure("The window to record is not there any more: choose another one.");
    if (!shape->isViewable) {
        return failure("The window to record is minimised: bring it back to the screen first.");
    }
    return std::unique_ptr<X11WindowSubject>(new X11WindowSubject(connection, window, scale, *shape));
}

Result<void> X11WindowSubject::begin() {
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_.get(), window_, XCB_CW_EVENT_MASK, &events);
    watch(shown_.frame);
    // It may have changed between the opening and now.
    const std::optional<X11WindowShape> shape = x11WindowShape(connection_, window_);
    if (!shape) return std::unexpected(closed());
    if (shape->frame != shown_.frame) watch(shape->frame);
    accept(*shape);
    return {};
}

// Selecting what is selected already is harmless: a window without a frame is its own.
void X11WindowSubject::watch(xcb_window_t frame) {
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_.get(), frame, XCB_CW_EVENT_MASK, &events);
    xcb_composite_redirect_window(connection_.get(), frame, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    damage_ = X11Damage(connection_.get(), xcb_generate_id(connection_.get()));
    xcb_damage_create(connection_.get(), damage_.id(), frame, XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES);
}

void X11WindowSubject::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == xcb_get_extension_data(connection_.get(), &xcb_damage_id)->first_event) {
        const auto& damage = as<xcb_damage_notify_event_t>(event);
        if (damage.damage != damage_.id()) return;
        return addDamage({damage.area.x, damage.area.y, damage.area.width, damage.area.height});
    }
    switch (type) {
        case XCB_DESTROY_NOTIFY:
            isClosed_ = isClosed_ || as<xcb_destroy_notify_event_t>(event).window == window_;
            hasNewShape_ = true;
            break;
        case XCB_UNMAP_NOTIFY:
            wasUnmapped_ = wasUnmapped_ || concerns(as<xcb_unmap_notify_event_t>(event).window);
            hasNewShape_ = true;
            break;
        case XCB_MAP_NOTIFY:
        case XCB_REPARENT_NOTIFY:
        case XCB_CONFIGURE_NOTIFY:
        case XCB_PROPERTY_NOTIFY:
            hasNewShape_ = true;
            break;
        default:
            break;
    }
}

// Damage counts from the frame's corner inside its border, the pixels from the border's.
void X11WindowSubject::addDamage(const PixelRect& partOfFrame) {
    const int top = partOfFrame.y + shown_.border + shown_.outer.y - shown_.visible.y;
    const int height = shown_.visible.height;
    dirty_.add(RowRange{std::clamp(top, 0, height), std::clamp(top + partOfFrame.height, 0, height)});
}

Result<void> X11WindowSubject::update(Seconds now) {
    if (isClosed_) return std::unexpected(closed());
    if (std::exchange(hasNewShape_, false)) {
        if (const Result<void> read = readShape(now); !read) return read;
    }
    if (acceptTime_ && *acceptTime_ <= now) accept(wanted_);
    return {};
}

Result<void> X11WindowSubject::readShape(Seconds now) {
    const std::optional<X11WindowShape> shape = x11WindowShape(connection_, window_);
    if (!shape) return connection_.isAlive() ? std::unexpected(closed()) : Result<void>();
    if (!shape->isViewable) {
        wasUnmapped_ = true;
        acceptTime_.reset();
        staleSince_.reset();
    } else if (wasUnmapped_ || hasOtherPixels(*shape)) {
        if (shape->frame != wanted_.frame) watch(shape->frame);
        if (!staleSince_) staleSince_ = now;
        acceptTime_ = std::min(now + kStableTime, *staleSince_ + kLongestLag);
    } else {
        moveTo(*shape);
    }
    wanted_ = *shape;
    return {};
}

// Whether the window has more to it than another place.
bool X11WindowSubject::hasOtherPixels(const X11WindowShape& shape) const {
    const auto within = [](const X11WindowShape& each) {
        return PixelRect{each.visible.x - each.outer.x, each.visible.y - each.outer.y, each.visible.width,
                         each.visible.height};
    };
    return shape.frame != shown_.frame || shape.border != shown_.border || within(shape) != within(shown_)
           || shape.outer.width != shown_.outer.width || shape.outer.height != shown_.outer.height;
}

void X11WindowSubject::moveTo(const X11WindowShape& shape) {
    acceptTime_.reset();
    staleSince_.reset();
    const std::scoped_lock lock(mutex_);
    shown_ = shape;
}

// When the window has changed again meanwhile there may be no pixels to name: what the picture shows stays
// until the events tell more.
void X11WindowSubject::accept(const X11WindowShape& shape) {
    acceptTime_.reset();
    staleSince_.reset();
    if (!shape.isViewable || !namePixels(shape.frame)) {
        wasUnmapped_ = true;
        return;
    }
    wasUnmapped_ = false;
    moveTo(shape);
    makeAllDirty();
}

// The new pixels are named before the old ones are given back.
bool X11WindowSubject::namePixels(xcb_window_t frame) {
    X11Pixmap named(connection_.get(), xcb_generate_id(connection_.get()));
    const auto cookie = xcb_composite_name_window_pixmap_checked(connection_.get(), frame, named.id());
    if (const X11Reply<xcb_generic_error_t> error{xcb_request_check(connection_.get(), cookie)}) return false;
    pixels_ = std::move(named);
    return true;
}

std::optional<Seconds> X11WindowSubject::wakeTime() const {
    return acceptTime_;
}

const RowSet& X11WindowSubject::dirty() const {
    return acceptTime_ || wasUnmapped_ ? kNoRows : dirty_;
}

X11Sources X11WindowSubject::expose() {
    xcb_damage_subtract(connection_.get(), damage_.id(), XCB_NONE, XCB_NONE);
    dirty_.clear();
    return {{pixels_.id(), shown_.visible.x - shown_.outer.x, shown_.visible.y - shown_.outer.y,
             RowRange{0, shown_.visible.height}}};
}

Rect X11WindowSubject::frame(PixelSize canvas) const {
    const std::scoped_lock lock(mutex_);
    return coveredByCanvas(shown_.visible, canvas, scale_);
}

} // namespace glintro
