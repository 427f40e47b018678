#include <cmath>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/plan/ZoomCamera.h"

namespace glintro {
namespace {

ZoomSegment zoomOf(double start, double end, double scale) {
    return {Uuid::random(), start, end, scale};
}

ZoomCamera cameraOf(std::vector<ZoomSegment> zooms, RecordingEvents events = {}) {
    ProjectSettings settings;
    settings.zooms = std::move(zooms);
    return {settings, events};
}

TEST(ZoomCamera, RampsInAndOut) {
    const ZoomCamera camera = cameraOf({zoomOf(10, 20, 2), zoomOf(30, 30.4, 3)});
    struct Row {
        double t;
        double scale;
    };
    const Row rows[] = {
        {9.98, 1},
        {10, 1},
        {10.35, 1.5},
        {10.7, 2},
        {15, 2},
        {19.3, 2},
        {19.65, 1.5},
        {20, 1},
        {25, 1},
        // A short zoom ramps for half its length each way.
        {30.1, 2},
        {30.2, 3},
        {30.3, 2},
        {30.4, 1},
    };
    for (const Row& row : rows) EXPECT_NEAR(camera.zoom(row.t).scale, row.scale, 1e-9) << row.t;
}

TEST(ZoomCamera, GlidesIntoANeighbourInsteadOfDipping) {
    const ZoomCamera camera = cameraOf({zoomOf(10, 20, 2), zoomOf(20.01, 30, 3)});
    struct Row {
        double t;
        double scale;
    };
    const Row rows[] = {{15, 2}, {19.65, 2}, {20, 2.5}, {20.36, 3}, {25, 3}};
    for (const Row& row : rows) EXPECT_NEAR(camera.zoom(row.t).scale, row.scale, 1e-3) << row.t;
    for (double t = 19; t < 21; t += 0.01) EXPECT_GE(camera.zoom(t).scale, 2 - 1e-9) << t;
}

TEST(ZoomCamera, OverlappingZoomsTakeTheLarger) {
    const ZoomCamera camera = cameraOf({zoomOf(0, 10, 2), zoomOf(2, 8, 1.5)});
    EXPECT_NEAR(camera.zoom(5).scale, 2, 1e-9);
}

TEST(ZoomCamera, CentreFollowsClicksPointerOrNothing) {
    RecordingEvents clicked;
    clicked.duration = 20;
    clicked.clicks = {{{11, 0.4, 0.6}}, {{13, 0.6, 0.2}}, {{19, 0.1, 0.1}}, {{12, 0.9}, 2}};
    const ZoomCamera byClicks = cameraOf({zoomOf(10, 15, 2)}, clicked);
    EXPECT_NEAR(byClicks.staticCenter(12).x, 0.5, 1e-12);
    EXPECT_NEAR(byClicks.staticCenter(12).y, 0.4, 1e-12);
    EXPECT_EQ(byClicks.staticCenter(9.98), (Point{0.5, 0.5}));
    // Just before its start a zoom already says where it looks, but does not zoom yet.
    EXPECT_NEAR(byClicks.staticCenter(9.995).y, 0.4, 1e-12);
    EXPECT_EQ(byClicks.zoom(9.99).scale, 1);

    RecordingEvents corner;
    corner.duration = 20;
    corner.clicks = {{{12, 1, 0}}};
    const ZoomState state = cameraOf({zoomOf(10, 15, 2)}, corner).zoom(12);
    EXPECT_NEAR(state.centre.x, 0.75, 1e-12);
    EXPECT_NEAR(state.centre.y, 0.25, 1e-12);
}

TEST(ZoomCamera, ThePointerStaysInTheMiddleOfTheFollowingView) {
    RecordingEvents events;
    events.duration = 10;
    for (int i = 0; i <= 600; ++i) events.cursor.push_back({{i / 60.0, i < 300 ? 0.3 : 0.7, 0.5}});
    const ZoomCamera camera = cameraOf({zoomOf(1, 9, 3)}, events);
    for (double t = 2; t < 8; t += 0.01) {
        const ZoomState state = camera.zoom(t);
        const double fromCentre =
            std::abs(camera.pointerPath()->position(t).x - state.centre.x) * 2 * state.scale;
        EXPECT_LE(fromCentre, 0.62 + 1e-9) << t;
    }
}

// The scale by a walk over all zooms, neighbours looked for each time: what the indexed camera must equal.
double scaleByWalk(const std::vector<ZoomSegment>& zooms, double t) {
    double best = 1;
    for (const ZoomSegment& z : zooms) {
        if (!(z.start - 0.01 < t && z.end + 0.01 > t)) continue;
        const ZoomSegment* prev = nullptr;
        const ZoomSegment* next = nullptr;
        for (const ZoomSegment& other : zooms) {
            if (other.id == z.id) continue;
            if (!prev && std::abs(other.end - z.start) < 0.05) prev = &other;
            if (!next && std::abs(other.start - z.end) < 0.05) next = &other;
        }
        const double ramp = std::min((z.end - z.start) * 0.5, 0.7);
        double e = 1;
        if (!prev && t < z.start + ramp)
            e = ease((t - z.start) / ramp);
        else if (!next && t > z.end - ramp)
            e = ease((z.end - t) / ramp);
        const double glide = std::min((z.end - z.start) * 0.5, 0.35);
        double s = z.scale;
        if (prev && t < z.start + glide)
            s = prev->scale + (z.scale - prev->scale) * ease((t - (z.start - glide)) / (2 * glide));
        if (next && t > z.end - glide)
            s = z.scale + (next->scale - z.scale) * ease((t - (z.end - glide)) / (2 * glide));
        best = std::max(best, 1 + e * (s - 1));
    }
    return best;
}

RC_GTEST_PROP(ZoomCamera, EqualsAWalkOverAllZooms, ()) {
    std::vector<ZoomSegment> zooms;
    const int count = *rc::gen::inRange(0, 30);
    for (int i = 0; i < count; ++i) {
        const double start = *rc::gen::inRange(0, 400) * 0.05;
        zooms.push_back(
            zoomOf(start, start + *rc::gen::inRange(-2, 80) * 0.05, *rc::gen::inRange(5, 40) / 10.0));
    }
    const ZoomCamera camera = cameraOf(zooms);
    for (int i = 0; i < 200; ++i) {
        const double t = i * 0.11;
        RC_ASSERT(camera.zoom(t).scale == scaleByWalk(zooms, t));
    }
}

} // namespace
} // namespace glintro
