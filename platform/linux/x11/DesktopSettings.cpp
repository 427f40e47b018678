#include "platform/linux/x11/DesktopSettings.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>
#include <system_error>

namespace glintro {
namespace {

namespace fs = std::filesystem;

struct ClosePipe {
    void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

// XDG_CURRENT_DESKTOP lists names from the most to the least particular, as "ubuntu:GNOME".
bool desktopIs(const std::string& name) {
    std::istringstream names(environment("XDG_CURRENT_DESKTOP"));
    for (std::string each; std::getline(names, each, ':');) {
        if (each == name) return true;
    }
    return false;
}

// 'it\'s' or "it's" without quotes and backslashes.
std::string unquoted(const std::string& text) {
    const std::size_t end = text.find_last_of("'\"");
    const std::size_t begin = text.find_first_of("'\"");
    if (begin == std::string::npos || begin == end) return {};
    std::string value;
    for (std::size_t at = begin + 1; at < end; ++at) {
        if (text[at] == '\\' && at + 1 < end) ++at;
        value += text[at];
    }
    return value;
}

// Asked through the program, so that the settings' library and its message bus stay out of this process.
std::string gnomeSetting(const std::string& schemaAndKey) {
    const std::string command = "timeout 3 gsettings get org.gnome.desktop." + schemaAndKey + " 2>/dev/null";
    const std::unique_ptr<std::FILE, ClosePipe> pipe(::popen(command.c_str(), "re"));
    if (!pipe) return {};
    std::string output;
    std::array<char, 4096> block{};
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe.get())) {
        output.append(block.data(), count);
    }
    return unquoted(output);
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
    const std::string configured = environment("XDG_CONFIG_HOME");
    const fs::path folder =
        configured.empty() ? fs::path(environment("HOME")) / ".config" : fs::path(configured);
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
