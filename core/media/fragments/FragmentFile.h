#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include "core/base/Failure.h"
#include "core/base/FileDescriptor.h"
#include "core/media/fragments/Boxes.h"

namespace glintro {

// A file that grows at its end, and whose beginning can be read and patched. Appended bytes survive the
// process, synchronised ones a power cut. The object holds the file's lock while it may write: there is one
// at a time, in any process. append() from one thread at a time; sync() from any.
class FragmentFile {
  public:
    enum class Access { read, readWrite };

    // An empty file that only its owner may read; a file of that name is replaced.
    [[nodiscard]] static Result<FragmentFile> create(const std::filesystem::path& file);
    [[nodiscard]] static Result<FragmentFile> open(const std::filesystem::path& file, Access access);

    std::uint64_t size() const { return size_; }
    // How many accesses the disk has answered, well or not. Grows while anything gets on; from any thread.
    std::int64_t answeredAccesses() const { return *answered_; }

    // All of the bytes, or none of them.
    [[nodiscard]] Result<void> append(ByteView bytes);
    [[nodiscard]] Result<void> truncate(std::uint64_t size);
    [[nodiscard]] Result<void> overwrite(std::uint64_t position, ByteView bytes);
    [[nodiscard]] Result<void> sync();
    // Up to `count` bytes, fewer at the end of the file.
    [[nodiscard]] Result<Bytes> read(std::uint64_t position, std::size_t count) const;

    // Others can write the file from here on; only the size is still known. Once no other call runs.
    void close() { descriptor_ = FileDescriptor(); }

  private:
    FragmentFile(FileDescriptor descriptor, std::uint64_t size)
        : descriptor_(std::move(descriptor)), size_(size) {}

    template <class T>
    T answered(T result) const {
        ++*answered_;
        return result;
    }

    FileDescriptor descriptor_;
    std::uint64_t size_;
    std::unique_ptr<std::atomic<std::int64_t>> answered_ = std::make_unique<std::atomic<std::int64_t>>(0);
};

} // namespace glintro
