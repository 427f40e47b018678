#include "app/library/FolderMove.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>

namespace glintro {

namespace fs = std::filesystem;

int renameToFreeName(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(to, ignored))) return EEXIST;
    if (::rename(from.c_str(), to.c_str()) == 0) return 0;
    return errno == ENOTEMPTY ? EEXIST : errno;
}

} // namespace glintro
