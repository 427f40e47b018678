#include <gtest/gtest.h>

#include "core/plan/FramePlan.h"

namespace glintro {
namespace {

constexpr Size kSource{1920, 1080};
constexpr PixelSize kCanvas{1920, 1080};

RecordingEvents clickAt(double t, double x, double y) {
    RecordingEvents events;
    events.duration = 10;
    for (int i = 0; i <= 100; ++i) events.cursor.push_back({{i * 0.1, x, y}});
    events.clicks = {{{t, x, y}}};
    return events;
}

ProjectSettings bare() {
    ProjectSettings settings;
    settings.padding = 0;
    settings.cursorSize = 1;
    return settings;
}

FramePlan planAt(const ProjectSettings& settings, const RecordingEvents& events, double t) {
    return planFrame(settings, ZoomCamera(settings, events), kSource, Framing::fit, t, kCanvas);
}

TEST(FramePlan, PointerShrinksAtAPressAndSpringsBack) {
    const RecordingEvents events = clickAt(5, 0.25, 0.5);
    const double atRest = planAt(bare(), events, 4.99).pointer->scale.width;
    EXPECT_NEAR(atRest * 132, 30.24, 1e-9) << "the arrow's height on a recording of 1080 rows";
    struct Row {
        double t;
        double factor;
    };
    for (const Row& row : {Row{5, 0.82}, {5.11, 0.91}, {5.22, 1}, {9, 1}}) {
        const FramePlan plan = planAt(bare(), events, row.t);
        ASSERT_TRUE(plan.pointer);
        EXPECT_NEAR(plan.pointer->scale.width / atRest, row.factor, 1e-9) << row.t;
        EXPECT_NEAR(plan.pointer->tip.x, 480, 1e-6);
        EXPECT_NEAR(plan.pointer->tip.y, 540, 1e-6);
    }
}

TEST(FramePlan, RippleGrowsAndFades) {
    const RecordingEvents events = clickAt(5, 0.5, 0.5);
    EXPECT_TRUE(planAt(bare(), events, 4.999).ripples.empty());
    EXPECT_TRUE(planAt(bare(), events, 5.55).ripples.empty());
    RipplePlan last = planAt(bare(), events, 5).ripples.at(0);
    EXPECT_NEAR(last.diameter.width, 18.144, 1e-9);
    EXPECT_NEAR(last.opacity, 0.95, 1e-9);
    for (double t = 5.05; t < 5.55; t += 0.05) {
        const auto ripples = planAt(bare(), events, t).ripples;
        ASSERT_EQ(ripples.size(), 1U) << t;
        EXPECT_GT(ripples[0].diameter.width, last.diameter.width) << t;
        EXPECT_LT(ripples[0].opacity, last.opacity) << t;
        EXPECT_EQ(ripples[0].centre, last.centre) << t;
        last = ripples[0];
    }
    ProjectSettings hidden = bare();
    hidden.showCursor = false;
    EXPECT_TRUE(planAt(hidden, events, 5).ripples.empty());
    EXPECT_FALSE(planAt(hidden, events, 5).pointer);
}

TEST(FramePlan, ZoomMagnifiesAndThePointerGrowsByThreeQuarters) {
    ProjectSettings settings = bare();
    settings.zooms = {{.start = 2, .end = 8, .scale = 2}};
    const RecordingEvents events = clickAt(1, 0.5, 0.5);
    const FramePlan plan = planAt(settings, events, 5);
    EXPECT_EQ(plan.window, (Rect{480, 270, 960, 540}));
    ASSERT_TRUE(plan.pointer);
    EXPECT_NEAR(plan.pointer->tip.x, 960, 1e-6);
    EXPECT_NEAR(plan.pointer->scale.width / planAt(bare(), events, 5).pointer->scale.width, 1.75, 1e-9);
}

TEST(BubblePlan, SitsAsFarFromBothEdgesOfItsCorner) {
    for (const CamCorner corner :
         {CamCorner::topLeft, CamCorner::topRight, CamCorner::bottomLeft, CamCorner::bottomRight}) {
        ProjectSettings settings = bare();
        settings.camCorner = corner;
        const auto plan = planBubble(settings, kCanvas);
        ASSERT_TRUE(plan);
        const double left = plan->origin.x, right = kCanvas.width - plan->diameter - left;
        const double top = plan->origin.y, bottom = kCanvas.height - plan->diameter - top;
        EXPECT_EQ(left < right, corner == CamCorner::topLeft || corner == CamCorner::bottomLeft);
        EXPECT_EQ(top < bottom, corner == CamCorner::topLeft || corner == CamCorner::topRight);
        EXPECT_NEAR(std::min(left, right), 37.8, 1e-9);
        EXPECT_NEAR(std::min(top, bottom), 37.8, 1e-9);
    }
}

} // namespace
} // namespace glintro
