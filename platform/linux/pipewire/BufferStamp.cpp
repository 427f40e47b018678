#include "platform/linux/pipewire/BufferStamp.h"

#include <algorithm>
#include <cmath>

#include <spa/buffer/meta.h>

#include "platform/HostClock.h"

namespace glintro {

Seconds stampOf(const spa_buffer& buffer) {
    constexpr Seconds plausible = 1; // a time further off than this is of another clock
    const Seconds now = hostTime();
    const auto* header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
    if (!header || header->pts <= 0) return now;
    const Seconds stamp = static_cast<double>(header->pts) * 1e-9;
    return std::abs(stamp - now) < plausible ? std::min(stamp, now) : now;
}

} // namespace glintro
