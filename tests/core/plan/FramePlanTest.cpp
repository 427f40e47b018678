#include <cmath>

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
    const double full = 0.028 * 1080 / 132;
    struct Row {
        double t;
        double factor;
    };
    for (const Row& row : {Row{4.99, 1}, {5, 0.82}, {5.11, 0.91}, {5.22, 1}, {9, 1}}) {
        const FramePlan plan = planAt(bare(), events, row.t);
        ASSERT_TRUE(plan.pointer);
        EXPECT_NEAR(plan.pointer->scale.width, full * row.factor, 1e-9) << row.t;
        EXPECT_NEAR(plan.pointer->tip.x, 480, 1e-6);
        EXPECT_NEAR(plan.pointer->tip.y, 540, 1e-6);
    }
}

TEST(FramePlan, RippleGrowsAndFades) {
    const RecordingEvents events = clickAt(5, 0.5, 0.5);
    const double base = 0.028 * 1080;
    EXPECT_TRUE(planAt(bare(), events, 4.999).ripples.empty());
    EXPECT_TRUE(planAt(bare(), events, 5.55).ripples.empty());
    const auto first = planAt(bare(), events, 5).ripples;
    ASSERT_EQ(first.size(), 1U);
    EXPECT_NEAR(first[0].diameter.width, 0.6 * base, 1e-9);
    EXPECT_NEAR(first[0].opacity, 0.95, 1e-9);
    const auto later = planAt(bare(), events, 5.275).ripples;
    ASSERT_EQ(later.size(), 1U);
    EXPECT_NEAR(later[0].diameter.width, 1.7 * base, 1e-6);
    EXPECT_NEAR(later[0].opacity, 0.95 * std::pow(0.5, 1.4), 1e-6);

    ProjectSettings hidden = bare();
    hidden.showCursor = false;
    EXPECT_TRUE(planAt(hidden, events, 5).ripples.empty());
    EXPECT_FALSE(planAt(hidden, events, 5).pointer);
}

TEST(FramePlan, ZoomMagnifiesAndThePointerGrowsByThreeQuarters) {
    ProjectSettings settings = bare();
    settings.zooms = {{.start = 2, .end = 8, .scale = 2}};
    const FramePlan plan = planAt(settings, clickAt(1, 0.5, 0.5), 5);
    EXPECT_NEAR(plan.window.width, 960, 1e-9);
    EXPECT_NEAR(plan.window.x, 480, 1e-6);
    ASSERT_TRUE(plan.pointer);
    EXPECT_NEAR(plan.pointer->tip.x, 960, 1e-6);
    EXPECT_NEAR(plan.pointer->scale.width, 0.028 * 1080 / 132 * 1.75, 1e-9);
}

TEST(BubblePlan, SitsInItsCornerInsideThePadding) {
    struct Row {
        CamCorner corner;
        CamShape shape;
        double padding;
        Point origin;
        double radius;
    };
    // 259 pixels, a margin of 37.8, or 0.45 of a padding of 108.
    const Row rows[] = {
        {CamCorner::bottomRight, CamShape::circle, 0, {1920 - 37.8 - 259, 1080 - 37.8 - 259}, 129.5},
        {CamCorner::topLeft, CamShape::rounded, 0, {37.8, 37.8}, 51.8},
        {CamCorner::topRight, CamShape::circle, 0.1, {1920 - 48.6 - 259, 48.6}, 129.5},
        {CamCorner::bottomLeft, CamShape::circle, 0.1, {48.6, 1080 - 48.6 - 259}, 129.5},
    };
    for (const Row& row : rows) {
        ProjectSettings settings;
        settings.camCorner = row.corner;
        settings.camShape = row.shape;
        settings.padding = row.padding;
        const auto plan = planBubble(settings, kCanvas);
        ASSERT_TRUE(plan);
        EXPECT_EQ(plan->diameter, 259);
        EXPECT_NEAR(plan->origin.x, row.origin.x, 1e-9);
        EXPECT_NEAR(plan->origin.y, row.origin.y, 1e-9);
        EXPECT_NEAR(plan->radius, row.radius, 1e-9);
    }
}

} // namespace
} // namespace glintro
