#include <QDeadlineTimer>
#include <QRegularExpression>
#include <cmath>

#include <gtest/gtest.h>

#include "tests/app/recording/ControllerFixture.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Kind = CaptureSource::Kind;
using Mode = RecordingController::Mode;
using test::handleUntil;

using RecordingControllerTest = test::ControllerFixture;

TEST_F(RecordingControllerTest, OpensTheBarOnlyWithPermission) {
    trouble.hasAccess = false;
    controller->openBar();
    EXPECT_EQ(controller->phase(), Phase::idle);
    EXPECT_EQ(views.shown, QStringList("permission"));
    EXPECT_EQ(library.hasAccess, false);

    trouble.hasAccess = true;
    choose();
    EXPECT_EQ(controller->phase(), Phase::choosing);
    EXPECT_EQ(views.shown.back(), "bar");
    EXPECT_EQ(library.hasAccess, true);
    EXPECT_EQ(controller->sources()->selection(), Kind::display(1));
    controller->closeBar();
    EXPECT_EQ(controller->phase(), Phase::idle);
    EXPECT_EQ(views.shown.back(), "no bar");
}

TEST_F(RecordingControllerTest, DoesNothingInAPhaseThatAVerbIsNotFor) {
    controller->start();
    controller->cancelCountdown();
    controller->togglePause();
    controller->stop();
    controller->chooseArea();
    EXPECT_EQ(controller->phase(), Phase::idle);
    record();
    controller->start();
    controller->openBar();
    controller->closeBar();
    controller->select(Kind::window(7));
    controller->cancelCountdown();
    controller->chooseAgain();
    EXPECT_FALSE(platform.screen().isForgotten);
    EXPECT_EQ(controller->phase(), Phase::recording);
    EXPECT_EQ(controller->sources()->mode(), Mode::display);
    EXPECT_EQ(platform.screen().openings, 1);
}

TEST_F(RecordingControllerTest, StartsOnlyWhatIsChosen) {
    choose();
    controller->setMode(Mode::window);
    EXPECT_EQ(controller->sources()->selection(), Kind::window(7));
    EXPECT_EQ(controller->targetScreen()->id, 2U);
    platform.screen().shared.windows.clear();
    controller->loadSources();
    ASSERT_TRUE(handleUntil([&] { return controller->sources()->windows().isEmpty(); }));
    EXPECT_FALSE(controller->sources()->selection());
    EXPECT_FALSE(controller->canStart());
    controller->start();
    EXPECT_FALSE(controller->isStarting());

    controller->setMode(Mode::area);
    views.pick(std::nullopt); // cancelled: the bar is as it was
    EXPECT_EQ(controller->sources()->mode(), Mode::window);
    EXPECT_FALSE(controller->canStart());
    controller->setMode(Mode::area);
    views.pick(Rect{1930, 10, 300, 200});
    EXPECT_EQ(controller->sources()->mode(), Mode::area);
    EXPECT_EQ(controller->targetScreen()->id, 2U);
    EXPECT_EQ(views.shown.back(), "bar");
    controller->start();
    ASSERT_TRUE(reaches(Phase::recording));
    EXPECT_EQ(std::get<DisplayFilter>(platform.screen().opened).area, (Rect{1930, 10, 300, 200}));
}

