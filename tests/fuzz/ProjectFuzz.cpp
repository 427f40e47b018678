#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "core/model/ProjectInfo.h"

// A project file of any bytes is decoded or refused; what was decoded is stored and read back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto info = glintro::decodeProjectInfo({reinterpret_cast<const char*>(data), size});
    if (!info) return 0;
    const auto text = glintro::encodeProjectInfo(*info);
    if (!text || glintro::decodeProjectInfo(*text) != info) std::abort();
    return 0;
}
