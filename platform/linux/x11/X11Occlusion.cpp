#include "platform/linux/x11/X11Occlusion.h"

#include <algorithm>

namespace glintro {

std::vector<PixelRect> X11Occlusion::update(const std::vector<PixelRect>& places, Seconds now,
                                            Seconds linger) {
    std::vector<PixelRect> differences;
    std::vector<PixelRect> rects;
    std::vector<std::optional<Seconds>> ends;
    for (const PixelRect& place : places) {
        if (std::ranges::find(rects, place) != rects.end()) continue;
        if (std::ranges::find(rects_, place) == rects_.end()) differences.push_back(place);
        rects.push_back(place);
        ends.emplace_back();
    }
    for (std::size_t i = 0; i < rects_.size(); ++i) {
        if (std::ranges::find(places, rects_[i]) != places.end()) continue;
        const Seconds end = ends_[i].value_or(now + linger);
        if (end <= now) {
            differences.push_back(rects_[i]);
        } else {
            rects.push_back(rects_[i]);
            ends.emplace_back(end);
        }
    }
    rects_ = std::move(rects);
    ends_ = std::move(ends);
    return differences;
}

bool X11Occlusion::contains(const PixelRect& rect) const {
    return std::ranges::any_of(rects_, [&](const PixelRect& place) {
        return rect.x >= place.x && rect.y >= place.y && rect.right() <= place.right()
               && rect.bottom() <= place.bottom();
    });
}

bool X11Occlusion::touches(const PixelRect& rect) const {
    return std::ranges::any_of(rects_, [&](const PixelRect& place) {
        return rect.x <= place.right() && place.x <= rect.right() && rect.y <= place.bottom()
               && place.y <= rect.bottom();
    });
}

std::optional<Seconds> X11Occlusion::nextExpiry() const {
    std::optional<Seconds> next;
    for (const std::optional<Seconds>& end : ends_) {
        if (end && (!next || *end < *next)) next = end;
    }
    return next;
}

} // namespace glintro
