#include "app/library/TrashFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kOwnerOnly = 0700;

std::optional<dev_t> fileSystemOf(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? std::optional(status.st_dev) : std::nullopt;
}

// Of the innermost folder of the path that is there.
std::optional<dev_t> nearestFileSystem(fs::path path) {
    while (true) {
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0) return status.st_dev;
        if (path == path.parent_path()) return std::nullopt;
        path = path.parent_path();
    }
}

// A folder that nobody else can have put there.
bool makeOwnFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), kOwnerOnly) != 0 && errno != EEXIST) return false;
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid();
}

std::optional<TrashFolder> made(TrashFolder trash) {
    if (!makeOwnFolder(trash.path) || !makeOwnFolder(trash.files()) || !makeOwnFolder(trash.info()))
        return std::nullopt;
    return trash;
}

std::optional<fs::path> userData() {
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && fs::path(data).is_absolute()) return fs::path(data);
    const char* home = std::getenv("HOME");
    if (home == nullptr || !fs::path(home).is_absolute()) return std::nullopt;
    return fs::path(home) / ".local/share";
}

fs::path topOfFileSystem(fs::path folder, dev_t fileSystem) {
    while (folder != folder.parent_path() && fileSystemOf(folder.parent_path()) == fileSystem)
        folder = folder.parent_path();
    return folder;
}

// The administrator's folder for all users, which counts only when nobody can remove what is another's.
bool isShared(const fs::path& folder) {
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode)
           && (status.st_mode & S_ISVTX) != 0;
}

} // namespace

std::optional<TrashFolder> trashFor(const fs::path& thing) {
    std::error_code error;
    const fs::path place = fs::canonical(thing.parent_path(), error);
    const auto fileSystem = fileSystemOf(thing);
    if (error || !fileSystem) return std::nullopt;
    if (const auto data = userData(); data && nearestFileSystem(*data / "Trash") == fileSystem) {
        fs::create_directories(*data, error);
        return made({*data / "Trash"});
    }
    const fs::path top = topOfFileSystem(place, *fileSystem);
    const auto user = ::getuid();
    if (isShared(top / ".Trash"))
        if (auto trash = made({top / ".Trash" / std::to_string(user), top})) return trash;
    return made({top / fmt::format(".Trash-{}", user), top});
}

} // namespace glintro
