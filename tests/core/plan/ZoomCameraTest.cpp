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

TEST(ZoomCamera, RampsInAndOutAndGlidesIntoANeighbour) {
    const std::vector<ZoomSegment> apart{zoomOf(10, 20, 2), zoomOf(30, 30.4, 3)};
    const std::vector<ZoomSegment> neighbours{zoomOf(10, 20, 2), zoomOf(20.01, 30, 3)};
    const struct {
        std::vector<ZoomSegment> zooms;
        std::vector<std::pair<double, double>> scales; // by time
    } rows[] = {{apart, {{9.98, 1}, {10, 1}, {10.35, 1.5}, {10.7, 2}, {19.3, 2}, {19.65, 1.5}, {20, 1}}},
                {apart, {{30.1, 2}, {30.2, 3}, {30.3, 2}, {30.4, 1}}}, // half of its length each way
                {neighbours, {{15, 2}, {19.65, 2}, {20, 2.5}, {20.36, 3}, {25, 3}}},
                {{zoomOf(0, 10, 2), zoomOf(2, 8, 1.5)}, {{5, 2}}}}; // the larger of two
    for (const auto& row : rows)
        for (const auto& [t, scale] : row.scales)
            EXPECT_NEAR(cameraOf(row.zooms).zoom(t).scale, scale, 1e-3) << t;
    for (double t = 19; t < 21; t += 0.01) EXPECT_GE(cameraOf(neighbours).zoom(t).scale, 2 - 1e-9) << t;
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

// The camera finds zooms by an index over their starts and ends: neither order nor zooms far away may matter.
RC_GTEST_PROP(ZoomCamera, OnlyTheZoomsAroundATimeMatter, ()) {
    std::vector<ZoomSegment> zooms;
    const int count = *rc::gen::inRange(0, 30);
    for (int i = 0; i < count; ++i) {
        const double start = *rc::gen::inRange(0, 400) * 0.05;
        zooms.push_back(
            zoomOf(start, start + *rc::gen::inRange(-2, 80) * 0.05, *rc::gen::inRange(5, 40) / 10.0));
    }
    const ZoomCamera all = cameraOf(zooms);
    const double t = *rc::gen::inRange(0, 2200) * 0.01;
    std::erase_if(zooms, [t](const ZoomSegment& zoom) { return zoom.end < t - 1 || zoom.start > t + 1; });
    const ZoomCamera around = cameraOf(zooms);
    RC_ASSERT(all.zoom(t) == around.zoom(t));
    RC_ASSERT(all.staticCenter(t) == around.staticCenter(t));
}

} // namespace
} // namespace glintro
