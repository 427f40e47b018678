#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "core/base/Failure.h"
#include "core/reel/Project.h"

namespace glintro {

// A reel's name as a file name without extension that every usual file system allows; its folder's name when
// nothing is left of it.
std::string outputStem(const Project& project);

// A new file name that no other file in a folder has, which is made when there is none: "Name.mp4",
// "Name-2.mp4", "Name-3.mp4" ... An empty file reserves the name at once, so that two programs never choose
// the same. Unless kept, that file is removed.
class ReservedName {
  public:
    [[nodiscard]] static Result<ReservedName> create(const std::filesystem::path& folder,
                                                     const std::string& stem, std::string_view extension);
    ~ReservedName();
    ReservedName(ReservedName&& other) noexcept : path_(std::exchange(other.path_, {})) {}
    ReservedName& operator=(ReservedName&&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // The file there is a whole one now.
    void keep() { kept_ = true; }

  private:
    explicit ReservedName(std::filesystem::path path) : path_(std::move(path)) {}

    std::filesystem::path path_; // empty once moved from
    bool kept_ = false;
};

} // namespace glintro
