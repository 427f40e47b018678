#pragma once

#include <filesystem>
#include <functional>

#include "core/base/Failure.h"
#include "core/model/ProjectInfo.h"

namespace glintro {

// Changes the record of a reel that other processes may be changing, too. `change` is given what the project
// file holds, and its result replaces the file in one step. Callers of this function wait for one another, so
// that nobody's change is lost:
//
//   lock ─► read ─► change ─► write beside it ─► is the file still the one that was read? ─yes─► replace it
//     ▲                                                    │ no: somebody saved without the lock
//     └────────────────────────────────────────────────────┘
//
// So `change` may be called several times. Nothing is written when it fails, or leaves the record as it is.
// Unfinished files that killed processes have left beside it are removed after ten minutes.
// Waits for the disk, and up to five seconds for other processes, after which nativeCode is EAGAIN: not for
// the main thread.
[[nodiscard]] Result<void> updateProject(const std::filesystem::path& folder,
                                         const std::function<Result<void>(ProjectInfo&)>& change);

} // namespace glintro
