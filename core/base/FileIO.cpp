#include "core/base/FileIO.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "core/base/FileDescriptor.h"
#include "core/base/ReplacementFile.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

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
    auto replacement = ReplacementFile::create(file, readers);
    if (!replacement) return std::unexpected(replacement.error());
    if (auto written = replacement->write(bytes); !written) return written;
    return replacement->commit();
}

Result<void> writeFile(const fs::path& file, std::string_view bytes) {
    FileDescriptor descriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode));
    if (!descriptor.isOpen()) return writeFailure(file, errno);
    if (const int error = writeAll(descriptor, bytes)) return writeFailure(file, error);
    if (const int error = descriptor.close()) return writeFailure(file, error);
    return {};
}

void syncFolder(const fs::path& folder) {
    const FileDescriptor descriptor(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.isOpen()) ::fsync(descriptor.value());
}

} // namespace glintro
