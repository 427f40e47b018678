#pragma once

#include <QStringList>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "app/recording/RecordingController.h"
#include "core/reel/TakeJournal.h"
#include "tests/app/recording/DeskPlatform.h"
#include "tests/app/recording/FolderLibrary.h"
#include "tests/support/EventLoop.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {

// Notes what it is told to show.
class NotedViews final : public MessageView,
                         public MainWindowView,
                         public RecordingBarView,
                         public CountdownView,
                         public AreaPickerView {
  public:
    RecordingViews all() { return {*this, *this, this, this, this}; }

    void showBar() override { shown << "bar"; }
    void hideBar() override { shown << "no bar"; }
    void showCountdown(int number, const std::optional<ShareableDisplay>& screen) override {
        shown << QString("%1 on %2").arg(number).arg(screen ? screen->id : 0);
    }
    void hideCountdown() override { shown << "no countdown"; }
    void pickArea(const std::optional<Rect>&, AreaPicked completion) override { pick = completion; }
    void showReel(const Project& project) override { reels.push_back(project); }
    void presentPermissionSheet() override { shown << "permission"; }
    void alert(const QString& title, const QString& text) override { alerts << title + ": " + text; }
    void notice(const QString& sentence) override { notices << sentence; }

    QStringList shown;
    QStringList alerts;
    QStringList notices;
    std::vector<Project> reels;
    AreaPicked pick;
};

class ControllerFixture : public testing::Test {
  protected:
    using Phase = RecordingController::Phase;

    ControllerFixture() {
        application();
        make(std::chrono::milliseconds(10));
    }

    void make(std::chrono::milliseconds countdownStep) {
        preferences.setCountdown(false);
        controller = std::make_unique<RecordingController>(
            RecordingController::Seams{platform, preferences, views.all(), library},
            RecordingController::Timing{.countdownStep = countdownStep, .finishTimeout = 1.5});
    }
    // The bar with its sources.
    void choose() {
        controller->openBar();
        ASSERT_TRUE(handleUntil([&] { return !controller->sources()->displays().isEmpty(); }));
    }
    void record() {
        choose();
        controller->start();
        ASSERT_TRUE(reaches(Phase::recording)) << views.alerts.join("\n").toStdString();
    }
    bool reaches(Phase phase) {
        return handleUntil([&] { return controller->phase() == phase; });
    }
    bool recordsFor(Seconds seconds) {
        const Seconds end = controller->elapsed() + seconds;
        return handleUntil([&] { return controller->elapsed() >= end; });
    }
    bool stops() {
        controller->stop();
        return reaches(Phase::idle);
    }
    // A take from choosing to finished.
    void recordFor(Seconds seconds) {
        record();
        ASSERT_TRUE(recordsFor(seconds));
        ASSERT_TRUE(stops());
    }
    bool endsStarting() {
        return handleUntil([&] { return !controller->isStarting(); });
    }

    TemporaryFolder folder;
    DeskPlatform platform;
    DeskTrouble& trouble = platform.screen().trouble;
    TransientPreferenceStore store;
    Preferences preferences{store};
    NotedViews views;
    FolderLibrary library{folder.path()};
    std::unique_ptr<RecordingController> controller;
};

} // namespace glintro::test
