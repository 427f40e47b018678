#include "core/timeline/Shot.h"

#include <algorithm>

#include <fmt/format.h>

#include "core/model/TimeFormat.h"

namespace glintro {

Seconds Shot::outputDuration() const {
    return kind == Kind::cut ? 0 : (end - start) / std::max(rate, 0.25);
}

std::string Shot::caption() const {
    switch (kind) {
        case Kind::wide:
            return "Wide · " + shortDuration(outputDuration());
        case Kind::zoom:
            return fmt::format("{:.1f}× · ", scale) + shortDuration(outputDuration());
        case Kind::cut:
            break;
    }
    return "Cut · " + shortDuration(end - start);
}

std::string_view storedText(Shot::Kind kind) {
    switch (kind) {
        case Shot::Kind::wide:
            return "wide";
        case Shot::Kind::zoom:
            return "zoom";
        case Shot::Kind::cut:
            break;
    }
    return "cut";
}

} // namespace glintro
