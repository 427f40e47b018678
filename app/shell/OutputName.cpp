#include "app/shell/OutputName.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestStem =
    200; // bytes; 255 are allowed, some of which a program may add on the way
constexpr std::string_view kUnsafe = "/\\:*?\"<>|";
constexpr std::string_view kTrimmed = " .-";

std::string withoutUnsafeCharacters(std::string_view name) {
    std::string result(name);
    for (char& c : result) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7F || kUnsafe.contains(c)) c = '-';
    }
    return result;
}

// Leading points would hide the file, and a leading dash look like an option to other programs.
std::string trimmed(const std::string& name) {
    const std::size_t first = name.find_first_not_of(kTrimmed);
    if (first == std::string::npos) return {};
    return name.substr(first, name.find_last_not_of(kTrimmed) - first + 1);
}

std::string shortened(std::string name) {
    if (name.size() <= kLongestStem) return name;
    std::size_t length = kLongestStem;
    const auto continues = [&](std::size_t i) {
        return (static_cast<unsigned char>(name[i]) & 0xC0) == 0x80;
    };
    while (length > 0 && continues(length)) --length;
    name.resize(length);
    return name;
}

std::string safeStem(std::string_view name) {
    return trimmed(shortened(trimmed(withoutUnsafeCharacters(name))));
}

std::string folderName(const fs::path& folder) {
    std::error_code ignored;
    const fs::path whole = fs::weakly_canonical(folder, ignored);
    return (whole.has_filename() ? whole : whole.parent_path()).filename().string();
}

} // namespace

std::string outputStem(const Project& project) {
    std::string stem = safeStem(project.info.name);
    if (stem.empty()) stem = safeStem(folderName(project.folder()));
    return stem.empty() ? "reel" : stem;
}

Result<ReservedName> ReservedName::create(const fs::path& folder, const std::string& stem,
                                          std::string_view extension) {
    std::error_code ignored; // where this fails, so does what follows
    if (!folder.empty()) fs::create_directories(folder, ignored);
    for (int number = 1;; ++number) {
        const std::string suffix = number == 1 ? "" : fmt::format("-{}", number);
        const fs::path path = folder / fmt::format("{}{}{}", stem, suffix, extension);
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            ::close(descriptor);
            return ReservedName(path);
        }
        if (errno != EEXIST)
            return failure(fmt::format("“{}” can’t be written: {}. Choose another place with -o.",
                                       path.string(), std::strerror(errno)),
                           {}, errno);
    }
}

ReservedName::~ReservedName() {
    std::error_code ignored;
    if (!kept_ && !path_.empty()) fs::remove(path_, ignored);
}

} // namespace glintro
