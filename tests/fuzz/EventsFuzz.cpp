#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include <sys/mman.h>

#include "core/model/RecordingEvents.h"

namespace {

// In memory: a file on a disk would take most of the fuzzer's time.
std::string scratchFile() {
    static const int descriptor = ::memfd_create("events.json", 0);
    return "/proc/self/fd/" + std::to_string(descriptor);
}

} // namespace

// Events of any bytes are decoded or refused, and the same way from memory and from a file; what was decoded
// is stored and read back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto events = glintro::decodeEvents(bytes);
    const std::string file = scratchFile();
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    if (glintro::readEvents(file) != events) std::abort();
    if (!events) return 0;
    const auto text = glintro::encodeEvents(*events);
    if (!text || glintro::decodeEvents(*text) != events) std::abort();
    return 0;
}
