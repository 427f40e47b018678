#include "core/base/FileIO.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/FileDescriptor.h"
#include "core/base/Uuid.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFileMode = 0666; // less the user's umask
constexpr mode_t kOwnerOnly = 0600;
constexpr int kLongestLinkChain = 40; // as the kernel has it

std::unexpected<Failure> systemFailure(const char* verb, const fs::path& file, int code) {
    return failure(fmt::format("Couldn’t {} “{}”.", verb, file.filename().string()),
                   fmt::format("{}: {}", file.string(), std::strerror(code)), code);
}

std::unexpected<Failure> readFailure(const fs::path& file, int code) {
    return systemFailure("read", file, code);
}
std::unexpected<Failure> writeFailure(const fs::path& file, int code) {
    return systemFailure("write", file, code);
}

// 0 or the error number.
int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

// Where a chain of symbolic links ends, whether or not a file is there.
Result<fs::path> followLinks(fs::path file) {
    std::error_code error;
    for (int i = 0; i < kLongestLinkChain; ++i) {
        if (!fs::is_symlink(fs::symlink_status(file, error))) return file;
        const fs::path target = fs::read_symlink(file, error);
        if (error) return writeFailure(file, error.value());
        file = file.parent_path() / target;
    }
    return writeFailure(file, ELOOP);
}

// A file beside another one that takes its place by `replace`, and is removed when that did not happen.
class Replacement {
  public:
    explicit Replacement(const fs::path& target)
        : target_(target),
          path_(target.parent_path()
                / fmt::format(".{}.{}.tmp", target.filename().string(), Uuid::random().text())) {}
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (created_) ::unlink(path_.c_str());
    }

    // Each 0 or the error number.
    int create(std::string_view bytes, Readers readers) {
        const mode_t mode = readers == Readers::owner ? kOwnerOnly : kNewFileMode;
        FileDescriptor descriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (!descriptor.isOpen()) return errno;
        created_ = true;
        if (const int error = keepPermissions(descriptor.value())) return error;
        if (const int error = writeAll(descriptor.value(), bytes)) return error;
        if (::fsync(descriptor.value()) != 0) return errno;
        return descriptor.close();
    }
    int replace() {
        if (::rename(path_.c_str(), target_.c_str()) != 0) return errno;
        created_ = false;
        return 0;
    }

  private:
    int keepPermissions(int descriptor) const {
        struct stat old {};
        if (::stat(target_.c_str(), &old) != 0) return errno == ENOENT ? 0 : errno;
        if (!S_ISREG(old.st_mode)) return S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
        return ::fchmod(descriptor, old.st_mode & 07777) == 0 ? 0 : errno;
    }

    fs::path target_;
    fs::path path_;
    bool created_ = false;
};

} // namespace

Result<std::string> readFile(const fs::path& file, std::size_t longest) {
    const auto opened = openRegularFile(file);
    if (!opened) return std::unexpected(opened.error());
    if (opened->size > longest) return readFailure(file, EFBIG);
    std::string bytes(opened->size, '\0');
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const auto count = readSome(opened->descriptor, bytes.data() + filled, bytes.size() - filled);
        if (!count) return readFailure(file, count.error());
        if (*count == 0) break; // the file has become shorter meanwhile
        filled += *count;
    }
    bytes.resize(filled);
    return bytes;
}

Result<void> writeFileAtomically(const fs::path& file, std::string_view bytes, Readers readers) {
    const auto target = followLinks(file);
    if (!target) return std::unexpected(target.error());
    Replacement replacement(*target);
    if (const int error = replacement.create(bytes, readers)) return writeFailure(file, error);
    if (const int error = replacement.replace()) return writeFailure(file, error);
    syncFolder(target->parent_path());
    return {};
}

Result<void> writeFile(const fs::path& file, std::string_view bytes) {
    FileDescriptor descriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode));
    if (!descriptor.isOpen()) return writeFailure(file, errno);
    if (const int error = writeAll(descriptor.value(), bytes)) return writeFailure(file, error);
    if (const int error = descriptor.close()) return writeFailure(file, error);
    return {};
}

void syncFolder(const fs::path& folder) {
    const FileDescriptor descriptor(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.isOpen()) ::fsync(descriptor.value());
}

} // namespace glintro
