#pragma once

#include <QString>
#include <string_view>

namespace glintro {

// UTF-8 as Qt's views show it.
inline QString toQt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace glintro
