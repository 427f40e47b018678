#include "sample/AppLayout.h"

#include <algorithm>

#include "sample/AppContent.h"

namespace glintro::sample {
namespace {

constexpr double kLeastWidth = 1180;
constexpr double kLeastHeight = 800;
constexpr double kTopBarHeight = 30;
constexpr double kCardHeight = 116;
constexpr double kCardGap = 10;
constexpr double kMenuItemHeight = 34;

} // namespace

AppLayout::AppLayout(PixelSize pixels)
    : scale(std::min(pixels.width / kLeastWidth, pixels.height / kLeastHeight)),
      screen{pixels.width / scale, pixels.height / scale} {
    topBar = {0, 0, screen.width, kTopBarHeight};
    const double width = std::min(screen.width - 96, 1360.0);
    const double height = std::min(screen.height - kTopBarHeight - 72, 900.0);
    window = {(screen.width - width) / 2, kTopBarHeight + (screen.height - kTopBarHeight - height) / 2, width,
              height};
    sidebar = {window.x, window.y, 208, height};
    const double left = sidebar.x + sidebar.width;
    const double right = window.x + width;
    header = {left, window.y, right - left, 64};
    subheader = {left, header.y + header.height, header.width, 46};
    content = {left, subheader.y + subheader.height, header.width, height - header.height - subheader.height};

    windowControls = {right - 100, header.y + 16, 84, 32};
    newButton = {windowControls.x - 16 - 112, header.y + 16, 112, 32};
    filterButton = {newButton.x - 10 - 84, header.y + 16, 84, 32};
    search = {filterButton.x - 10 - 200, header.y + 16, 200, 32};
    searchClear = {search.x + search.width - 28, search.y + 4, 24, 24};
    filterMenu = {filterButton.x + filterButton.width - 196, filterButton.y + filterButton.height + 6, 196,
                  12 + kMenuItemHeight * static_cast<double>(filterNames().size())};

    dialog = {window.x + width / 2 - 230, window.y + height / 2 - 192, 460, 376};
    titleField = {dialog.x + 28, dialog.y + 96, dialog.width - 56, 40};
    create = {dialog.x + dialog.width - 28 - 116, dialog.y + dialog.height - 58, 116, 34};
    cancel = {create.x - 10 - 88, create.y, 88, 34};

    toast = {subheader.x + subheader.width / 2 - 150, subheader.y - 4, 300, 44};
}

Rect AppLayout::nav(int index) const {
    return {sidebar.x + 12, sidebar.y + 74 + 38.0 * index, sidebar.width - 24, 34};
}

Rect AppLayout::project(int index) const {
    return {sidebar.x + 12, sidebar.y + 308 + 32.0 * index, sidebar.width - 24, 30};
}

Rect AppLayout::column(int index) const {
    const double width = (content.width - 48 - 14 * (kColumnCount - 1)) / kColumnCount;
    return {content.x + 24 + (width + 14) * index, content.y, width, content.height};
}

Rect AppLayout::cardSlot(int columnIndex, int row) const {
    const Rect area = column(columnIndex);
    return {area.x, area.y + 40 + (kCardHeight + kCardGap) * row, area.width, kCardHeight};
}

Rect AppLayout::menuItem(int index) const {
    return {filterMenu.x + 6, filterMenu.y + 6 + kMenuItemHeight * index, filterMenu.width - 12,
            kMenuItemHeight};
}

Rect AppLayout::priorityChoice(int index) const {
    return {titleField.x + 112.0 * index, titleField.y + 78, 104, 34};
}

Rect AppLayout::personChoice(int index) const {
    return {titleField.x + 44.0 * index, titleField.y + 158, 36, 36};
}

} // namespace glintro::sample
