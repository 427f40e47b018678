#include "sample/AppLayout.h"

#include <algorithm>

#include "sample/AppContent.h"

namespace glintro::sample {
namespace {

constexpr double kLeastWidth = 1180;
constexpr double kLeastHeight = 800;
constexpr double kTopBarHeight = 30;
constexpr double kRowHeight = 76;
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

    list = {left, content.y, std::max(330.0, content.width * 0.4), content.height};
    detail = {list.x + list.width, content.y, content.width - list.width, content.height};
    send = {detail.x + detail.width - 28 - 80, detail.y + detail.height - 66, 80, 40};
    reply = {detail.x + 28, send.y, send.x - 10 - detail.x - 28, 40};

    const double chartTop = content.y + 8 + 92 + 16;
    const double chartBottom = content.y + content.height - 24;
    sources = {right - 24 - 250, chartTop, 250, chartBottom - chartTop};
    chart = {left + 24, chartTop, sources.x - 16 - left - 24, sources.height};
    plot = {chart.x + 54, chart.y + 66, chart.width - 54 - 28, chart.height - 66 - 46};
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

Rect AppLayout::listRow(int index, double scroll) const {
    return {list.x, list.y + kRowHeight * index - scroll, list.width, kRowHeight};
}

double AppLayout::longestScroll(int rows) const {
    return std::max(0.0, kRowHeight * rows - list.height);
}

Rect AppLayout::period(int index) const {
    return {subheader.x + 24 + 74.0 * index, subheader.y + 4, 74, 30};
}

Rect AppLayout::total(int index) const {
    const double width = (content.width - 48 - 16 * 3) / 4;
    return {content.x + 24 + (width + 16) * index, content.y + 8, width, 92};
}

Rect AppLayout::priorityChoice(int index) const {
    return {titleField.x + 112.0 * index, titleField.y + 78, 104, 34};
}

Rect AppLayout::personChoice(int index) const {
    return {titleField.x + 44.0 * index, titleField.y + 158, 36, 36};
}

} // namespace glintro::sample
