#include "sample/SampleFolder.h"

#include <array>
#include <fstream>
#include <system_error>
#include <utility>

#include <fmt/format.h>

namespace glintro::sample {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMarker = ".unfinished-sample";
constexpr std::array kFiles{"raw.mov", "camera.mov", "events.json", "project.json", "project-damaged.json"};

void removeFiles(const fs::path& folder) {
    std::error_code ignored;
    for (const char* name : kFiles) fs::remove(folder / name, ignored);
}

Result<void> checkFree(const fs::path& folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (!fs::exists(status)) return {};
    if (!fs::is_directory(status))
        return failure(fmt::format("“{}” is a file, not a folder.", folder.string()));
    if (fs::exists(folder / kMarker, error)) return {};
    const bool empty = fs::is_empty(folder, error);
    if (error)
        return failure(fmt::format("The folder “{}” can’t be read.", folder.string()), error.message(),
                       error.value());
    if (empty) return {};
    return failure(
        fmt::format("The folder “{}” isn’t empty, so it was left alone. Choose a new folder for the sample.",
                    folder.string()));
}

std::vector<fs::path> missingFolders(const fs::path& folder) {
    std::vector<fs::path> missing;
    std::error_code error;
    for (fs::path path = folder; !path.empty() && !fs::exists(path, error); path = path.parent_path()) {
        missing.push_back(path);
    }
    return missing;
}

} // namespace

Result<SampleFolder> SampleFolder::claim(const fs::path& requested) {
    std::error_code error;
    fs::path folder = fs::absolute(requested, error).lexically_normal();
    if (folder.filename().empty()) folder = folder.parent_path();
    if (auto free = checkFree(folder); !free) return std::unexpected(free.error());
    SampleFolder claimed(folder, missingFolders(folder));
    fs::create_directories(folder, error);
    if (!error && !std::ofstream(folder / kMarker))
        error = std::make_error_code(std::errc::permission_denied);
    if (error) {
        return failure(fmt::format("The folder “{}” can’t be written to.", folder.string()), error.message(),
                       error.value());
    }
    removeFiles(folder);
    return claimed;
}

SampleFolder::SampleFolder(fs::path path, std::vector<fs::path> created)
    : path_(std::move(path)), created_(std::move(created)) {}

SampleFolder::SampleFolder(SampleFolder&& other) noexcept
    : path_(std::move(other.path_)),
      created_(std::move(other.created_)),
      claimed_(std::exchange(other.claimed_, false)) {}

SampleFolder::~SampleFolder() {
    if (!claimed_) return;
    removeFiles(path_);
    std::error_code ignored;
    fs::remove(path_ / kMarker, ignored);
    for (const fs::path& folder : created_) fs::remove(folder, ignored); // only when empty
}

void SampleFolder::keep() {
    std::error_code ignored;
    fs::remove(path_ / kMarker, ignored);
    claimed_ = false;
}

} // namespace glintro::sample
