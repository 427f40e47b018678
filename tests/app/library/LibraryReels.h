#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mount.h>

#include "core/base/FileIO.h"
#include "core/reel/Project.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro::test {

// A reel as a scan sees it: the movie, which a scan does not open, is empty.
inline Project putReel(const std::filesystem::path& folder, const std::string& name = "Reel",
                       std::int64_t created = 1'700'000'000) {
    std::filesystem::create_directories(folder);
    EXPECT_TRUE(writeFile(folder / "raw.mov", ""));
    Project project(folder, {.name = name,
                             .created = Timestamp(std::chrono::seconds(created)),
                             .duration = 60,
                             .width = 1280,
                             .height = 720});
    EXPECT_TRUE(project.save());
    return project;
}

// Every file and folder below one, by relative path.
inline std::vector<std::string> allBelow(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    if (!std::filesystem::exists(folder)) return names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        names.push_back(entry.path().lexically_relative(folder).string());
    std::ranges::sort(names);
    return names;
}

// A file system of a few megabytes of its own, where this process may mount one.
class SmallDisk {
  public:
    explicit SmallDisk(const char* size) {
        isMounted_ = ::mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, size) == 0;
    }
    ~SmallDisk() {
        if (isMounted_) ::umount2(folder_.path().c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return isMounted_; }
    const std::filesystem::path& path() const { return folder_.path(); }

  private:
    TemporaryFolder folder_;
    bool isMounted_ = false;
};

} // namespace glintro::test
