#include "app/library/LibraryFolder.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/library/FolderMove.h"
#include "core/base/FileIO.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Environment = LibraryFolder::Environment;

constexpr mode_t kOwnerOnly = 0700;
constexpr int kMostVanishings = 5;
constexpr std::size_t kLongestUserFolders = 1U << 20; // bytes; the real ones are some hundred

// What a variable names, unless that depends on the current folder.
std::optional<fs::path> folderNamedBy(const char* variable, const Environment& environment) {
    const auto value = environment(variable);
    if (!value || !fs::path(*value).is_absolute()) return std::nullopt;
    return fs::path(*value);
}

fs::path homeFolder(const Environment& environment) {
    if (auto home = folderNamedBy("HOME", environment)) return *home;
    const passwd* user = ::getpwuid(::getuid());
    return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

// The value of a line like XDG_VIDEOS_DIR="$HOME/My \"films\"": a shell's word, of which only $HOME at its
// beginning is ever put in.
std::optional<fs::path> userFolderIn(std::string_view line, const fs::path& home) {
    constexpr std::string_view kBegin = "XDG_VIDEOS_DIR=\"";
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(kBegin)) return std::nullopt;
    std::string value;
    for (std::size_t i = kBegin.size(); i < line.size() && line[i] != '"'; ++i) {
        if (line[i] == '\\' && i + 1 < line.size()) ++i;
        value += line[i];
    }
    constexpr std::string_view kHome = "$HOME/";
    if (value.starts_with(kHome)) return home / value.substr(kHome.size());
    return value.starts_with('/') ? std::optional<fs::path>(value) : std::nullopt;
}

// As the desktop has it: the last of several lines counts.
std::optional<fs::path> userFolder(const fs::path& file, const fs::path& home) {
    const std::string text = readFile(file, kLongestUserFolders).value_or("");
    std::optional<fs::path> folder;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        if (auto named = userFolderIn(std::string_view(text).substr(start, end - start), home))
            folder = named;
        start = end + 1;
    }
    return folder;
}

fs::path videosFolder(const Environment& environment) {
    if (auto named = folderNamedBy("XDG_VIDEOS_DIR", environment)) return *named;
    const fs::path home = homeFolder(environment);
    const fs::path configuration = folderNamedBy("XDG_CONFIG_HOME", environment).value_or(home / ".config");
    return userFolder(configuration / "user-dirs.dirs", home).value_or(home / "Videos");
}

std::tm localTime(Timestamp date) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm local{};
    ::tzset(); // the user may have travelled
    ::localtime_r(&seconds, &local);
    return local;
}

std::unexpected<Failure> cannotMake(const fs::path& folder, int code) {
    const auto why = std::generic_category().message(code);
    return failure(fmt::format("The folder “{}” can’t be made: {}.", folder.string(), why), {}, code);
}

// The folders of a path from `root` on, which nobody else may look into; those above it are made as usual.
std::error_code makePrivateFolders(const fs::path& root, const fs::path& folder) {
    std::error_code error;
    if (root.has_parent_path()) fs::create_directories(root.parent_path(), error);
    fs::path path = root;
    const fs::path below = folder.lexically_relative(root);
    for (auto part = below.begin(); !error; ++part) {
        if (::mkdir(path.c_str(), kOwnerOnly) != 0 && errno != EEXIST)
            error.assign(errno, std::generic_category());
        if (part == below.end()) break;
        path /= *part;
    }
    return error;
}

} // namespace

ReelDefaults reelDefaults(const Preferences& preferences) {
    return {preferences.defaultZoom(), preferences.defaultAspect()};
}

fs::path LibraryFolder::exportFolder(const Preferences& preferences) const {
    return preferences.exportFolder().value_or(root_ / "Exports");
}

LibraryFolder::LibraryFolder(fs::path root) : root_(std::move(root)) {
    // With the slash the library would be a parent of itself, and made for everyone to look into.
    if (!root_.has_filename()) root_ = root_.parent_path();
}

LibraryFolder LibraryFolder::ofUser(const Environment& environment) {
    const auto named = environment("GLINTRO_LIBRARY_DIR");
    if (named && !named->empty()) return LibraryFolder(*named);
    return LibraryFolder(videosFolder(environment) / "Glintro");
}

fs::path LibraryFolder::dayFolder(Timestamp date) const {
    return root_ / fmt::format("{:%Y-%m-%d}", localTime(date));
}

Result<fs::path> LibraryFolder::makeDayFolder(Timestamp date) const {
    fs::path day = dayFolder(date);
    if (const auto error = makePrivateFolders(root_, day)) return cannotMake(day, error.value());
    return day;
}

Result<fs::path> LibraryFolder::newProjectFolder(Timestamp date) const {
    return claimProjectFolder(
        date, [](const fs::path& folder) { return ::mkdir(folder.c_str(), kOwnerOnly) == 0 ? 0 : errno; });
}

Result<fs::path> LibraryFolder::moveToProjectFolder(const fs::path& folder, Timestamp date) const {
    return claimProjectFolder(date, [&](const fs::path& to) { return renameToFreeName(folder, to); });
}

// Making the folder is the test of whether its name is free: nobody can come in between. An import that was
// cancelled may remove the day's folder just before.
Result<fs::path> LibraryFolder::claimProjectFolder(Timestamp date, const Claim& claim) const {
    const std::string time = fmt::format("{:%H.%M.%S}", localTime(date));
    auto day = makeDayFolder(date);
    for (int number = 1, vanished = 0; day;) {
        fs::path folder = *day / (number == 1 ? time : fmt::format("{}-{}", time, number));
        const int code = claim(folder);
        if (code == 0) return folder;
        if (code == EEXIST) {
            ++number;
        } else if (code == ENOENT && ++vanished < kMostVanishings) {
            day = makeDayFolder(date);
        } else {
            return cannotMake(folder, code);
        }
    }
    return day;
}

Result<FinishedReel> LibraryFolder::registerRecording(const fs::path& folder, const std::string& name,
                                                      const TakeRecord& take, const ReelDefaults& defaults) {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return finishReel(folder, {.name = name, .created = now, .take = take, .defaults = defaults});
}

std::vector<fs::path> missingFolders(const fs::path& folder) {
    std::vector<fs::path> missing;
    std::error_code error;
    for (fs::path path = folder; !path.empty() && !fs::exists(path, error); path = path.parent_path())
        missing.push_back(path);
    return missing;
}

} // namespace glintro
