#include "app/recording/CaptureSource.h"

#include <algorithm>

#include <fmt/format.h>

namespace glintro {
namespace {

constexpr double kTooNarrow = 160; // points
constexpr double kTooLow = 120;
// An area drawn in whole points may reach over the edge of a display whose own size is not whole.
constexpr double kSlack = 1;

QString sizeText(const Rect& frame) {
    return QStringLiteral("%1 × %2").arg(qRound(frame.width)).arg(qRound(frame.height));
}

CaptureSource displaySource(const ShareableDisplay& display, std::size_t position, bool chosenInDialog) {
    const QString name = QString::fromStdString(display.name);
    return {CaptureSource::Kind::display(display.id),
            name.isEmpty() ? QStringLiteral("Display %1").arg(position) : name,
            chosenInDialog ? QStringLiteral("Chosen when you start") : sizeText(display.frame)};
}

CaptureSource windowSource(const ShareableWindow& window, bool chosenInDialog) {
    const QString application = QString::fromStdString(window.application);
    const QString title = QString::fromStdString(window.title);
    return {CaptureSource::Kind::window(window.id), title.isEmpty() ? application : title,
            chosenInDialog ? QStringLiteral("Chosen when you start") : application};
}

bool isWorthOffering(const ShareableWindow& window, std::int64_t ownProcess) {
    return window.layer == 0 && window.frame.width > kTooNarrow && window.frame.height > kTooLow
           && !window.application.empty() && window.process != ownProcess;
}

bool holds(const Rect& display, const Rect& area) {
    const Rect seen = intersected(display, area);
    return seen.width >= area.width - kSlack && seen.height >= area.height - kSlack && seen.width > 0
           && seen.height > 0;
}

std::string areaText(const Rect& area) {
    return fmt::format("{:g} × {:g} at {:g}, {:g}", area.width, area.height, area.x, area.y);
}

// How much of the area a display shows, in square points.
double shownBy(const ShareableDisplay& display, const Rect& area) {
    const Rect seen = intersected(display.frame, area);
    return std::max(0.0, seen.width) * std::max(0.0, seen.height);
}

// An area that reaches from one display to others is meant; one that reaches into nowhere is a mistake.
bool isOnDisplays(const Rect& area, const ShareableContent& content) {
    if (std::ranges::any_of(content.displays, [&](const auto& each) { return holds(each.frame, area); }))
        return true;
    return std::ranges::count_if(content.displays, [&](const auto& each) { return shownBy(each, area) > 0; })
           > 1;
}

} // namespace

QList<CaptureSource> displaySources(const ShareableContent& content) {
    QList<CaptureSource> sources;
    for (const ShareableDisplay& display : content.displays)
        sources.append(displaySource(display, sources.size() + 1, content.chosenInDialog));
    return sources;
}

QList<CaptureSource> windowSources(const ShareableContent& content, std::int64_t ownProcess) {
    QList<CaptureSource> sources;
    for (const ShareableWindow& window : content.windows)
        if (content.chosenInDialog || isWorthOffering(window, ownProcess))
            sources.append(windowSource(window, content.chosenInDialog));
    return sources;
}

bool isShareable(const CaptureSource::Kind& kind, const ShareableContent& content) {
    const auto isMeant = [&](const auto& source) { return source.id == kind.id(); };
    return kind.isDisplay() ? std::ranges::any_of(content.displays, isMeant)
                            : std::ranges::any_of(content.windows, isMeant);
}

Point centreOf(const Rect& frame) {
    return {frame.x + frame.width / 2, frame.y + frame.height / 2};
}

std::optional<ShareableDisplay> displayAt(Point position, const ShareableContent& content) {
    for (const ShareableDisplay& display : content.displays)
        if (contains(display.frame, position)) return display;
    return std::nullopt;
}

std::optional<ShareableDisplay> displayOf(const CaptureSource::Kind& kind, const ShareableContent& content) {
    if (kind.isDisplay()) {
        const auto display = std::ranges::find(content.displays, kind.id(), &ShareableDisplay::id);
        return display != content.displays.end() ? std::optional(*display) : std::nullopt;
    }
    const auto window = std::ranges::find(content.windows, kind.id(), &ShareableWindow::id);
    return window != content.windows.end() ? displayAt(centreOf(window->frame), content) : std::nullopt;
}

std::optional<ShareableDisplay> displayOf(const Rect& area, const ShareableContent& content) {
    const auto shown = [&](const ShareableDisplay& display) { return shownBy(display, area); };
    const auto most = std::ranges::max_element(content.displays, {}, shown);
    return most != content.displays.end() && shown(*most) > 0 ? std::optional(*most) : std::nullopt;
}

ContentFilter filterFor(const CaptureSource::Kind& kind) {
    if (kind.isWindow()) return WindowFilter{kind.id()};
    return DisplayFilter{kind.id()};
}

Result<ContentFilter> filterFor(const Rect& area, const ShareableContent& content) {
    const bool hasSize = area.width > 0 && area.height > 0;
    if (!hasSize)
        return failure(
            fmt::format("The area {} is empty. Choose one with a width and a height.", areaText(area)));
    if (content.chosenInDialog && !content.displays.empty())
        return DisplayFilter{content.displays.front().id, area};
    const auto display = displayOf(area, content);
    if (!display)
        return failure(
            fmt::format("The area {} is outside of every display. Choose one on a display.", areaText(area)));
    if (!isOnDisplays(area, content))
        return failure(fmt::format("The area {} reaches over the edge of its display. Choose one within it.",
                                   areaText(area)));
    return DisplayFilter{display->id, intersected(display->frame, area)};
}

} // namespace glintro
