#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

#include "app/recording/RecordingController.h"
#include "core/media/decode/MovieReader.h"
#include "core/reel/TakeJournal.h"
#include "tests/app/recording/DeskPlatform.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Kind = CaptureSource::Kind;
using Mode = RecordingController::Mode;
using Phase = RecordingController::Phase;

QCoreApplication& application() {
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    return application;
}

// Handles events until the answer is yes.
template <class Predicate>
bool handleUntil(Predicate predicate) {
    const QDeadlineTimer limit(60s);
    while (!predicate() && !limit.hasExpired()) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(2ms);
    }
    return predicate();
}

// Notes what it is told to show.
class NotedViews final : public RecordingViews {
  public:
    void showBar() override { shown << "bar"; }
    void hideBar() override { shown << "no bar"; }
    void showCountdown(int number, const std::optional<ShareableDisplay>& screen) override {
        shown << QString("%1 on %2").arg(number).arg(screen ? screen->id : 0);
    }
    void hideCountdown() override { shown << "no countdown"; }
    void pickArea(const std::optional<Rect>&, AreaPicked completion) override { pick = completion; }
    void showMainWindow() override { shown << "window"; }
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

// Reels in one folder after the other, as the library makes them.
class FolderLibrary final : public TakeLibrary {
  public:
    explicit FolderLibrary(fs::path root) : root_(std::move(root)) {}

    Result<fs::path> newProjectFolder(Timestamp) override {
        const fs::path folder = root_ / std::to_string(++made);
        fs::create_directories(folder);
        return folder;
    }
    void discardFolder(const fs::path& folder) override { fs::remove_all(folder); }
    std::optional<Project> registerRecording(const FinishedTake& take) override {
        const auto movie = MovieReader::open(take.folder / "raw.mov", MovieReader::Access::single);
        couldBeCompleted =
            movie && fs::exists(take.folder / "events.json") && fs::exists(TakeJournal::fileIn(take.folder));
        if (isReadOnly) return std::nullopt;
        return Project::registerReel(take.folder, {.name = take.name, .hasAudio = take.hasAudio});
    }
    void setScreenAccess(bool access) override { hasAccess = access; }

    bool isEmpty() const { return fs::is_empty(root_); }

    std::atomic<int> made = 0;
    bool isReadOnly = false;
    bool couldBeCompleted = false; // had it been killed instead of registered
    std::optional<bool> hasAccess;

  private:
    fs::path root_;
};

class RecordingControllerTest : public testing::Test {
  protected:
    RecordingControllerTest() {
        application();
        make(10ms);
    }

