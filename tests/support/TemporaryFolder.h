#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace glintro {

// A folder of its own for one test: made empty under the system's temporary folder, removed with all it
// holds when the object goes. The constructor throws where the folder cannot be made, which fails the test.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "glintro-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "no temporary folder " + pattern);
        }
        folder_ = pattern;
    }

    ~TemporaryFolder() { remove(); }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return folder_; }

    // The path of an entry in the folder; the entry itself is not made.
    [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const {
        return folder_ / name;
    }

  private:
    // A test may have taken write permission away, which would leave its files behind for ever.
    void remove() const {
        namespace fs = std::filesystem;
        std::error_code ignored;
        fs::permissions(folder_, fs::perms::owner_all, fs::perm_options::add, ignored);
        for (fs::recursive_directory_iterator entry(folder_, ignored), end; !ignored && entry != end;
             entry.increment(ignored)) {
            if (entry->is_symlink(ignored) || !entry->is_directory(ignored)) continue;
            fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
        fs::remove_all(folder_, ignored);
    }

    std::filesystem::path folder_;
};

} // namespace glintro
