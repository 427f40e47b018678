#pragma once

#include "core/export/Exporter.h"

namespace glintro {

// Reports to the requester of an export that `written` of `total` frames are in the file, `picture` being the
// last of them: the progress, at most 0.99 as the file is not finished yet, and a preview of frames 1, 4, 7,
// ...
void reportFrame(const ExportRequest& request, const Picture& picture, std::int64_t written,
                 std::int64_t total);

} // namespace glintro
