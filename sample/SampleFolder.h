#pragma once

#include <filesystem>
#include <vector>

#include "core/base/Failure.h"

namespace glintro::sample {

// The folder a sample is made in. Until keep() a marker file says that it is unfinished; without keep()
// everything made goes away with this object, folders it had to create included.
class SampleFolder {
  public:
    static Result<SampleFolder> claim(const std::filesystem::path& folder);
    SampleFolder(SampleFolder&& other) noexcept;
    SampleFolder& operator=(SampleFolder&&) = delete;
    ~SampleFolder();

    const std::filesystem::path& path() const { return path_; }
    void keep();

  private:
    SampleFolder(std::filesystem::path path, std::vector<std::filesystem::path> created);

    std::filesystem::path path_;
    std::vector<std::filesystem::path> created_; // innermost first
    bool claimed_ = true;
};

} // namespace glintro::sample
