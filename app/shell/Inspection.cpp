#include "app/shell/Inspection.h"

#include "core/plan/FrameGeometry.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

constexpr ShortSide kShortSide{1080};

InspectedFrame inspectFrame(const Inspection& reel, const ZoomCamera& camera, Seconds sourceTime) {
    InspectedFrame frame;
    frame.sourceTime = sourceTime;
    frame.compositionTime = reel.map.composition(sourceTime);
    frame.shownSource = reel.map.source(frame.compositionTime);
    frame.zoom = camera.zoom(sourceTime);
    if (const CursorTrack* path = camera.pointerPath()) frame.pointer = path->position(sourceTime);
    if (const Shot* shot = Storyboard::shot(sourceTime, reel.shots)) frame.shot = shot->number;
    return frame;
}

} // namespace

Inspection::Inspection(const Project& reel, const std::vector<Seconds>& at)
    : info(reel.info),
      look(Look::current(info.settings)),
      canvas(outputSize(info.settings.aspect, reel.sourceSize(), kShortSide)),
      shots(Storyboard::shots(info.settings, info.duration)),
      map(info.settings, info.duration) {
    if (at.empty()) return; // the events, which can be many, are not needed
    const ZoomCamera camera(info.settings, reel.loadEvents());
    for (const Seconds sourceTime : at) frames.push_back(inspectFrame(*this, camera, sourceTime));
}

} // namespace glintro
