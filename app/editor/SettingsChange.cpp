#include "app/editor/SettingsChange.h"

#include <algorithm>

#include "core/model/Look.h"

namespace glintro {
namespace {

// What a single picture of the recording shows of the settings, but for its zooms: not which moments are
// kept, and how fast they play.
ProjectSettings pictureOf(const ProjectSettings& settings) {
    return {.background = settings.background,
            .gradientIndex = settings.gradientIndex,
            .solidHex = settings.solidHex,
            .wallpaperBlur = settings.wallpaperBlur,
            .padding = settings.padding,
            .cornerRadius = settings.cornerRadius,
            .shadow = settings.shadow,
            .aspect = settings.aspect,
            .showCursor = settings.showCursor,
            .cursorSize = settings.cursorSize,
            .cursorSmoothing = settings.cursorSmoothing,
            .clickRipple = settings.clickRipple,
            .followCursor = settings.followCursor,
            .showCamera = settings.showCamera,
            .camCorner = settings.camCorner,
            .camShape = settings.camShape,
            .camSize = settings.camSize};
}

// A Look brings padding, corners and shadow of its own, and most bring a backdrop: changes of those show in
// few tiles or in none.
bool changesLookPreviews(const ProjectSettings& old, const ProjectSettings& now) {
    if (old.zooms != now.zooms) return true;
    const ProjectSettings a = pictureOf(old);
    const ProjectSettings b = pictureOf(now);
    return a != b && std::ranges::any_of(Look::all(), [&](const Look& look) {
               return look.applied(a) != look.applied(b);
           });
}

} // namespace

SettingsChange SettingsChange::between(const ProjectSettings& old, const ProjectSettings& now) {
    const bool structure = !now.sameStructure(old);
    return {.structure = structure,
            .shots = structure || old.zooms != now.zooms || old.splits != now.splits,
            .lookPreviews = changesLookPreviews(old, now)};
}

} // namespace glintro
