#pragma once

#include <span>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "core/edit/EditOperation.h"
#include "core/model/ProjectInfo.h"
#include "core/model/RecordingEvents.h"

namespace glintro {

// What operations need beside the reel's record.
struct EditInputs {
    std::vector<EventSample> clicks = {}; // of the recording; only asked for by needsClicks()
    double defaultZoom = 2;               // of automatic zooms whose level is not given
};

struct EditedReel {
    ProjectInfo info;
    std::vector<std::string> done = {}; // a line of text on each operation that changed something
};

// Operations on one reel, which are done in their order, all or none. A value; pure functions on values.
class EditScript {
  public:
    // The script that `words` say, such as "cut 2 speed 3 4". Fails with a sentence for what no reel could
    // make right: an unknown operation, a missing value, one that is malformed or out of its range.
    [[nodiscard]] static Result<EditScript> parse(std::span<const std::string> words);

    // Every operation with its values and what it does, and every field of "set" with its range.
    static std::string help();

    bool isEmpty() const { return steps_.empty(); }
    bool needsClicks() const;

    // What the script makes of a reel. Fails with a sentence that names the operation which this reel
    // refuses; shots are counted as the operations before it left them. Segments that operations make have
    // new random identities, save for automatic zooms that were there before; all else depends on the
    // arguments alone.
    [[nodiscard]] Result<EditedReel> apply(const ProjectInfo& to, const EditInputs& inputs) const;

  private:
    struct Step {
        std::string words; // as they were given
        EditOperation operation;
    };

    std::vector<Step> steps_;
};

} // namespace glintro
