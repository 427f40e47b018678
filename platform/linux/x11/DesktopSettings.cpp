#include "platform/linux/x11/DesktopSettings.h"

#include <cctype>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

#include "platform/linux/RunningDesktop.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

// A picture that changes with the hours is a list of pictures: the first of them.
std::optional<fs::path> firstOfSlides(const fs::path& list) {
    std::ifstream file(list);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::size_t begin = text.find("<file>");
    const std::size_t end = text.find("</file>", begin);
    if (begin == std::string::npos || end == std::string::npos) return std::nullopt;
    std::string name = text.substr(begin + 6, end - begin - 6);
    // One picture for each size of screen: <size width="..." height="...">name</size>, several times.
    if (const std::size_t size = name.find("<size"); size != std::string::npos) {
        const std::size_t from = name.find('>', size) + 1;
        name = name.substr(from, name.find('<', from) - from);
    }
    const std::size_t first = name.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return std::nullopt;
    return fs::path(name.substr(first, name.find_last_not_of(" \t\r\n") - first + 1));
}

std::optional<fs::path> gnomePicture() {
    if (gnomeSetting("background picture-options") == "none") return std::nullopt;
    std::string uri;
    if (gnomeSetting("interface color-scheme") == "prefer-dark") {
        uri = gnomeSetting("background picture-uri-dark");
    }
    if (uri.empty()) uri = gnomeSetting("background picture-uri");
    const std::optional<fs::path> file = fileOfUri(uri);
    return file && file->extension() == ".xml" ? firstOfSlides(*file) : file;
}

// A KDE picture may be a folder that holds the same picture in several sizes: the largest file.
std::optional<fs::path> largestIn(const fs::path& folder) {
    std::optional<fs::path> largest;
    std::uintmax_t most = 0;
    std::error_code failed;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
        std::error_code unreadable;
        const std::uintmax_t size = at->file_size(unreadable);
        if (unreadable || size <= most) continue;
        most = size;
        largest = at->path();
    }
    return largest;
}

std::optional<fs::path> resolved(const fs::path& picture) {
    std::error_code ignored;
    return fs::is_directory(picture, ignored) ? largestIn(picture / "contents" / "images") : picture;
}

// Of the screens' pictures in the desktop's file of settings, the first that is there.
std::optional<fs::path> kdePicture() {
    const std::string configured = environmentText("XDG_CONFIG_HOME");
    const fs::path folder =
        configured.empty() ? fs::path(environmentText("HOME")) / ".config" : fs::path(configured);
    std::ifstream settings(folder / "plasma-org.kde.plasma.desktop-appletsrc");
    bool isPictureGroup = false;
    for (std::string line; std::getline(settings, line);) {
        if (line.starts_with("[")) {
            isPictureGroup = line.ends_with("[Wallpaper][org.kde.image][General]");
        } else if (isPictureGroup && line.starts_with("Image=")) {
            const std::optional<fs::path> named = fileOfUri(line.substr(6));
            const std::optional<fs::path> picture = named ? resolved(*named) : std::nullopt;
            if (picture && isFile(*picture)) return picture;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<fs::path> fileOfUri(const std::string& uri) {
    if (uri.starts_with("/")) return fs::path(uri);
    constexpr std::string_view scheme = "file://";
    if (!uri.starts_with(scheme) || uri.size() <= scheme.size() || uri[scheme.size()] != '/') {
        return std::nullopt;
    }
    std::string path;
    for (std::size_t at = scheme.size(); at < uri.size(); ++at) {
        const std::string digits = uri.substr(at + 1, 2);
        const bool isCode = uri[at] == '%' && digits.size() == 2
                            && std::isxdigit(static_cast<unsigned char>(digits[0]))
                            && std::isxdigit(static_cast<unsigned char>(digits[1]));
        path += isCode ? static_cast<char>(std::stoi(digits, nullptr, 16)) : uri[at];
        if (isCode) at += 2;
    }
    return fs::path(path);
}

std::optional<fs::path> pictureOfDesktopSettings() {
    std::optional<fs::path> picture;
    if (desktopIs("GNOME")) picture = gnomePicture();
    if (desktopIs("KDE")) picture = kdePicture();
    return picture && isFile(*picture) ? picture : std::nullopt;
}

} // namespace glintro
