#include "core/export/Destination.h"

#include <system_error>

#include <fmt/format.h>

namespace glintro {

namespace fs = std::filesystem;

Result<void> checkDestination(const Project& project, const fs::path& to) {
    std::error_code ignored;
    if (to.empty()) return failure("The output has no name. Give a file name.");
    if (!to.has_filename() || fs::is_directory(to, ignored))
        return failure(fmt::format("“{}” is a folder. Give a file name.", to.string()));
    if (project.owns(to))
        return failure(fmt::format("“{}” is one of the reel’s own files. Choose another name.", to.string()));
    return {};
}

Result<void> makeFolderOf(const fs::path& to) {
    std::error_code error;
    if (to.has_parent_path()) fs::create_directories(to.parent_path(), error);
    if (!error) return {};
    return failure(
        fmt::format("The folder “{}” can’t be made: {}.", to.parent_path().string(), error.message()), {},
        error.value());
}

} // namespace glintro
