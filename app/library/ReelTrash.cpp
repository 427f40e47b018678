#include "app/library/ReelTrash.h"

#include <QFile>
#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>

#include "core/base/FileIO.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// By the Trash's rules a file of this name tells where what lies in "files" came from.
fs::path infoFileOf(const fs::path& inTrash) {
    const fs::path trash = inTrash.parent_path().parent_path();
    return trash / "info" / (inTrash.filename().string() + ".trashinfo");
}

// Never over anything, where the file system can do that.
int renameToFreeName(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(to, ignored))) return EEXIST;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

} // namespace

Result<fs::path> moveToTrash(const fs::path& folder) {
    std::error_code ignored;
    if (!fs::exists(folder, ignored))
        return failure(fmt::format("“{}” is no longer there.", folder.string()), {}, ENOENT);
    QFile file(QFile::decodeName(folder.c_str()));
    if (!file.moveToTrash() || fs::exists(folder, ignored))
        return failure("The Trash can’t take the reel, so it was left where it is.",
                       file.errorString().toStdString());
    fs::path inTrash = QFile::encodeName(file.fileName()).toStdString();
    syncFolder(folder.parent_path());
    return inTrash;
}

Result<void> restoreFromTrash(const fs::path& inTrash, const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder.parent_path(), error);
    const int code = error ? error.value() : renameToFreeName(inTrash, folder);
    if (code == EEXIST || code == ENOTEMPTY)
        return failure("Another reel stands where this one was, so it was left in the Trash.", {}, code);
    if (code == ENOENT) return failure("The reel is no longer in the Trash.", {}, code);
    if (code != 0)
        return failure(fmt::format("The reel can’t be moved back from the Trash: {}.",
                                   std::generic_category().message(code)),
                       {}, code);
    fs::remove(infoFileOf(inTrash), error);
    syncFolder(folder.parent_path());
    return {};
}

} // namespace glintro
