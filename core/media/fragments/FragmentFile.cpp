#include "core/media/fragments/FragmentFile.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/FileIO.h"
#include "core/media/MovieSentences.h"
#include "core/media/OutputFailure.h"

namespace glintro {
namespace {

std::unexpected<Failure> writeFailure(int error) {
    return outputFailure("movie", error, kCannotWriteMovie);
}

// 0, or the error that kept some of the bytes from being written.
int writeAllAt(int descriptor, ByteView bytes, std::uint64_t position) {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(position));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count < 0 ? errno : ENOSPC;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        position += static_cast<std::uint64_t>(count);
    }
    return 0;
}

// Where a file system has no locks, other writers are not kept out.
bool isWrittenElsewhere(int descriptor) {
    return ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

std::unexpected<Failure> busyFailure() {
    return failure("The movie is still being written.", "locked", EWOULDBLOCK);
}

} // namespace

Result<FragmentFile> FragmentFile::create(const std::filesystem::path& file) {
    FileDescriptor descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!descriptor.isOpen()) return outputFailure("movie", errno, kCannotStartMovie);
    FragmentFile created(std::move(descriptor), 0);
    if (isWrittenElsewhere(created.descriptor_.value())) return busyFailure();
    if (auto emptied = created.truncate(0); !emptied) return std::unexpected(emptied.error());
    syncFolder(file.parent_path()); // a power cut may else lose the name of a file whose content is safe
    return created;
}

Result<FragmentFile> FragmentFile::open(const std::filesystem::path& file, Access access) {
    const int mode = access == Access::read ? O_RDONLY : O_RDWR;
    // Opening a pipe would wait for its other end.
    FileDescriptor descriptor(::open(file.c_str(), mode | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen()) {
        const int error = errno;
        if (error == ENOENT) return failure("There is no such movie file.", file.string(), error);
        return outputFailure("movie", error, "The movie can’t be opened.");
    }
    FragmentFile opened(std::move(descriptor), 0);
    struct stat status {};
    if (::fstat(opened.descriptor_.value(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return failure(kCannotOpenMovie, "no regular file");
    }
    if (access == Access::readWrite && isWrittenElsewhere(opened.descriptor_.value())) return busyFailure();
    opened.size_ = static_cast<std::uint64_t>(status.st_size);
    return opened;
}

Result<void> FragmentFile::append(ByteView bytes) {
    if (const int error = answered(writeAllAt(descriptor_.value(), bytes, size_)); error != 0) {
        // Half a fragment is of no use, and occupies a disk that has no room left.
        [[maybe_unused]] const int ignored = ::ftruncate(descriptor_.value(), static_cast<off_t>(size_));
        return writeFailure(error);
    }
    size_ += bytes.size();
    return {};
}

Result<void> FragmentFile::truncate(std::uint64_t size) {
    if (answered(::ftruncate(descriptor_.value(), static_cast<off_t>(size))) != 0) return writeFailure(errno);
    size_ = size;
    return {};
}

Result<void> FragmentFile::overwrite(std::uint64_t position, ByteView bytes) {
    if (const int error = answered(writeAllAt(descriptor_.value(), bytes, position)); error != 0)
        return writeFailure(error);
    return {};
}

Result<void> FragmentFile::sync() {
    if (answered(::fdatasync(descriptor_.value())) != 0) return writeFailure(errno);
    return {};
}

Result<Bytes> FragmentFile::read(std::uint64_t position, std::size_t count) const {
    Bytes bytes(count);
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t got = answered(::pread(descriptor_.value(), bytes.data() + filled, count - filled,
                                             static_cast<off_t>(position + filled)));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return failure(kCannotReadMovie, std::strerror(errno), errno);
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

} // namespace glintro
