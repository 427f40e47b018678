#include "platform/linux/RunningDesktop.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace glintro {
namespace {

struct ClosePipe {
    void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

// 'it\'s' or "it's" without quotes and backslashes; other values, as true or 5, up to the end of the line.
std::string unquoted(const std::string& text) {
    const std::size_t begin = text.find_first_of("'\"");
    if (begin == std::string::npos) return text.substr(0, text.find('\n'));
    const std::size_t end = text.find_last_of("'\"");
    std::string value;
    for (std::size_t at = begin + 1; at < end; ++at) {
        if (text[at] == '\\' && at + 1 < end) ++at;
        value += text[at];
    }
    return value;
}

} // namespace

std::string environmentText(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

// XDG_CURRENT_DESKTOP lists names from the most to the least particular, as "ubuntu:GNOME".
bool desktopIs(const std::string& name) {
    std::istringstream names(environmentText("XDG_CURRENT_DESKTOP"));
    for (std::string each; std::getline(names, each, ':');) {
        if (each == name) return true;
    }
    return false;
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

} // namespace glintro
