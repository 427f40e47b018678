#include <cmath>
#include <functional>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/model/Look.h"
#include "core/timeline/KeptRange.h"
#include "core/timeline/Storyboard.h"
#include "tests/app/editor/EditParts.h"

namespace glintro {
namespace {

using test::EditParts;

constexpr Seconds kDuration = 40;

// A moment on a grid on which edges, splits and the playhead often meet.
Seconds anyTime() {
    return *rc::gen::inRange(-4, 85) * 0.5;
}

const std::vector<std::function<void(EditParts&)>>& edits() {
    static const std::vector<std::function<void(EditParts&)>> all{
        [](EditParts& p) { p.actions.splitAtPlayhead(); },
        [](EditParts& p) { p.actions.splitAtPlayhead(); },
        [](EditParts& p) { p.actions.cutShot(*rc::gen::inRange(0, 6)); },
        [](EditParts& p) { p.actions.cycleSpeed(*rc::gen::inRange(0, 6)); },
        [](EditParts& p) { p.actions.toggleZoom(*rc::gen::inRange(0, 6)); },
        [](EditParts& p) { p.actions.setZoom(*rc::gen::inRange(0, 6), *rc::gen::inRange(0, 12) * 0.5); },
        [](EditParts& p) { p.actions.joinWithNext(*rc::gen::inRange(0, 6)); },
        [](EditParts& p) { p.actions.moveBoundary(anyTime(), anyTime()); },
        [](EditParts& p) { p.actions.autoShots(); },
        [](EditParts& p) { p.actions.trimStartHere(); },
        [](EditParts& p) { p.actions.trimEndHere(); },
        [](EditParts& p) { p.actions.clearTrim(); },
        [](EditParts& p) { p.edits.edit([](auto& s) { Look::all()[4].apply(s); }); },
        // A drag over several places, one that is taken back, and a slider that is held.
        [](EditParts& p) {
            p.edits.beginEdgeDrag();
            const Seconds from = anyTime();
            for (int i = *rc::gen::inRange(0, 5); i > 0; --i) p.edits.dragEdge(from, anyTime());
            p.edits.endEdgeDrag();
        },
        [](EditParts& p) {
            p.edits.beginEdgeDrag();
            p.edits.dragEdge(anyTime(), anyTime());
            p.edits.cancelEdgeDrag();
        },
        [](EditParts& p) {
            p.edits.beginGesture();
            for (int i = *rc::gen::inRange(0, 4); i > 0; --i)
                p.actions.setZoom(0, *rc::gen::inRange(2, 12) * 0.5);
            p.edits.endGesture();
        },
    };
    return all;
}

void expectTiled(const EditParts& parts) {
    const auto& shots = parts.edits.shots();
    const KeptRange kept = keptRange(parts.settings(), kDuration);
    if (shots.empty()) {
        RC_ASSERT(kept.length() <= 0.01);
        return;
    }
    RC_ASSERT(shots.front().start == kept.start);
    RC_ASSERT(shots.back().end == kept.end);
    for (std::size_t i = 1; i < shots.size(); ++i) RC_ASSERT(shots[i].start == shots[i - 1].end);
    RC_ASSERT(parts.list.count() == static_cast<int>(shots.size()));
}

// One step: done, undone and done again.
void doEdit(EditParts& parts) {
    const ProjectSettings before = parts.settings();
    const std::size_t steps = parts.edits.history().undoCount();
    const std::size_t undone = parts.edits.history().redoCount();
    (*rc::gen::elementOf(edits()))(parts);
    const ProjectSettings after = parts.settings();
    if (after == before) {
        RC_ASSERT(parts.edits.history().undoCount() == steps);
        RC_ASSERT(parts.edits.history().redoCount() == undone);
        return;
    }
    RC_ASSERT(parts.edits.history().undoCount() == steps + 1);
    RC_ASSERT(!parts.edits.canRedo());
    parts.edits.undo();
    RC_ASSERT(parts.settings() == before);
    expectTiled(parts);
    parts.edits.redo();
    RC_ASSERT(parts.settings() == after);
}

RC_GTEST_PROP(ReelEditsTest, WhateverIsDoneIsUndoneAndDoneAgainExactly, ()) {
    EditParts parts(kDuration);
    parts.actions.setClicks({{{5, 0.5, 0.5}}, {{6, 0.5, 0.5}}, {{25, 0.5, 0.5}}});
    const ProjectSettings first = parts.settings();
    for (int i = *rc::gen::inRange(1, 40); i > 0; --i) {
        parts.playback.seek(anyTime());
        if (*rc::gen::arbitrary<bool>()) parts.selection.select(*rc::gen::inRange(-1, 6));
        doEdit(parts);
        expectTiled(parts);
        for (int back = *rc::gen::weightedElement<int>({{6, 0}, {1, 1}, {1, 3}}); back > 0; --back)
            parts.edits.undo();
    }
    const ProjectSettings last = parts.settings();
    const std::size_t steps = parts.edits.history().undoCount();
    while (parts.edits.canUndo()) parts.edits.undo();
    RC_ASSERT(parts.settings() == first);
    for (std::size_t i = 0; i < steps; ++i) parts.edits.redo();
    RC_ASSERT(parts.settings() == last);
}

// The selected card stays the same card as long as its row lives, and a card is selected whenever there is a
// shot at the selected time.
RC_GTEST_PROP(ShotSelectionTest, StaysWithItsShotThroughEditsUndosAndRedos, ()) {
    EditParts parts(kDuration);
    for (const Seconds at : {8.0, 16.0, 24.0, 32.0}) {
        parts.playback.seek(at);
        parts.actions.splitAtPlayhead();
    }
    for (int i = *rc::gen::inRange(1, 20); i > 0; --i) {
        if (*rc::gen::inRange(0, 3) == 0) parts.selection.select(*rc::gen::inRange(1, 6));
        const auto selected = [&]() -> std::uint64_t {
            for (const ShotRow& row : parts.list.rows())
                if (row.isSelected) return row.identity;
            return 0;
        };
        const std::uint64_t before = selected();
        const Seconds from = anyTime();
        switch (*rc::gen::inRange(0, 4)) {
            case 0:
                parts.edits.beginEdgeDrag();
                parts.edits.dragEdge(from, anyTime());
                parts.edits.dragEdge(from, anyTime());
                parts.edits.endEdgeDrag();
                break;
            case 1:
                parts.actions.joinWithNext(*rc::gen::inRange(1, 6));
                break;
            case 2:
                parts.edits.undo();
                break;
            default:
                parts.edits.redo();
        }
        if (parts.list.row(before)) {
            RC_ASSERT(selected() == before);
        }
        const auto time = parts.selection.time();
        RC_ASSERT(parts.selection.hasSelection()
                  == (time && Storyboard::shot(*time, parts.edits.shots()) != nullptr));
        const bool isOne = std::ranges::count_if(parts.list.rows(), &ShotRow::isSelected)
                           == (parts.selection.hasSelection() ? 1 : 0);
        RC_ASSERT(isOne);
    }
}

TEST(ReelEditsTest, HundredStepsStayAfterAnEditAndDragsMayExceedThem) {
    EditParts parts(kDuration);
    const auto pad = [&](int i) { parts.edits.edit([i](auto& s) { s.padding = i * 0.001; }); };
    for (int i = 1; i <= 101; ++i) pad(i);
    EXPECT_EQ(parts.edits.history().undoCount(), 100u);
    const auto drag = [&](Seconds to) {
        parts.edits.beginEdgeDrag();
        parts.edits.dragEdge(parts.settings().trimStart, to);
        parts.edits.endEdgeDrag();
    };
    drag(2);
    drag(3);
    EXPECT_EQ(parts.edits.history().undoCount(), 102u);
    pad(200);
    EXPECT_EQ(parts.edits.history().undoCount(), 100u);
    while (parts.edits.canUndo()) parts.edits.undo();
    EXPECT_NEAR(parts.settings().padding, 0.004, 1e-12); // three more were dropped
}

TEST(ReelEditsTest, ADragThatIsTakenBackLeavesNoTraceAndKeepsWhatCanBeRedone) {
    EditParts parts(kDuration);
    parts.edits.edit([](auto& s) { s.trimStart = 5; });
    parts.edits.edit([](auto& s) { s.trimStart = 6; });
    parts.edits.undo();
    parts.edits.beginEdgeDrag();
    EXPECT_FALSE(parts.edits.canRedo());
    EXPECT_EQ(parts.edits.dragEdge(5, 9), 9);
    EXPECT_EQ(parts.edits.dragEdge(5, 12), 12); // the edge that was at 5, wherever it is now
    EXPECT_EQ(parts.edits.dragEdge(5, NAN), 12);
    parts.edits.cancelEdgeDrag();
    EXPECT_EQ(parts.settings().trimStart, 5);
    EXPECT_EQ(parts.edits.history().undoCount(), 1u);
    parts.edits.redo();
    EXPECT_EQ(parts.settings().trimStart, 6);
}

TEST(ReelEditsTest, AHeldSliderIsOneStepThatAnotherEditEnds) {
    EditParts parts(kDuration);
    parts.edits.beginGesture();
    for (const double value : {0.01, 0.02, 0.03}) parts.edits.apply([=](auto& s) { s.padding = value; });
    EXPECT_FALSE(parts.edits.canUndo());
    parts.edits.edit([](auto& s) { s.shadow = 0; });
    EXPECT_EQ(parts.edits.history().undoCount(), 2u);
    parts.edits.undo();
    EXPECT_EQ(parts.settings().padding, 0.03);
    parts.edits.undo();
    EXPECT_EQ(parts.settings(), ProjectSettings());
    parts.edits.beginGesture();
    parts.edits.apply([](auto& s) { s.padding = 0.1; });
    parts.edits.cancelGesture();
    EXPECT_EQ(parts.settings(), ProjectSettings());
    EXPECT_TRUE(parts.edits.canRedo());
}

// What another program wrote lies between here and the step before, and takes nothing that can be redone.
TEST(ReelEditsTest, SettingsFromElsewhereAreReachedByUndo) {
    EditParts parts(kDuration);
    parts.edits.edit([](auto& s) { s.padding = 0.1; });
    parts.edits.edit([](auto& s) { s.padding = 0.2; });
    parts.edits.undo();
    ProjectSettings theirs;
    theirs.shadow = 0;
    parts.edits.keepForUndo(theirs);
    EXPECT_EQ(parts.settings().padding, 0.1);
    parts.edits.undo();
    EXPECT_EQ(parts.settings(), theirs);
    parts.edits.undo();
    EXPECT_EQ(parts.settings(), ProjectSettings());
    for (int i = 0; i < 3; ++i) parts.edits.redo();
    EXPECT_EQ(parts.settings().padding, 0.2);
}

TEST(SettingsChangeTest, OnlyWhatShowsInATileRefreshesTheLooks) {
    using Change = std::function<void(ProjectSettings&)>;
    struct Row {
        const char* name;
        Change change;
        bool structure;
        bool shots;
        bool lookPreviews;
    };
    const Row rows[] = {
        {"nothing", [](auto&) {}, false, false, false},
        {"padding, which every Look brings", [](auto& s) { s.padding = 0.2; }, false, false, false},
        {"gradient, which Bare keeps", [](auto& s) { s.gradientIndex = 3; }, false, false, true},
        {"pointer size", [](auto& s) { s.cursorSize = 3; }, false, false, true},
        {"blur, which shows behind Desktop", [](auto& s) { s.wallpaperBlur = 3; }, false, false, true},
        {"trim", [](auto& s) { s.trimEnd = 3; }, true, true, false},
        {"split", [](auto& s) { s.splits = {3}; }, false, true, false},
        {"zoom", [](auto& s) { s.zooms = {{.start = 1, .end = 2}}; }, false, true, true},
        {"cut", [](auto& s) { s.cuts = {{.start = 1, .end = 2}}; }, true, true, false},
    };
    for (const Row& row : rows) {
        ProjectSettings now;
        row.change(now);
        const SettingsChange change = SettingsChange::between({}, now);
        EXPECT_EQ(change.structure, row.structure) << row.name;
        EXPECT_EQ(change.shots, row.shots) << row.name;
        EXPECT_EQ(change.lookPreviews, row.lookPreviews) << row.name;
    }
}

} // namespace
} // namespace glintro
