#include "core/export/FrameReporting.h"

#include <algorithm>

#include "core/render/Preview.h"

namespace glintro {
namespace {

constexpr int kPreviewSide = 640;
constexpr int kPreviewEvery = 3;
constexpr double kUnfinished = 0.99;

} // namespace

void reportFrame(const ExportRequest& request, const Picture& picture, std::int64_t written,
                 std::int64_t total) {
    if (request.onFrame && written % kPreviewEvery == 1)
        request.onFrame(
            {previewImage(picture, kPreviewSide), static_cast<int>(written), static_cast<int>(total)});
    if (request.progress)
        request.progress({std::min(static_cast<double>(written) / static_cast<double>(total), kUnfinished),
                          static_cast<int>(written), static_cast<int>(total), picture.size});
}

} // namespace glintro
