#include "core/reel/MediaTraces.h"

#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"

namespace glintro {
namespace {

constexpr std::size_t kBlockSize = std::size_t{1} << 20;
constexpr std::size_t kNameSize = 4;

bool namesMedia(std::string_view bytes) {
    return bytes.find("moof") != std::string_view::npos || bytes.find("mdat") != std::string_view::npos;
}

} // namespace

bool holdsMedia(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) return false;
    const auto opened = openRegularFile(file);
    if (!opened) return true;
    std::string bytes;
    for (;;) {
        // The end of the last block stays in front: a name may lie on the border.
        const std::size_t kept = std::min(bytes.size(), kNameSize - 1);
        bytes.erase(0, bytes.size() - kept);
        bytes.resize(kept + kBlockSize);
        const auto count = readSome(opened->descriptor, bytes.data() + kept, kBlockSize);
        if (!count) return true;
        bytes.resize(kept + *count);
        if (namesMedia(bytes)) return true;
        if (*count == 0) return false;
    }
}

} // namespace glintro