// All that takes its time comes before the countdown, and nothing is recorded before its end.
TEST_F(RecordingControllerTest, CountsDownWhenAllIsPreparedAndRecordsAtOnceAfterIt) {
    make(50ms);
    choose();
    controller->switches()->setCountdownOn(true);
    controller->switches()->setMicOn(true);
    controller->switches()->setCameraOn(true);
    QList<int> numbers;
    QObject::connect(controller.get(), &RecordingController::phaseChanged, [&] {
        if (controller->phase() != Phase::countdown) return;
        numbers << controller->countdownNumber();
        EXPECT_TRUE(fs::exists(folder / "1" / "raw.mov"));
        EXPECT_TRUE(platform.sound().isRunning() && platform.cameras().isRunning());
        EXPECT_FALSE(controller->canStart());
    });
    views.shown.clear();
    controller->start();
    ASSERT_TRUE(reaches(Phase::recording));
    EXPECT_EQ(numbers, QList<int>({3, 2, 1}));
    EXPECT_EQ(views.shown, QStringList({"3 on 1", "2 on 1", "1 on 1", "no countdown", "bar"}));
    EXPECT_EQ(platform.sound().openings + platform.cameras().openings, 2);
    ASSERT_TRUE(handleUntil([&] { return TakeJournal::read(folder / "1")->firstFrameHost > 0; }));
    EXPECT_GT(controller->countdownEnd(), 0);
    EXPECT_GT(TakeJournal::read(folder / "1")->firstFrameHost, controller->countdownEnd());
}

TEST_F(RecordingControllerTest, LeavesNothingOfACountdownThatIsCancelled) {
    make(200ms);
    choose();
    for (const int number : {3, 2}) {
        controller->switches()->setCountdownOn(true);
        controller->switches()->setMicOn(true);
        controller->switches()->setCameraOn(true);
        controller->start();
        ASSERT_TRUE(handleUntil([&] { return controller->countdownNumber() == number; }));
        controller->cancelCountdown();
        EXPECT_EQ(controller->phase(), Phase::choosing);
        EXPECT_EQ(views.shown.back(), "no countdown");
        ASSERT_TRUE(endsStarting());
        EXPECT_TRUE(library.isEmpty());
        EXPECT_FALSE(platform.sound().isRunning() || platform.cameras().isRunning());
    }
    // Longer than the rest of the countdown would have taken.
    ASSERT_TRUE(handleUntil([limit = QDeadlineTimer(600ms)] { return limit.hasExpired(); }));
    EXPECT_EQ(controller->phase(), Phase::choosing);
    EXPECT_TRUE(library.isEmpty());
    controller->switches()->setCountdownOn(false);
    controller->start();
    EXPECT_TRUE(reaches(Phase::recording));
}

// Each device is opened once, however many look at it, and closed when the last one stops.
TEST_F(RecordingControllerTest, SharesMicrophoneAndCameraBetweenPreviewAndTake) {
    choose();
    controller->microphoneLevel()->setActive(true);
    controller->cameraPreview()->setActive(true);
    controller->switches()->setMicOn(true);
    controller->switches()->setCameraOn(true);
    const auto areRunning = [&] {
        return controller->microphoneLevel()->isRunning() && controller->cameraPreview()->isRunning();
    };
    ASSERT_TRUE(handleUntil(areRunning));
    const auto showsBoth = [&] {
        platform.sound().speak(std::vector<float>(480, -0.5F), hostTime());
        (void)platform.cameras().show({160, 120}, 90, hostTime());
        return std::abs(controller->microphoneLevel()->level() - 0.5) < 0.01
               && controller->cameraPreview()->picture();
    };
    EXPECT_TRUE(handleUntil(showsBoth));
    controller->start();
    ASSERT_TRUE(reaches(Phase::recording));
    EXPECT_TRUE(handleUntil(showsBoth));
    ASSERT_TRUE(recordsFor(0.5));
    (void)platform.cameras().show({160, 120}, 90, hostTime());
    controller->switches()->setCameraOn(false); // of takes to come: this one goes on
    EXPECT_FALSE(controller->cameraPreview()->picture());
    EXPECT_TRUE(platform.cameras().isRunning());
    ASSERT_TRUE(stops());
    ASSERT_EQ(views.reels.size(), 1U);
    EXPECT_TRUE(fs::exists(views.reels.front().cameraURL()));
    EXPECT_TRUE(handleUntil([&] { return !platform.cameras().isRunning(); }));
    EXPECT_TRUE(platform.sound().isRunning()) << "its level is still shown";
    EXPECT_EQ(platform.sound().openings + platform.cameras().openings, 2);
    platform.sound().unplug();
    EXPECT_TRUE(handleUntil([&] { return !controller->microphoneLevel()->problem().isEmpty(); }));
    EXPECT_EQ(controller->microphoneLevel()->level(), 0);
}

