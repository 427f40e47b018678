#pragma once

#include <filesystem>
#include <string_view>

#include "core/base/Failure.h"
#include "core/base/FileDescriptor.h"

namespace glintro {

// Who may read a file that is new.
enum class Readers {
    all, // as the user's umask says
    owner,
};

// A new file written beside another one, which it replaces in one step: whoever reads the other one sees the
// old bytes or all of the new ones, also after a power cut. Unless it is committed it is removed, and the old
// file stays as it was. A process killed on the way may leave a hidden ".partial" file.
//
//   create ──► write (or let another library write to path()) ──► sync ──► commit
//
// Every file has a name of its own, so any number of threads and processes may replace the same one; the last
// commit holds. It keeps the ending of the name it replaces, which libraries tell formats by. One thread at a
// time. A Failure's nativeCode is the system's error number.
class ReplacementFile {
  public:
    // Makes an empty file beside `target`, with the permissions of the file there, or with those of `readers`
    // where there is none. Where `target` is a symbolic link, the file it leads to is replaced and the link
    // stays. Fails where `target` is no regular file.
    [[nodiscard]] static Result<ReplacementFile> create(const std::filesystem::path& target,
                                                        Readers readers = Readers::all);

    ReplacementFile(ReplacementFile&& other) noexcept;
    ReplacementFile& operator=(ReplacementFile&&) = delete;
    ~ReplacementFile();

    // Where to write.
    const std::filesystem::path& path() const { return path_; }

    // Appends to the file, through a descriptor of its own.
    [[nodiscard]] Result<void> write(std::string_view bytes);
    // Waits until all that was written to path(), by whomever, is on the disk. May take seconds for a large
    // file; commit() does it where it was not done.
    [[nodiscard]] Result<void> sync();
    // Puts the file in the other one's place. The object is of no more use.
    [[nodiscard]] Result<void> commit();

  private:
    ReplacementFile(std::filesystem::path target, std::filesystem::path path, FileDescriptor descriptor);
    std::unexpected<Failure> writeFailure(int error) const;

    std::filesystem::path target_;
    std::filesystem::path path_; // empty once there is nothing to remove
    FileDescriptor descriptor_;
    bool isSynced_ = false;
};

} // namespace glintro
