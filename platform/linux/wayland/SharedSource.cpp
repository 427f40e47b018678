#include "platform/linux/wayland/SharedSource.h"

#include <fmt/format.h>

namespace glintro {
namespace {

template <class T>
bool differ(const std::optional<T>& a, const std::optional<T>& b) {
    return a && b && !(*a == *b);
}

} // namespace

bool isSameSource(const SharedSource& before, const SharedSource& now) {
    using enum SharedSource::Kind;
    if (before.kind != unknown && now.kind != unknown && before.kind != now.kind) return false;
    if (!before.id.empty() && !now.id.empty()) return before.id == now.id;
    if (before.kind == window || now.kind == window) return true;
    return !differ(before.position, now.position) && !differ(before.size, now.size);
}

bool answers(SharedSource::Kind wanted, SharedSource::Kind shared) {
    using enum SharedSource::Kind;
    if (wanted == unknown || shared == unknown) return true;
    return (wanted == window) == (shared == window);
}

std::string describe(const SharedSource& source, SharedSource::Kind wanted) {
    const auto kind = source.kind == SharedSource::Kind::unknown ? wanted : source.kind;
    std::string text = kind == SharedSource::Kind::window ? "the window" : "the screen";
    if (source.size) text += fmt::format(" of {:g} × {:g} points", source.size->width, source.size->height);
    if (source.position) text += fmt::format(" at {:g}, {:g}", source.position->x, source.position->y);
    return text;
}

} // namespace glintro
