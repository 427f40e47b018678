#include "core/base/ReplacementFile.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/FileIO.h"
#include "core/base/Uuid.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kOwnerOnly = 0600;
constexpr int kLongestLinkChain = 40; // as the kernel has it

std::unexpected<Failure> writeFailureOf(const fs::path& file, int error) {
    return failure(fmt::format("Couldn’t write “{}”.", file.filename().string()),
                   fmt::format("{}: {}", file.string(), std::strerror(error)), error);
}

// Where a chain of symbolic links ends, whether or not a file is there.
Result<fs::path> followLinks(fs::path file) {
    std::error_code error;
    for (int i = 0; i < kLongestLinkChain; ++i) {
        if (!fs::is_symlink(fs::symlink_status(file, error))) return file;
        const fs::path target = fs::read_symlink(file, error);
        if (error) return writeFailureOf(file, error.value());
        file = file.parent_path() / target;
    }
    return writeFailureOf(file, ELOOP);
}

// Without the target's own name, which may be as long as names can be.
fs::path nameBeside(const fs::path& target) {
    return target.parent_path()
           / fmt::format(".{}.partial{}", Uuid::random().text(), target.extension().string());
}

// Whether the file system has no permissions that could be changed, as on cameras, phones and network shares.
bool hasNoPermissions(int error) {
    return error == EPERM || error == ENOSYS || error == ENOTSUP;
}

// Gives a new file the permissions of the one it will replace, if there is one. 0 or the error number.
int keepPermissions(const FileDescriptor& descriptor, const fs::path& target) {
    struct stat old {};
    if (::stat(target.c_str(), &old) != 0) return errno == ENOENT ? 0 : errno;
    if (!S_ISREG(old.st_mode)) return S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
    struct stat made {};
    if (::fstat(descriptor.value(), &made) != 0) return errno;
    const mode_t kept = old.st_mode & 07777;
    if ((made.st_mode & 07777) == kept || ::fchmod(descriptor.value(), kept) == 0) return 0;
    return hasNoPermissions(errno) ? 0 : errno;
}

} // namespace

Result<ReplacementFile> ReplacementFile::create(const fs::path& file, Readers readers) {
    const auto target = followLinks(file);
    if (!target) return std::unexpected(target.error());
    const fs::path path = nameBeside(*target);
    FileDescriptor descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                     readers == Readers::owner ? kOwnerOnly : kNewFileMode));
    if (!descriptor.isOpen()) return writeFailureOf(file, errno);
    ReplacementFile replacement(*target, path, std::move(descriptor));
    if (const int error = keepPermissions(replacement.descriptor_, *target))
        return writeFailureOf(file, error);
    return replacement;
}

ReplacementFile::ReplacementFile(fs::path target, fs::path path, FileDescriptor descriptor)
    : target_(std::move(target)), path_(std::move(path)), descriptor_(std::move(descriptor)) {}

ReplacementFile::ReplacementFile(ReplacementFile&& other) noexcept
    : target_(std::move(other.target_)),
      path_(std::exchange(other.path_, {})),
      descriptor_(std::move(other.descriptor_)),
      isSynced_(other.isSynced_) {}

ReplacementFile::~ReplacementFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
}

std::unexpected<Failure> ReplacementFile::writeFailure(int error) const {
    return writeFailureOf(target_, error);
}

Result<void> ReplacementFile::write(std::string_view bytes) {
    isSynced_ = false;
    if (const int error = writeAll(descriptor_, bytes)) return writeFailure(error);
    return {};
}

Result<void> ReplacementFile::sync() {
    if (::fsync(descriptor_.value()) != 0) return writeFailure(errno);
    isSynced_ = true;
    return {};
}

Result<void> ReplacementFile::commit() {
    if (!isSynced_)
        if (auto synced = sync(); !synced) return synced;
    if (const int error = descriptor_.close()) return writeFailure(error);
    if (::rename(path_.c_str(), target_.c_str()) != 0) return writeFailure(errno);
    path_.clear();
    syncFolder(target_.parent_path());
    return {};
}

} // namespace glintro
