#include "app/shell/CommandLibrary.h"

#include <system_error>

#include <fmt/format.h>

#include "app/library/LibraryFolder.h"
#include "app/shell/Environment.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

fs::path normalized(const fs::path& folder) {
    std::error_code error;
    const fs::path path = fs::absolute(folder, error).lexically_normal();
    return path.filename().empty() ? path.parent_path() : path;
}

} // namespace

Result<void> CommandLibrary::checkFolder() const {
    if (!named_) return {};
    std::error_code error;
    const fs::file_status status = fs::status(*named_, error);
    if (!fs::exists(status)) return {};
    if (!fs::is_directory(status))
        return failure(fmt::format("“{}” is a file, not a folder.", named_->string()));
    const bool empty = fs::is_empty(*named_, error);
    if (error)
        return failure(fmt::format("The folder “{}” can’t be read: {}.", named_->string(), error.message()));
    if (!empty)
        return failure(
            fmt::format("The folder “{}” isn’t empty, so it was left alone. Choose a new one for "
                        "the recording.",
                        named_->string()));
    return {};
}

Result<fs::path> CommandLibrary::newProjectFolder(Timestamp date) {
    if (!named_) return LibraryFolder::ofUser(processEnvironment).newProjectFolder(date);
    if (auto checked = checkFolder(); !checked) return std::unexpected(checked.error());
    fs::path folder = normalized(*named_);
    made_ = missingFolders(folder);
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error && !made_.empty()) fs::permissions(folder, fs::perms::owner_all, error);
    if (error)
        return failure(fmt::format("The folder “{}” can’t be made: {}.", named_->string(), error.message()));
    return folder;
}

void CommandLibrary::discardFolder(const fs::path& folder) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) fs::remove_all(entry, ignored);
    if (!named_) made_ = {folder, folder.parent_path()}; // the day's folder goes when this was its first reel
    for (const fs::path& made : made_) fs::remove(made, ignored);
}

Result<FinishedReel> CommandLibrary::registerRecording(const FinishedTake& take) {
    return LibraryFolder::registerRecording(take.folder, take.name, take.record, defaults_);
}

} // namespace glintro
