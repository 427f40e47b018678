#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <string_view>
#include <utility>

#include "core/base/Failure.h"

namespace glintro {

// Owns one open file of the system; -1 when there is none.
class FileDescriptor {
  public:
    explicit FileDescriptor(int value = -1) : value_(value) {}
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    bool isOpen() const { return value_ >= 0; }
    int value() const { return value_; }
    // The caller closes it from now on.
    [[nodiscard]] int release() { return std::exchange(value_, -1); }
    // 0 or the error number: some file systems report a failed write only here.
    int close();

  private:
    int value_;
};

inline constexpr unsigned kNewFileMode = 0666; // of new files, less the user's umask

struct RegularFile {
    FileDescriptor descriptor;
    std::size_t size = 0; // bytes, when it was opened
};

// Opens a file for reading. Fails for what is not a regular file, and never waits: opening a pipe would.
[[nodiscard]] Result<RegularFile> openRegularFile(const std::filesystem::path& file);

// Reads up to `capacity` bytes, 0 at the end of the file; the error is the system's number.
[[nodiscard]] std::expected<std::size_t, int> readSome(const FileDescriptor& descriptor, char* buffer,
                                                       std::size_t capacity);

// Writes all of the bytes; 0 or the system's error number.
[[nodiscard]] int writeAll(const FileDescriptor& descriptor, std::string_view bytes);

} // namespace glintro
