#pragma once

#include <utility>

#include <unistd.h>

namespace glintro {

// Owns an open file descriptor; -1 when there is none.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    int value() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_ = -1;
};

} // namespace glintro
