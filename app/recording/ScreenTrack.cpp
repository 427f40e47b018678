#include "app/recording/ScreenTrack.h"

#include <utility>

namespace glintro {

bool ScreenTrack::offer(ScreenFrame frame, Seconds time) {
    rows_.carry(frame);
    const auto convert = [this](const ScreenFrame& taken) {
        picture_.update(taken);
        return picture_.view();
    };
    // Everything but the pixels, which the mailbox takes: the rows are owed when it is full.
    ScreenFrame rows = frame;
    rows.storage.reset();
    if (video_.offer([convert, taken = std::move(frame)] { return convert(taken); }, time)) {
        rows_.settle();
        return true;
    }
    rows_.owe(rows);
    return false;
}

void ScreenTrack::leaveOut(ScreenFrame frame) {
    rows_.carry(frame);
    rows_.owe(frame);
}

} // namespace glintro
