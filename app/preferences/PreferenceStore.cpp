#include "app/preferences/PreferenceStore.h"

namespace glintro {

std::optional<std::string> TransientPreferenceStore::text(std::string_view key) const {
    const auto entry = texts_.find(key);
    return entry != texts_.end() ? std::optional(entry->second) : std::nullopt;
}

void TransientPreferenceStore::setText(std::string_view key, const std::string& text) {
    texts_.insert_or_assign(std::string(key), text);
}

} // namespace glintro
