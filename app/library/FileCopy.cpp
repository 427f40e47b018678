#include "app/library/FileCopy.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace glintro {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kChunk = 4U << 20;      // bytes
constexpr std::uint64_t kFlushed = 32U << 20; // that are written to the disk while the next are copied
constexpr auto kProgressInterval = std::chrono::milliseconds(33);

// What copy_file_range() answers between files that only ordinary reads and writes can copy.
bool needsReading(int error) {
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM;
}

class Copying {
  public:
    Copying(const RegularFile& from, const FileDescriptor& to, const FileCopyOptions& options)
        : from_(from), to_(to), options_(options) {}
    int run();

  private:
    bool cloned() const { return ::ioctl(to_.value(), FICLONE, from_.descriptor.value()) == 0; }
    bool isTooLarge() const;
    ssize_t copyChunk();
    ssize_t readAndWrite();
    void startFlushing();
    void report(bool always);

    const RegularFile& from_;
    const FileDescriptor& to_;
    const FileCopyOptions& options_;
    std::uint64_t done_ = 0;
    std::uint64_t flushed_ = 0;
    Clock::time_point reported_;
    std::unique_ptr<char[]> buffer_; // once the kernel has refused to copy by itself
};

int Copying::run() {
    report(true);
    if (cloned()) {
        done_ = from_.size;
    } else if (isTooLarge()) {
        return ENOSPC;
    }
    while (done_ < from_.size) {
        if (options_.stop.stop_requested()) return ECANCELED;
        const ssize_t count = copyChunk();
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        if (count == 0) break;
        done_ += static_cast<std::uint64_t>(count);
        startFlushing();
        report(false);
    }
    if (::fsync(to_.value()) != 0) return errno;
    report(true);
    return 0;
}

// The space is reserved, so that a disk that is too small is known at once.
bool Copying::isTooLarge() const {
    return from_.size > 0
           && ::fallocate(to_.value(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(from_.size)) != 0
           && (errno == ENOSPC || errno == EDQUOT);
}

ssize_t Copying::copyChunk() {
    if (buffer_) return readAndWrite();
    const ssize_t count =
        ::copy_file_range(from_.descriptor.value(), nullptr, to_.value(), nullptr, kChunk, 0);
    if (count >= 0 || !needsReading(errno)) return count;
    buffer_ = std::make_unique_for_overwrite<char[]>(kChunk);
    return readAndWrite();
}

ssize_t Copying::readAndWrite() {
    const auto count = readSome(from_.descriptor, buffer_.get(), kChunk);
    errno = count ? writeAll(to_, {buffer_.get(), *count}) : count.error();
    return errno == 0 ? static_cast<ssize_t>(*count) : -1;
}

// Little is left to be written at the end, and the progress is that of the disk.
void Copying::startFlushing() {
    if (done_ - flushed_ < kFlushed) return;
    ::sync_file_range(to_.value(), static_cast<off_t>(flushed_), static_cast<off_t>(done_ - flushed_),
                      SYNC_FILE_RANGE_WRITE);
    if (flushed_ >= kFlushed)
        ::sync_file_range(to_.value(), 0, static_cast<off_t>(flushed_), SYNC_FILE_RANGE_WAIT_BEFORE);
    flushed_ = done_;
}

void Copying::report(bool always) {
    const auto now = Clock::now();
    if (!options_.progress || (!always && now - reported_ < kProgressInterval)) return;
    reported_ = now;
    options_.progress(done_, std::max<std::uint64_t>(from_.size, done_));
}

} // namespace

int copyToDisk(const RegularFile& from, const FileDescriptor& to, const FileCopyOptions& options) {
    return Copying(from, to, options).run();
}

// A lease is only granted on a file that nobody writes to. It is given back at once; whoever opens the file
// for writing in between makes the system send a signal, which must be one that ends no process.
Writers writersOf(const FileDescriptor& file) {
    ::fcntl(file.value(), F_SETSIG, SIGURG);
    if (::fcntl(file.value(), F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(file.value(), F_SETLEASE, F_UNLCK);
        return Writers::none;
    }
    return errno == EAGAIN ? Writers::some : Writers::unknown;
}

} // namespace glintro
