#pragma once

#include <filesystem>
#include <string>

#include "core/base/Failure.h"
#include "core/model/Timestamp.h"
#include "core/reel/Finishing.h"
#include "core/reel/TakeJournal.h"

namespace glintro {

// A take that writes its files no more and is to become a reel.
struct FinishedTake {
    std::filesystem::path folder;
    std::string name;
    TakeRecord record; // what its journal tells
};

// The library as a take sees it. Called on a background thread, one call at a time, and may block, except
// where it says otherwise.
class TakeLibrary {
  public:
    virtual ~TakeLibrary() = default;

    // Makes the folder of a new reel.
    [[nodiscard]] virtual Result<std::filesystem::path> newProjectFolder(Timestamp date) = 0;
    // Removes the folder of a take that came to nothing, with all it holds.
    virtual void discardFolder(const std::filesystem::path& folder) = 0;
    // See finishReel(), which also says when this fails; all files are kept then.
    [[nodiscard]] virtual Result<FinishedReel> registerRecording(const FinishedTake& take) = 0;

    // Whether the system lets this program record the screen, as was just asked. Main thread.
    virtual void setScreenAccess(bool hasAccess) = 0;
};

} // namespace glintro
