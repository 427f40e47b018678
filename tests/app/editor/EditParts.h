#pragma once

#include <vector>

#include "app/editor/ShotActions.h"
#include "tests/app/editor/StillPlayer.h"

namespace glintro::test {

// What edits one reel, put together without a folder, a movie or an event loop.
struct EditParts {
    explicit EditParts(Seconds duration, ProjectSettings settings = {})
        : edits(std::move(settings), duration) {
        list.setShots(edits.shots());
        QObject::connect(&edits, &ReelEdits::changed, &list, [this](const SettingsChange& change) {
            if (!change.shots) return;
            list.setShots(edits.shots());
            selection.follow();
        });
        QObject::connect(&actions, &ShotActions::toastShown, &list,
                         [this](const Toast& toast) { toasts.push_back(toast); });
        QObject::connect(&actions, &ShotActions::beeped, &list, [this] { ++beeps; });
    }

    const ProjectSettings& settings() const { return edits.settings(); }
    Seconds playhead() { return playback.clock()->time(); }

    StillPlayer player;
    TransientPreferenceStore store;
    Preferences preferences{store};
    ReelEdits edits;
    Playback playback{edits, player};
    ShotList list;
    ShotSelection selection{edits, list, playback};
    ShotActions actions{edits, selection, playback, preferences};
    std::vector<Toast> toasts;
    int beeps = 0;
};

} // namespace glintro::test
