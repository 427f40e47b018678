#include "app/shell/SourceNames.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <iterator>
#include <optional>
#include <string_view>

#include <fmt/format.h>
#include <unistd.h>

#include "app/shell/TerminalText.h"

namespace glintro {
namespace {

// A sentence with more names than this is read by nobody.
constexpr std::size_t kMostNamed = 6;
// Nor one with longer ones.
constexpr int kLongestTitle = 40;

std::optional<std::uint32_t> identifier(std::string_view text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) text.remove_prefix(2);
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

QString caseless(const std::string& text) {
    return QString::fromStdString(text).toCaseFolded();
}

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i)
        list += (i == 0 ? "" : ", ") + names[i];
    if (names.size() > kMostNamed) list += fmt::format(" and {} more", names.size() - kMostNamed);
    return list;
}

std::string choices(const ShareableContent& content) {
    std::vector<std::string> names;
    for (const ShareableDisplay& display : content.displays)
        names.push_back(display.name.empty()
                            ? std::to_string(names.size() + 1)
                            : fmt::format("{} ({})", names.size() + 1, printable(display.name)));
    return listed(names);
}

std::string choices(const std::vector<ShareableWindow>& windows) {
    std::vector<std::string> names;
    for (const ShareableWindow& window : windows)
        names.push_back(fmt::format(
            "“{}” (id {})",
            shortened(window.title.empty() ? window.application : window.title, kLongestTitle), window.id));
    return listed(names);
}

using IsMeant = std::function<bool(const ShareableWindow&)>;

std::vector<ShareableWindow> windowsWhere(const std::vector<ShareableWindow>& windows,
                                          const IsMeant& isMeant) {
    std::vector<ShareableWindow> found;
    std::ranges::copy_if(windows, std::back_inserter(found), isMeant);
    return found;
}

// The whole title, else a part of one, else the application.
std::vector<ShareableWindow> windowsCalled(const std::string& name, const ShareableContent& content) {
    const QString wanted = caseless(name);
    const IsMeant ways[] = {
        [&](const ShareableWindow& window) { return window.title == name; },
        [&](const ShareableWindow& window) { return caseless(window.title).contains(wanted); },
        [&](const ShareableWindow& window) { return caseless(window.application) == wanted; }};
    const auto windows = nameableWindows(content);
    for (const IsMeant& isMeant : ways)
        if (auto found = windowsWhere(windows, isMeant); !found.empty()) return found;
    return {};
}

} // namespace

std::vector<ShareableWindow> nameableWindows(const ShareableContent& content) {
    return windowsWhere(content.windows, [own = ::getpid()](const ShareableWindow& window) {
        return window.layer == 0 && window.process != own;
    });
}

Result<CaptureSource::Kind> displayNamed(const std::string& name, const ShareableContent& content) {
    if (content.chosenInDialog) return mainDisplay(content);
    const auto display = std::ranges::find(content.displays, name, &ShareableDisplay::name);
    if (display != content.displays.end()) return CaptureSource::Kind::display(display->id);
    const auto number = identifier(name);
    if (number && *number >= 1 && *number <= content.displays.size())
        return CaptureSource::Kind::display(content.displays[*number - 1].id);
    if (auto none = mainDisplay(content); !none) return none;
    return failure(fmt::format("There is no display “{}”. The displays are {}.", name, choices(content)));
}

Result<CaptureSource::Kind> windowNamed(const std::string& name, const ShareableContent& content) {
    if (content.chosenInDialog && !content.windows.empty())
        return CaptureSource::Kind::window(content.windows.front().id);
    if (const auto id = identifier(name); id && isShareable(CaptureSource::Kind::window(*id), content))
        return CaptureSource::Kind::window(*id);
    const auto found = windowsCalled(name, content);
    if (found.size() == 1) return CaptureSource::Kind::window(found.front().id);
    if (!found.empty())
        return failure(fmt::format("“{}” names {} windows. Name one by its id: {}.", name, found.size(),
                                   choices(found)));
    const auto windows = nameableWindows(content);
    if (windows.empty()) return failure(fmt::format("There is no window “{}”, nor any other.", name));
    return failure(fmt::format("There is no window “{}”. The windows are {}.", name, choices(windows)));
}

Result<CaptureSource::Kind> mainDisplay(const ShareableContent& content) {
    if (content.displays.empty()) return failure("There is no display to record.");
    return CaptureSource::Kind::display(content.displays.front().id);
}

} // namespace glintro
