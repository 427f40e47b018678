#pragma once

#include <cstdint>
#include <filesystem>

#include "core/base/Failure.h"
#include "core/media/fragments/Boxes.h"

namespace glintro {

// A file that grows at its end, and whose beginning can be read and patched. What append() wrote survives the
// process, what sync() covered survives a power cut. Only one such object at a time, in any process, may
// write a file. append() from one thread at a time; sync() from any.
class FragmentFile {
  public:
    enum class Access { read, readWrite };

    // Empty, readable by its owner only; a file of that name is replaced.
    static Result<FragmentFile> create(const std::filesystem::path& file);
    static Result<FragmentFile> open(const std::filesystem::path& file, Access access);
    ~FragmentFile();
    FragmentFile(FragmentFile&& other) noexcept;
    FragmentFile& operator=(FragmentFile&&) = delete;

    std::uint64_t size() const { return size_; }

    // All of the bytes, or none of them.
    Result<void> append(ByteView bytes);
    Result<void> truncate(std::uint64_t size);
    Result<void> overwrite(std::uint64_t position, ByteView bytes);
    Result<void> sync();
    // As many as are there, at most `count`.
    Result<Bytes> read(std::uint64_t position, std::size_t count) const;

  private:
    FragmentFile(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

    int descriptor_;
    std::uint64_t size_;
};

} // namespace glintro
