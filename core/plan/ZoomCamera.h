#pragma once

#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"
#include "core/plan/PointerPaths.h"

namespace glintro {

// What a zoomed view shows: `scale` >= 1 and a centre in fractions of the recording from its top left.
struct ZoomState {
    double scale = 1;
    Point centre{0.5, 0.5};
    // Less than this is no zoom that anybody sees.
    bool isZoomed() const { return scale > 1.0001; }
    bool operator==(const ZoomState&) const = default;
};

// Quintic smootherstep (Perlin 2002) of a progress clamped to 0..1.
double ease(double progress);

// The zoom camera of a reel: how far the view is zoomed in and where it looks at a source time. Immutable
// once built; every query may come from any thread. (The webcam and its bubble have nothing to do with it.)
//
//   scale   _____/‾‾‾‾‾‾‾‾\__/‾‾‾‾‾\‾‾‾‾‾‾\____     zooms ramp in and out over 0.7 s,
//                 zoom       zoom    zoom           and glide into a neighbour that touches them
class ZoomCamera {
  public:
    // Reads `zooms` and `followCursor` of the settings.
    ZoomCamera(const ProjectSettings& settings, PointerPaths paths);
    // With the paths of a take, smoothed as the settings say.
    ZoomCamera(const ProjectSettings& settings, const RecordingEvents& events)
        : ZoomCamera(settings, PointerPaths::of(events, settings.cursorSmoothing)) {}

    ZoomState zoom(Seconds sourceTime) const;

    // Where a zoom looks when it does not follow the pointer: the mean of its clicks, else the pointer
    // half-way through it, else the middle.
    Point staticCenter(Seconds sourceTime) const;

    // The path that the pointer is drawn on, and the slow one that the view follows; null when the take has
    // no pointer samples.
    const CursorTrack* pointerPath() const { return paths_.pointer.get(); }
    const CursorTrack* viewPath() const { return paths_.view.get(); }
    const ClickTrack& clicks() const { return *paths_.clicks; }
    const PointerPaths& paths() const { return paths_; }

  private:
    // A zoom with what does not depend on the time: its neighbours' scales and where it looks.
    struct Shot {
        Seconds start = 0;
        Seconds end = 0;
        double scale = 1;
        std::optional<double> previousScale;
        std::optional<double> nextScale;
        Point centre{0.5, 0.5};
    };
    void linkNeighbours(const std::vector<ZoomSegment>& zooms);
    void indexByStart();
    double candidate(const Shot& shot, Seconds sourceTime) const;
    Point centreOf(const Shot& shot) const;
    Point following(Seconds sourceTime, double scale) const;
    template <class Visit>
    void visitAround(Seconds sourceTime, Visit visit) const;

    bool followsPointer_;
    PointerPaths paths_;
    std::vector<Shot> shots_;             // in the order of the settings
    std::vector<std::size_t> byStart_;    // indices into shots_, ascending start
    std::vector<Seconds> latestEndSoFar_; // over byStart_[0..i]: ends a backward walk early
};

} // namespace glintro
