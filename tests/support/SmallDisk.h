#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <sys/mount.h>

namespace glintro::test {

// A file system of its own that is nothing but small, gone with the object. Only root can mount one.
class SmallDisk {
  public:
    // `size` as mount reads it, such as "220m".
    SmallDisk(const std::filesystem::path& folder, const std::string& size) : folder_(folder) {
        std::filesystem::create_directories(folder);
        isMounted_ = ::mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~SmallDisk() {
        if (isMounted_) ::umount2(folder_.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return isMounted_; }
    // Less when that is all there is room for.
    void fill(int megabytes) const {
        std::ofstream filler(folder_ / "filler", std::ios::binary);
        const std::string block(1'000'000, 'x');
        for (int i = 0; i < megabytes && filler; ++i) filler << block;
    }
    void empty() const { std::filesystem::remove(folder_ / "filler"); }
    bool setReadOnly(bool isReadOnly) const {
        const unsigned long flags = isReadOnly ? MS_REMOUNT | MS_RDONLY : MS_REMOUNT;
        return ::mount(nullptr, folder_.c_str(), nullptr, flags, nullptr) == 0;
    }

  private:
    std::filesystem::path folder_;
    bool isMounted_ = false;
};

} // namespace glintro::test
