// Opens arbitrary bytes as a movie, as its sound and as a still picture, and reads some of each.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "core/media/decode/AudioMix.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/decode/StillImage.h"

namespace {

using namespace glintro;

// A file in memory that has a path.
class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size)
        : descriptor_(::memfd_create("movie", MFD_CLOEXEC)) {
        if (::write(descriptor_, data, size) != static_cast<ssize_t>(size)) std::abort();
    }
    ~MemoryFile() { ::close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    int descriptor_;
};

void check(bool holds) {
    if (!holds) std::abort();
}

void readFrames(const std::filesystem::path& file, MovieReader::Access access) {
    const auto reader = MovieReader::open(file, access);
    if (!reader) return check(!reader.error().message.empty());
    const MovieProperties& properties = (*reader)->properties();
    check(properties.duration > 0);
    for (const double part : {0.0, 0.9, 0.2, 1.0}) {
        const auto frame = (*reader)->frameAt(part * properties.duration);
        if (!frame) continue;
        const Picture& picture = *frame->picture;
        check(picture.size == properties.naturalSize);
        // Touches the corners, which a wrong plane would put outside its memory.
        for (const PlaneView& plane : picture.planes) {
            const volatile std::uint8_t last = plane.row(plane.height - 1)[plane.width - 1];
            static_cast<void>(last);
        }
    }
}

void readSound(const std::filesystem::path& file) {
    const auto mix = AudioMix::open(file, {{0.1, 0.3, 1}, {0.5, 1, 2}, {1e9, 1e9 + 0.1, 1}});
    if (!mix) return;
    std::vector<float> block(4096);
    for (std::int64_t total = 0;;) {
        const auto count = (*mix)->read(block);
        if (!count) return;
        total += *count;
        if (*count == 0) return check(total == (*mix)->length());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile file(data, size);
    readFrames(file.path(), MovieReader::Access::sequential);
    readFrames(file.path(), MovieReader::Access::single);
    readSound(file.path());
    static_cast<void>(loadImage(file.path()));
    return 0;
}