    void make(std::chrono::milliseconds countdownStep) {
        RecordingPreferences(preferences).setCountdown(false);
        controller = std::make_unique<RecordingController>(
            RecordingController::Seams{platform, preferences, views, library}, countdownStep);
    }
    // The bar with its sources.
    void choose() {
        controller->openBar();
        ASSERT_TRUE(handleUntil([&] { return !controller->displays().isEmpty(); }));
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
    bool endsStarting() {
        return handleUntil([&] { return !controller->isStarting(); });
    }

    TemporaryFolder folder;
    test::DeskPlatform platform;
    test::DeskTrouble& trouble = platform.screen().trouble;
    TransientPreferenceStore preferences;
    NotedViews views;
    FolderLibrary library{folder.path()};
    std::unique_ptr<RecordingController> controller;
};

TEST_F(RecordingControllerTest, OpensTheBarOnlyWithPermission) {
    trouble.hasAccess = false;
    controller->openBar();
    EXPECT_EQ(controller->phase(), Phase::idle);
    EXPECT_EQ(views.shown, QStringList({"window", "permission"}));
    EXPECT_EQ(library.hasAccess, false);

    trouble.hasAccess = true;
    choose();
    EXPECT_EQ(controller->phase(), Phase::choosing);
    EXPECT_EQ(views.shown.back(), "bar");
    EXPECT_EQ(library.hasAccess, true);
    EXPECT_EQ(controller->selection(), Kind::display(1));
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
    EXPECT_EQ(controller->mode(), Mode::display);
    EXPECT_EQ(platform.screen().openings, 1);
}

TEST_F(RecordingControllerTest, StartsOnlyWhatIsChosen) {
    choose();
    controller->setMode(Mode::window);
    EXPECT_EQ(controller->selection(), Kind::window(7));
    EXPECT_EQ(controller->targetScreen()->id, 2U);
    platform.screen().shared.windows.clear();
    controller->loadSources();
    ASSERT_TRUE(handleUntil([&] { return controller->windows().isEmpty(); }));
    EXPECT_FALSE(controller->selection());
    EXPECT_FALSE(controller->canStart());
    controller->start();
    EXPECT_FALSE(controller->isStarting());

    controller->setMode(Mode::area);
    views.pick(std::nullopt); // given up: the bar is as it was
    EXPECT_EQ(controller->mode(), Mode::window);
    EXPECT_FALSE(controller->canStart());
    controller->setMode(Mode::area);
    views.pick(Rect{1930, 10, 300, 200});
    EXPECT_EQ(controller->mode(), Mode::area);
    EXPECT_EQ(controller->targetScreen()->id, 2U);
    EXPECT_EQ(views.shown.back(), "bar");
    controller->start();
    ASSERT_TRUE(reaches(Phase::recording));
    EXPECT_EQ(std::get<DisplayFilter>(platform.screen().opened).area, (Rect{1930, 10, 300, 200}));
}

TEST_F(RecordingControllerTest, CountsDownBeforeItRecords) {
    choose();
    controller->setCountdownOn(true);
    QList<int> numbers;
    QObject::connect(controller.get(), &RecordingController::phaseChanged,
                     [&] { numbers << controller->countdownNumber(); });
    views.shown.clear();
    controller->start();
    ASSERT_TRUE(reaches(Phase::recording));
    EXPECT_EQ(numbers, QList<int>({3, 2, 1, 0}));
    EXPECT_EQ(views.shown, QStringList({"3 on 1", "2 on 1", "1 on 1", "no countdown", "bar"}));
}

TEST_F(RecordingControllerTest, TakesACountdownBackWithoutATrace) {
    make(200ms);
    choose();
    controller->setCountdownOn(true);
    controller->start();
    ASSERT_TRUE(handleUntil([&] { return controller->countdownNumber() == 2; }));
    controller->cancelCountdown();
    EXPECT_EQ(controller->phase(), Phase::choosing);
    EXPECT_EQ(views.shown.back(), "no countdown");
    // Longer than the rest of the countdown would have taken.
    ASSERT_TRUE(handleUntil([limit = QDeadlineTimer(800ms)] { return limit.hasExpired(); }));
    EXPECT_EQ(controller->phase(), Phase::choosing);
    EXPECT_EQ(platform.screen().openings, 0);
    EXPECT_EQ(library.made, 0);
}

TEST_F(RecordingControllerTest, MakesAReelOfATake) {
    RecordingPreferences(preferences).setCaptureFPS(30);
    record();
    ASSERT_TRUE(recordsFor(1.2));
    EXPECT_GT(controller->progress().frames, 0);
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
    EXPECT_GT(controller->bytesOnDisk(), 0);
    EXPECT_NEAR(controller->secondsOnDisk(), reel.info.duration, 0.1);
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
    struct Row {
        const char* what;
        std::function<void(test::DeskTrouble&)> make;
        QString alert;
    };
    const Row rows[] = {
        {"opening", [](auto& it) { it.opening = Failure{"The display has gone."}; },
         "Recording couldn’t start: The display has gone."},
        {"starting", [](auto& it) { it.starting = Failure{"The screen can’t be read."}; },
         "Recording couldn’t start: The screen can’t be read."},
    };
    for (const Row& row : rows) {
        trouble = {};
        row.make(trouble);
        choose();
        controller->start();
        ASSERT_TRUE(reaches(Phase::idle)) << row.what;
        EXPECT_EQ(views.alerts.back(), row.alert);
        EXPECT_EQ(views.shown.back(), "no bar");
        EXPECT_TRUE(library.isEmpty()) << row.what;
    }
    trouble = {};
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

TEST_F(RecordingControllerTest, TakesBackAQuestionToTheUser) {
    trouble.asksForEver = true;
    choose();
    controller->start();
    EXPECT_TRUE(controller->isStarting());
    EXPECT_FALSE(controller->canStart());
    controller->closeBar();
    EXPECT_EQ(controller->phase(), Phase::idle);
    ASSERT_TRUE(endsStarting());

    controller->setCountdownOn(true);
    choose();
    controller->start();
    ASSERT_TRUE(handleUntil([&] { return platform.screen().openings == 2; }));
    controller->cancelCountdown();
    EXPECT_EQ(controller->phase(), Phase::choosing);
    ASSERT_TRUE(endsStarting());
    EXPECT_TRUE(views.alerts.isEmpty() && views.notices.isEmpty());
    EXPECT_EQ(library.made, 0);
}

TEST_F(RecordingControllerTest, KeepsWhatATakeHadWhenItsScreenDies) {
    trouble.dying = Failure{"The window was closed."};
    record();
    ASSERT_TRUE(reaches(Phase::idle));
    EXPECT_EQ(views.alerts, QStringList("Recording stopped: The window was closed."));
    ASSERT_EQ(views.reels.size(), 1U);
    EXPECT_NEAR(views.reels.front().info.duration, 1, 0.5);
}

TEST_F(RecordingControllerTest, LeavesNoFolderWithoutAPicture) {
    trouble.isBlank = true;
    record();
    ASSERT_TRUE(recordsFor(0.3));
    controller->stop();
    ASSERT_TRUE(reaches(Phase::idle));
    EXPECT_TRUE(views.reels.empty());
    EXPECT_EQ(views.alerts.size(), 1);
    EXPECT_EQ(library.made, 1);
    EXPECT_TRUE(library.isEmpty());
}

TEST_F(RecordingControllerTest, LeavesAReelThatCannotBeRegisteredToALaterScan) {
    library.isReadOnly = true;
    record();
    ASSERT_TRUE(recordsFor(0.5));
    controller->stop();
    ASSERT_TRUE(reaches(Phase::idle));
    ASSERT_EQ(views.alerts.size(), 1);
    EXPECT_TRUE(views.alerts.front().startsWith("Recording couldn’t be finished: ")) << "no alert";
    EXPECT_TRUE(fs::exists(folder / "1" / "raw.mov"));
    EXPECT_TRUE(fs::exists(TakeJournal::fileIn(folder / "1")));
}

TEST_F(RecordingControllerTest, DrawsNoSecondPointerOverOneInThePicture) {
    trouble.pointerIsEmbedded = true;
    record();
    ASSERT_TRUE(recordsFor(0.5));
    controller->stop();
    ASSERT_TRUE(reaches(Phase::idle));
    ASSERT_EQ(views.reels.size(), 1U);
    const auto stored = Project::load(views.reels.front().folder());
    ASSERT_TRUE(stored);
    EXPECT_FALSE(stored->info.settings.showCursor);
    EXPECT_TRUE(stored->info.settings.clickRipple);
}

TEST_F(RecordingControllerTest, SaysOnceWhatATakeIsWithout) {
    trouble.whyNoPresses = "Clicks can’t be seen here.";
    controller->setMicOn(true);
    controller->setCameraOn(true);
    record();
    ASSERT_TRUE(recordsFor(0.5));
    controller->stop();
    ASSERT_TRUE(reaches(Phase::idle));
    views.notices.sort();
    EXPECT_EQ(views.notices,
              QStringList({"Clicks can’t be seen here.", "There is no camera.", "There is no microphone."}));
    EXPECT_EQ(views.reels.size(), 1U);
}

TEST_F(RecordingControllerTest, FinishesItsTakeWhenTheProgramEnds) {
    record();
    ASSERT_TRUE(recordsFor(0.5));
    controller->togglePause();
    controller.reset();
    EXPECT_TRUE(Project::load(folder / "1"));
    EXPECT_FALSE(fs::exists(TakeJournal::fileIn(folder / "1")));
}

TEST_F(RecordingControllerTest, LeavesNothingWhenTheProgramEndsWhileItStarts) {
    choose();
    controller->start();
    controller.reset();
    EXPECT_TRUE(library.isEmpty());
}

TEST_F(RecordingControllerTest, RemembersItsSwitches) {
    controller->setMicOn(true);
    controller->setCameraOn(true);
    controller->setCountdownOn(true);
    const RecordingController next({platform, preferences, views, library});
    EXPECT_TRUE(next.micOn());
    EXPECT_TRUE(next.cameraOn());
    EXPECT_TRUE(next.countdownOn());
}

} // namespace
} // namespace glintro
