#include "core/model/Enumerations.h"

namespace glintro {
namespace {

template <class Enumeration, class Row, std::size_t count>
const Row& rowOf(Enumeration value, const std::array<Row, count>& table) {
    static_assert(count == allCases<Enumeration>.size());
    return table.at(static_cast<std::size_t>(value));
}

struct Labelled {
    std::string_view stored;
    std::string_view label;
};

constexpr std::array<Labelled, 3> kBackgroundKinds{
    {{"gradient", "Gradient"}, {"solid", "Colour"}, {"wallpaper", "Desktop"}}};

constexpr std::array<Labelled, 5> kAspectRatios{{{"16:9", "rectangle"},
                                                 {"9:16", "rectangle.portrait"},
                                                 {"1:1", "square"},
                                                 {"4:3", "rectangle.ratio.4.to.3"},
                                                 {"Source", "rectangle.dashed"}}};

constexpr std::array<Labelled, 4> kCamCorners{{{"topLeft", "Top left"},
                                               {"topRight", "Top right"},
                                               {"bottomLeft", "Bottom left"},
                                               {"bottomRight", "Bottom right"}}};

constexpr std::array<std::string_view, 2> kCamShapes{"circle", "rounded"};

} // namespace

std::string_view storedText(BackgroundKind kind) {
    return rowOf(kind, kBackgroundKinds).stored;
}
std::string_view storedText(AspectRatio aspect) {
    return rowOf(aspect, kAspectRatios).stored;
}
std::string_view storedText(CamCorner corner) {
    return rowOf(corner, kCamCorners).stored;
}
std::string_view storedText(CamShape shape) {
    return rowOf(shape, kCamShapes);
}

std::string_view title(BackgroundKind kind) {
    return rowOf(kind, kBackgroundKinds).label;
}
std::string_view symbol(AspectRatio aspect) {
    return rowOf(aspect, kAspectRatios).label;
}
std::string_view shortLabel(CamCorner corner) {
    return rowOf(corner, kCamCorners).label;
}

double ratio(AspectRatio aspect, Size source) {
    constexpr double wideRatio = 16.0 / 9.0;
    switch (aspect) {
        case AspectRatio::wide:
            return wideRatio;
        case AspectRatio::tall:
            return 9.0 / 16.0;
        case AspectRatio::square:
            return 1.0;
        case AspectRatio::classic:
            return 4.0 / 3.0;
        case AspectRatio::original:
            return source.height > 0 ? source.width / source.height : wideRatio;
    }
    return wideRatio;
}

} // namespace glintro
