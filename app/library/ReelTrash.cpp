#include "app/library/ReelTrash.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/library/FolderMove.h"
#include "app/library/TrashFolder.h"
#include "core/base/FileDescriptor.h"
#include "core/base/FileIO.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRefusal = "The Trash can’t take the reel, so it was left where it is.";
constexpr std::size_t kLongestName = 200; // bytes: some room for a number and ".trashinfo"
constexpr int kMostNumbers = 10'000;

fs::path infoFileFor(const TrashFolder& trash, const std::string& name) {
    return trash.info() / (name + ".trashinfo");
}

// As in a URL.
std::string encoded(std::string_view path) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    std::string text;
    for (const char byte : path) {
        if (kPlain.contains(byte))
            text += byte;
        else
            text += fmt::format("%{:02X}", static_cast<unsigned char>(byte));
    }
    return text;
}

std::string infoOf(const fs::path& folder, const TrashFolder& trash) {
    std::error_code error;
    fs::path place = fs::canonical(folder, error);
    if (!trash.top.empty()) place = place.lexically_relative(trash.top);
    std::tm local{};
    const std::time_t now = std::time(nullptr);
    ::localtime_r(&now, &local);
    return fmt::format("[Trash Info]\nPath={}\nDeletionDate={:%Y-%m-%dT%H:%M:%S}\n", encoded(place.native()),
                       local);
}

// 0 or the error number: EEXIST when the name is used.
int writeNewFile(const fs::path& file, std::string_view text) {
    FileDescriptor descriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!descriptor.isOpen()) return errno;
    int code = writeAll(descriptor, text);
    if (code == 0 && ::fsync(descriptor.value()) != 0) code = errno;
    if (code != 0) ::unlink(file.c_str());
    return code;
}

// As new days are made, for nobody else to look into.
void makeParent(const fs::path& folder, std::error_code& error) {
    const fs::path parent = folder.parent_path();
    fs::create_directories(parent.parent_path(), error);
    if (!error && ::mkdir(parent.c_str(), 0700) != 0 && errno != EEXIST)
        error.assign(errno, std::generic_category());
}

// Under its own name, or with the first number that is free. The note is written first: without it, what lies
// in the Trash could not be put back.
int moveUnder(const TrashFolder& trash, const std::string& name, const fs::path& folder) {
    const fs::path info = infoFileFor(trash, name);
    if (const int code = writeNewFile(info, infoOf(folder, trash))) return code;
    const int code = renameToFreeName(folder, trash.files() / name);
    if (code != 0) ::unlink(info.c_str());
    return code;
}

} // namespace

Result<fs::path> moveToTrash(const fs::path& folder) {
    std::error_code ignored;
    if (!fs::exists(fs::symlink_status(folder, ignored)))
        return failure(fmt::format("“{}” is no longer there.", folder.string()), {}, ENOENT);
    const auto trash = trashFor(folder);
    if (!trash) return failure(kRefusal, "no Trash on its file system");
    const std::string plain = folder.filename().string().substr(0, kLongestName);
    for (int number = 1; number < kMostNumbers; ++number) {
        const std::string name = number == 1 ? plain : fmt::format("{}.{}", plain, number);
        const int code = moveUnder(*trash, name, folder);
        if (code == EEXIST) continue;
        if (code != 0) return failure(kRefusal, std::generic_category().message(code), code);
        syncFolder(folder.parent_path());
        syncFolder(trash->files());
        return trash->files() / name;
    }
    return failure(kRefusal, "no free name", EEXIST);
}

Result<void> restoreFromTrash(const fs::path& inTrash, const fs::path& folder) {
    std::error_code error;
    makeParent(folder, error);
    const int code = error ? error.value() : renameToFreeName(inTrash, folder);
    if (code == EEXIST)
        return failure("Another reel stands where this one was, so it was left in the Trash.", {}, code);
    if (code == ENOENT) return failure("The reel is no longer in the Trash.", {}, code);
    if (code != 0)
        return failure(fmt::format("The reel can’t be moved back from the Trash: {}.",
                                   std::generic_category().message(code)),
                       {}, code);
    const TrashFolder trash{inTrash.parent_path().parent_path()};
    fs::remove(infoFileFor(trash, inTrash.filename().string()), error);
    syncFolder(folder.parent_path());
    return {};
}

} // namespace glintro
