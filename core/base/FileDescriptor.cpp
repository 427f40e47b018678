#include "core/base/FileDescriptor.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glintro {
namespace {

std::unexpected<Failure> openFailure(const std::filesystem::path& file, int code) {
    return failure(fmt::format("Couldn’t open “{}”.", file.filename().string()),
                   fmt::format("{}: {}", file.string(), std::strerror(code)), code);
}

} // namespace

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    close();
}

int FileDescriptor::close() {
    if (!isOpen()) return 0;
    return ::close(std::exchange(value_, -1)) == 0 ? 0 : errno;
}

Result<RegularFile> openRegularFile(const std::filesystem::path& file) {
    FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!descriptor.isOpen()) return openFailure(file, errno);
    struct stat status {};
    if (::fstat(descriptor.value(), &status) != 0) return openFailure(file, errno);
    if (!S_ISREG(status.st_mode)) return openFailure(file, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    return RegularFile{std::move(descriptor), static_cast<std::size_t>(status.st_size)};
}

std::expected<std::size_t, int> readSome(const FileDescriptor& descriptor, char* buffer,
                                         std::size_t capacity) {
    for (;;) {
        const ssize_t count = ::read(descriptor.value(), buffer, capacity);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) return std::unexpected(errno);
    }
}

int writeAll(const FileDescriptor& descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor.value(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace glintro