TEST_F(RecordingControllerTest, MakesAReelOfATake) {
    preferences.setCaptureFPS(30);
    record();
    ASSERT_TRUE(recordsFor(1.2));
    EXPECT_GT(controller->progress()->value().frames, 0);
    controller->stop();
    EXPECT_EQ(controller->phase(), Phase::finishing);
    const Seconds elapsed = controller->elapsed();
    ASSERT_TRUE(reaches(Phase::idle));
    ASSERT_EQ(views.reels.size(), 1U) << views.alerts.join("\n").toStdString();
    EXPECT_TRUE(library.couldBeCompleted);

    const Project& reel = views.reels.front();
    EXPECT_TRUE(QRegularExpression("^Recording [A-Z][a-z]{2} \\d{1,2}, \\d{1,2}:\\d{2}$")
                    .match(QString::fromStdString(reel.info.name))
                    .hasMatch())
        << reel.info.name;
    EXPECT_NEAR(reel.info.duration, elapsed, 0.3);
    EXPECT_EQ(reel.sourceSize(), (Size{320, 240}));
    EXPECT_FALSE(reel.info.hasAudio || reel.info.hasCamera);
    EXPECT_TRUE(reel.info.settings.showCursor);
    const RecordingEvents events = reel.loadEvents();
    ASSERT_EQ(events.clicks.size(), 1U);
    EXPECT_EQ(events.clicks.front().position(), (Point{0.5, 0.5}));
    EXPECT_GT(events.cursor.size(), 10U);
    EXPECT_FALSE(fs::exists(TakeJournal::fileIn(reel.folder())));
    EXPECT_EQ(views.shown.back(), "no bar");
    EXPECT_GT(controller->progress()->bytesOnDisk(), 0);
    EXPECT_NEAR(controller->progress()->secondsOnDisk(), reel.info.duration, 0.1);
}

TEST_F(RecordingControllerTest, CutsPausesOut) {
    record();
    ASSERT_TRUE(recordsFor(0.6));
    controller->togglePause();
    EXPECT_TRUE(controller->isPaused());
    const Seconds before = controller->elapsed();
    EXPECT_TRUE(handleUntil([limit = QDeadlineTimer(1500ms)] { return limit.hasExpired(); }));
    EXPECT_NEAR(controller->elapsed(), before, 1e-6);
    controller->togglePause();
    ASSERT_TRUE(recordsFor(0.6));
    controller->togglePause();
    const Seconds atPause = controller->elapsed();
    EXPECT_TRUE(handleUntil([limit = QDeadlineTimer(1000ms)] { return limit.hasExpired(); }));
    controller->stop(); // while paused: the take ends where the pause began
    EXPECT_FALSE(controller->isPaused());
    ASSERT_TRUE(reaches(Phase::idle));
    ASSERT_EQ(views.reels.size(), 1U);
    EXPECT_NEAR(views.reels.front().info.duration, atPause, 0.3);
    EXPECT_NEAR(controller->elapsed(), atPause, 0.05);
}

TEST_F(RecordingControllerTest, LeavesNothingOfAStartThatFails) {
    for (auto* const why : {&trouble.opening, &trouble.starting}) {
        *why = Failure{"The display has gone."};
        choose();
        controller->start();
        ASSERT_TRUE(reaches(Phase::idle));
        EXPECT_EQ(views.alerts.back(), "Recording couldn’t start: The display has gone.");
        EXPECT_EQ(views.shown.back(), "no bar");
        EXPECT_TRUE(library.isEmpty());
        *why = {};
    }
    record(); // a failure leaves the controller as good as new
    EXPECT_EQ(views.alerts.size(), 2);
}

