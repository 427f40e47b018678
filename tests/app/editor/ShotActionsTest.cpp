#include <gtest/gtest.h>

#include "app/editor/LookChoice.h"
#include "app/editor/PanelSettings.h"
#include "tests/app/editor/EditParts.h"

namespace glintro {
namespace {

using test::EditParts;
using Tone = Toast::Tone;

void expectToast(const EditParts& parts, const char* text, const char* symbol, Tone tone,
                 const char* action) {
    ASSERT_FALSE(parts.toasts.empty());
    const Toast& toast = parts.toasts.back();
    EXPECT_EQ(toast.text.toStdString(), text);
    EXPECT_EQ(toast.symbol.toStdString(), symbol);
    EXPECT_EQ(toast.tone, tone);
    EXPECT_EQ(toast.action.toStdString(), action);
}

TEST(ShotActionsTest, ASplitSelectsTheRightHandShotOrIsRefused) {
    EditParts parts(20);
    parts.playback.seek(0.2);
    parts.actions.splitAtPlayhead();
    EXPECT_EQ(parts.beeps, 1);
    expectToast(parts, "Too close to a shot edge to split", "scissors", Tone::secondary, "");
    EXPECT_FALSE(parts.edits.canUndo());

    parts.playback.seek(0.3);
    parts.actions.splitAtPlayhead();
    EXPECT_EQ(parts.beeps, 1);
    EXPECT_EQ(parts.toasts.size(), 1u);
    EXPECT_DOUBLE_EQ(*parts.selection.time(), 0.31);
    EXPECT_EQ(parts.selection.targetNumber(), 2);
}

TEST(ShotActionsTest, ACutIsUndoneByItsToastOnce) {
    EditParts parts(20);
    parts.playback.seek(4.2);
    parts.actions.splitAtPlayhead();
    parts.actions.cutShot(1);
    expectToast(parts, "Shot 1 cut · 4.2s shorter", "scissors", Tone::cut, "Undo");
    EXPECT_EQ(parts.edits.shots()[0].kind, Shot::Kind::cut);
    const Toast toast = parts.toasts.back();
    toast.run();
    EXPECT_EQ(parts.edits.shots()[0].kind, Shot::Kind::wide);
    toast.run();
    EXPECT_EQ(parts.edits.shots().size(), 2u); // the split stays
    parts.edits.redo();
    EXPECT_EQ(parts.edits.shots()[0].kind, Shot::Kind::cut);
    parts.actions.cutShot(1);
    EXPECT_EQ(parts.edits.shots()[0].kind, Shot::Kind::wide);
    EXPECT_EQ(parts.toasts.size(), 1u);
}

TEST(ShotActionsTest, SpeedGoesRound) {
    struct Row {
        double from;
        double to;
        const char* text;
    };
    for (const Row& row : {Row{1, 2, "Shot 1 at 2×"}, Row{2, 4, "Shot 1 at 4×"}, Row{4, 8, "Shot 1 at 8×"},
                           Row{8, 1, "Shot 1 at normal speed"}, Row{1.5, 2, "Shot 1 at 2×"},
                           Row{3, 4, "Shot 1 at 4×"}, Row{1.99, 4, "Shot 1 at 4×"},
                           Row{0.5, 1, "Shot 1 at normal speed"}, Row{16, 1, "Shot 1 at normal speed"}}) {
        EditParts parts(20);
        parts.actions.setSpeed(1, row.from);
        parts.actions.cycleSpeed();
        EXPECT_DOUBLE_EQ(parts.edits.shots()[0].rate, row.to);
        expectToast(parts, row.text, "forward.fill", Tone::speed, "");
    }
}

TEST(ShotActionsTest, ZoomsTheTargetByThePreference) {
    EditParts parts(20);
    parts.actions.toggleZoom();
    EXPECT_EQ(parts.edits.shots()[0].scale, 2);
    parts.actions.toggleZoom();
    EXPECT_EQ(parts.edits.shots()[0].kind, Shot::Kind::wide);
    parts.preferences.setDefaultZoom(2.6);
    parts.actions.toggleZoom();
    EXPECT_EQ(parts.edits.shots()[0].scale, 2.6);
    parts.actions.nudgeZoom(-1);
    EXPECT_EQ(parts.edits.shots()[0].scale, 2.5);
    parts.actions.cutShot();
    const ProjectSettings cut = parts.settings();
    parts.actions.toggleZoom();
    EXPECT_EQ(parts.settings(), cut);
}

TEST(ShotActionsTest, ActsOnTheSelectionElseOnTheShotUnderThePlayhead) {
    EditParts parts(20);
    parts.playback.seek(10);
    parts.actions.splitAtPlayhead();
    parts.selection.select(1);
    EXPECT_DOUBLE_EQ(parts.playhead(), 0.05); // just inside, whatever the shot's length
    parts.playback.seek(15);
    EXPECT_EQ(parts.selection.targetNumber(), 1);
    parts.selection.clear();
    EXPECT_EQ(parts.selection.targetNumber(), 2);
    parts.selection.selectNeighbour(-1);
    EXPECT_EQ(parts.selection.targetNumber(), 1);
    parts.selection.selectNeighbour(-1);
    EXPECT_EQ(parts.selection.targetNumber(), 1);

    parts.selection.clear();
    parts.playback.seek(15);
    parts.actions.trimEndHere();
    parts.playback.seek(18); // no shot is there
    const ProjectSettings before = parts.settings();
    parts.actions.cutShot();
    parts.actions.cycleSpeed();
    parts.actions.joinWithNext();
    EXPECT_EQ(parts.settings(), before);
    EXPECT_TRUE(parts.toasts.empty());
}

TEST(ShotActionsTest, ZoomsFromClicksWaitForTheClicksAndRepeatWithoutAStep) {
    EditParts parts(30);
    parts.selection.select(1);
    parts.actions.autoShots();
    EXPECT_FALSE(parts.edits.canUndo());
    parts.actions.setClicks({{{5, 0, 0}}, {{20, 0, 0}}});
    expectToast(parts, "Zooms made from 2 clicks", "rebuild", Tone::plain, "Undo");
    EXPECT_EQ(parts.settings().zooms.size(), 2u);
    EXPECT_FALSE(parts.selection.hasSelection());
    parts.actions.autoShots();
    EXPECT_EQ(parts.edits.history().undoCount(), 1u);
    expectToast(parts, "Zooms made from 2 clicks", "rebuild", Tone::plain, "");
    parts.actions.setClicks({});
    parts.actions.autoShots();
    expectToast(parts, "No clicks were recorded. Press Z on a shot to zoom it.", "info", Tone::secondary,
                "Undo");
}

TEST(ShotActionsTest, TrimsAreStepsOfTheirOwn) {
    EditParts parts(20);
    parts.playback.seek(3);
    parts.actions.trimStartHere();
    parts.playback.seek(17);
    parts.actions.trimEndHere();
    EXPECT_EQ(parts.settings().trimStart, 3);
    EXPECT_EQ(parts.settings().trimEnd, 17);
    parts.actions.clearTrim();
    EXPECT_EQ(parts.settings(), ProjectSettings());
    EXPECT_EQ(parts.edits.history().undoCount(), 3u);
}

// A slider that comes by a neighbour's scale must not leave it merged with the neighbour.
TEST(ShotActionsTest, AHeldZoomSliderIsJudgedFromWhereItBegan) {
    ProjectSettings settings;
    settings.zooms = {{.start = 0, .end = 10, .scale = 3}};
    EditParts parts(20, settings);
    parts.playback.seek(15);
    parts.edits.beginGesture();
    for (const double scale : {2.0, 3.0, 1.0, 2.5}) parts.actions.setZoom(0, scale);
    parts.edits.endGesture();
    ASSERT_EQ(parts.edits.shots().size(), 2u);
    EXPECT_EQ(parts.edits.shots()[0].scale, 3);
    EXPECT_EQ(parts.edits.shots()[1].scale, 2.5);
    parts.edits.undo();
    EXPECT_EQ(parts.settings(), settings);
}

TEST(PanelSettingsTest, SetsWhatFitsAndKeepsNumbersInTheirRange) {
    struct Row {
        const char* key;
        QVariant value;
        QVariant result; // invalid: ignored
    };
    const Row rows[] = {
        {"padding", 0.1, 0.1},
        {"padding", 7, 0.2},
        {"padding", "wide", {}},
        {"padding", true, {}},
        {"camSize", -1.0, 0.12},
        {"gradientIndex", 20, 13},
        {"showCursor", false, false},
        {"showCursor", 0.5, {}},
        {"solidHex", "#f3efe8", "#f3efe8"},
        {"solidHex", "red", {}},
        {"aspect", "9:16", "9:16"},
        {"aspect", "21:9", {}},
        {"camShape", "rounded", "rounded"},
        {"trimStart", 3.0, {}},
    };
    for (const Row& row : rows) {
        EditParts parts(20);
        PanelSettings panels(parts.edits);
        const QVariant before = panels.values()[row.key];
        panels.set(row.key, row.value);
        EXPECT_EQ(panels.values()[row.key], row.result.isValid() ? row.result : before) << row.key;
        EXPECT_EQ(parts.edits.canUndo(), row.result.isValid()) << row.key;
    }
}

TEST(LookChoiceTest, AHoveredLookIsShownAndNotKept) {
    EditParts parts(20);
    LookChoice looks(parts.edits);
    EXPECT_EQ(looks.current().toStdString(), "Aurora");
    looks.hover("Paper");
    EXPECT_EQ(looks.shown().solidHex, "#F3EFE8");
    parts.actions.toggleZoom(); // meanwhile
    EXPECT_EQ(looks.shown().zooms, parts.settings().zooms);
    EXPECT_EQ(looks.shown().background, BackgroundKind::solid);
    looks.hover("");
    EXPECT_EQ(looks.shown(), parts.settings());
    EXPECT_EQ(parts.edits.history().undoCount(), 1u);
    looks.hover("Mono");
    looks.applyLook("Mono");
    EXPECT_EQ(looks.hovered(), "");
    EXPECT_EQ(looks.current().toStdString(), "Mono");
    EXPECT_EQ(parts.edits.history().undoCount(), 2u);
    looks.applyLook("mono");
    EXPECT_EQ(parts.edits.history().undoCount(), 2u);
}

} // namespace
} // namespace glintro