TEST_F(RecordingControllerTest, ComesBackToChoosingWhenTheUserRefuses) {
    trouble.opening = Failure{"Nothing was shared.", {}, 0, Failure::Kind::cancelled};
    choose();
    controller->start();
    ASSERT_TRUE(handleUntil([&] { return !views.notices.isEmpty(); }));
    EXPECT_EQ(controller->phase(), Phase::choosing);
    EXPECT_EQ(views.notices, QStringList("Nothing was shared."));
    EXPECT_TRUE(views.alerts.isEmpty());
    trouble = {};
    controller->chooseAgain();
    EXPECT_TRUE(platform.screen().isForgotten);
    controller->start();
    EXPECT_TRUE(reaches(Phase::recording));
}

TEST_F(RecordingControllerTest, WithdrawsAQuestionToTheUser) {
    trouble.asksForEver = true;
    choose();
    controller->start();
    EXPECT_TRUE(controller->isStarting());
    EXPECT_FALSE(controller->canStart());
    controller->closeBar();
    EXPECT_EQ(controller->phase(), Phase::idle);
    ASSERT_TRUE(endsStarting());
    EXPECT_TRUE(views.alerts.isEmpty() && views.notices.isEmpty());
    EXPECT_EQ(library.made, 0);
}

TEST_F(RecordingControllerTest, LeavesNoFolderWithoutAPicture) {
    trouble.isBlank = true;
    recordFor(0.3);
    EXPECT_TRUE(views.reels.empty());
    EXPECT_EQ(views.alerts.size(), 1);
    EXPECT_EQ(library.made, 1);
    EXPECT_TRUE(library.isEmpty());
}

TEST_F(RecordingControllerTest, LeavesAReelThatCannotBeRegisteredToALaterScan) {
    library.isReadOnly = true;
    recordFor(0.5);
    ASSERT_EQ(views.alerts.size(), 1);
    EXPECT_TRUE(views.alerts.front().startsWith("Recording couldn’t be finished: ")) << "no alert";
    EXPECT_TRUE(fs::exists(folder / "1" / "raw.mov"));
    EXPECT_TRUE(fs::exists(TakeJournal::fileIn(folder / "1")));
}

TEST_F(RecordingControllerTest, DrawsNoSecondPointerOverOneInThePicture) {
    trouble.pointerIsEmbedded = true;
    recordFor(0.5);
    ASSERT_EQ(views.reels.size(), 1U);
    const auto stored = Project::load(views.reels.front().folder());
    ASSERT_TRUE(stored);
    EXPECT_FALSE(stored->info.settings.showCursor);
    EXPECT_TRUE(stored->info.settings.clickRipple);
}

TEST_F(RecordingControllerTest, SaysOnceWhatATakeIsWithout) {
    trouble.whyNoPresses = "Clicks can’t be seen here.";
    platform.sound().exists = platform.cameras().exists = false;
    controller->switches()->setMicOn(true);
    controller->switches()->setCameraOn(true);
    recordFor(0.5);
    views.notices.sort();
    EXPECT_EQ(views.notices, QStringList({"Clicks can’t be seen here.", "No camera was found.",
                                          "No microphone was found."}));
    EXPECT_EQ(views.reels.size(), 1U);
}

TEST_F(RecordingControllerTest, SaysWhatAReelLacksInTheEnd) {
    library.cameraIsDamaged = true;
    controller->switches()->setCameraOn(true);
    record();
    ASSERT_TRUE(recordsFor(0.3));
    (void)platform.cameras().show({160, 120}, 90, hostTime());
    ASSERT_TRUE(recordsFor(0.2));
    ASSERT_TRUE(stops());
    ASSERT_EQ(views.reels.size(), 1U);
    ASSERT_EQ(views.notices.size(), 1);
    EXPECT_TRUE(views.notices.front().contains("camera.mov")) << views.notices.front().toStdString();
}

TEST_F(RecordingControllerTest, FinishesItsTakeWhenTheProgramEnds) {
    record();
    ASSERT_TRUE(recordsFor(0.5));
    controller->togglePause();
    controller.reset();
    EXPECT_TRUE(Project::load(folder / "1"));
    EXPECT_FALSE(fs::exists(TakeJournal::fileIn(folder / "1")));
}

} // namespace
} // namespace glintro
