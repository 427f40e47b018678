#include <gtest/gtest.h>

#include "app/editor/EditorModel.h"
#include "app/editor/ReelNotices.h"
#include "app/pictures/Moments.h"
#include "core/base/FileIO.h"
#include "tests/app/editor/ManualTime.h"
#include "tests/app/editor/StillPlayer.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::handleUntil;

class EditorModelTest : public testing::Test {
  protected:
    EditorModelTest() { test::application(); }

    // A reel of 20 s, whose movie nobody opens here.
    Project reelOf(const char* name, bool hasCamera = false) {
        fs::create_directories(folder / name);
        EXPECT_TRUE(writeFile(folder / name / "raw.mov", "a movie"));
        Project project(
            folder / name,
            {.name = "Reel", .duration = 20, .width = 320, .height = 200, .hasCamera = hasCamera});
        EXPECT_TRUE(project.save());
        return project;
    }

    std::unique_ptr<EditorModel> edit(const Project& project) {
        auto model = std::make_unique<EditorModel>(
            project,
            EditorSurroundings{.player = player, .preferences = preferences, .timers = time.timers()});
        QObject::connect(model.get(), &EditorModel::toastShown,
                         [this](const Toast& toast) { toasts.push_back(toast.text.toStdString()); });
        return model;
    }

    // Opens it and waits until what comes in later is there.
    std::unique_ptr<EditorModel> open(const Project& project) {
        auto model = edit(project);
        bool hasMaterial = false;
        bool hasLooked = false;
        QObject::connect(model.get(), &EditorModel::materialChanged, [&] { hasMaterial = true; });
        const auto looked =
            QObject::connect(model->saver(), &ProjectSaver::looked, [&] { hasLooked = true; });
        model->open();
        EXPECT_TRUE(handleUntil([&] { return hasMaterial && hasLooked; }));
        model->disconnect(SIGNAL(materialChanged()));
        QObject::disconnect(looked);
        return model;
    }

    static void saveElsewhere(const Project& project, const std::function<void(ProjectInfo&)>& change) {
        Project theirs = *Project::load(project.folder());
        change(theirs.info);
        EXPECT_TRUE(theirs.save());
    }

    TemporaryFolder folder;
    test::ManualTime time;
    test::StillPlayer player;
    TransientPreferenceStore store;
    Preferences preferences{store};
    std::vector<std::string> toasts;
};

TEST_F(EditorModelTest, CanBeUsedFromItsFirstMoment) {
    Project project = reelOf("reel");
    project.info.settings.trimStart = 3;
    ASSERT_TRUE(project.save());
    EXPECT_TRUE(writeEvents({.duration = 20, .clicks = {{{8, 0.5, 0.5}}}}, project.eventsURL()));
    auto model = edit(project);
    model->open();
    EXPECT_TRUE(player.isOpen);
    EXPECT_EQ(model->shots()->count(), 1);
    EXPECT_EQ(model->playback()->clock()->time(), 3);
    model->actions()->cutShot();
    model->actions()->autoShots(); // the clicks are not read yet
    EXPECT_EQ(model->edits()->shots()[0].kind, Shot::Kind::cut);
    ASSERT_TRUE(handleUntil([&] { return model->edits()->settings().zooms.size() == 1; }));
    EXPECT_EQ(model->clickTimes(), QList<double>{8});
    std::vector<bool> closings;
    QObject::connect(model.get(), &EditorModel::closed, [&](bool isSaved) { closings.push_back(isSaved); });
    model->close();
    EXPECT_FALSE(player.isOpen);
    ASSERT_TRUE(handleUntil([&] { return !closings.empty(); }));
    EXPECT_EQ(closings, std::vector<bool>{true});
    EXPECT_EQ(Project::load(project.folder())->info.settings, model->edits()->settings());
}

TEST_F(EditorModelTest, SaysWhatAReelLacks) {
    struct Row {
        const char* name;
        std::function<void(const Project&)> make;
        bool hasCamera;
        std::string_view pointer;
        std::string_view camera;
        std::string_view zooms;
    };
    using namespace notice;
    const auto write = [](const RecordingEvents& events) {
        return [events](const Project& p) { EXPECT_TRUE(writeEvents(events, p.eventsURL())); };
    };
    const Row rows[] = {
        {"imported", write({}), false, kNoPointerData, kNoCamera, kNoClicks},
        {"without events", [](auto&) {}, false, kNoPointerData, kNoCamera, kNoClicks},
        {"events damaged", [](auto& p) { EXPECT_TRUE(writeFile(p.eventsURL(), "{")); }, false,
         kEventsUnreadable, kNoCamera, kNoClicks},
        {"whole", write({.cursor = {{{0, 0, 0}}}, .clicks = {{{1, 0, 0}}}}), true, "", kCameraMissing, ""},
    };
    for (const Row& row : rows) {
        const Project project = reelOf(row.name, row.hasCamera);
        row.make(project);
        const auto model = open(project);
        EXPECT_EQ(model->pointerNotice().toStdString(), row.pointer) << row.name;
        EXPECT_EQ(model->cameraNotice().toStdString(), row.camera) << row.name;
        EXPECT_EQ(model->zoomsNotice().toStdString(), row.zooms) << row.name;
        EXPECT_EQ(model->failure(), "");
    }
}

TEST_F(EditorModelTest, ThePlayerShowsTheDraggedEdgeAndThenThePlayheadAgain) {
    const auto model = open(reelOf("reel"));
    model->playback()->seek(15);
    model->actions()->splitAtPlayhead();
    model->playback()->seek(2);
    model->edits()->beginEdgeDrag();
    model->edits()->dragEdge(15, 12);
    EXPECT_EQ(player.at, 12);
    EXPECT_EQ(model->playback()->clock()->time(), 2);
    model->edits()->endEdgeDrag();
    EXPECT_EQ(player.at, 2);
    // A cut before the playhead: the player goes on where the playhead is on the new map.
    model->playback()->seek(14);
    model->actions()->cutShot(1);
    EXPECT_EQ(player.settingsAt, 2);
    EXPECT_EQ(player.shown.cuts.size(), 1u);
}

TEST_F(EditorModelTest, ChangesFromElsewhereAreOneStepAndSaid) {
    const Project project = reelOf("reel");
    const auto model = open(project);
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return true;
    }));
    saveElsewhere(project, [](ProjectInfo& theirs) {
        theirs.name = "Theirs";
        theirs.settings.splits = {10};
    });
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return model->shots()->count() == 2;
    }));
    EXPECT_EQ(model->name(), "Theirs");
    EXPECT_EQ(toasts, std::vector<std::string>{"This reel was changed outside this window"});
    model->edits()->undo();
    EXPECT_EQ(model->shots()->count(), 1);
    EXPECT_TRUE(model->closeAndWait());
    EXPECT_EQ(Project::load(project.folder())->info.settings, ProjectSettings());
}

TEST_F(EditorModelTest, WhenBothChangedTheirsIsReachedByUndo) {
    const Project project = reelOf("reel");
    const auto model = open(project);
    model->panels()->set("padding", 0.2);
    saveElsewhere(project, [](ProjectInfo& theirs) { theirs.settings.shadow = 0; });
    EXPECT_TRUE(model->saver()->closeAndWait());
    EXPECT_EQ(toasts, std::vector<std::string>{"This reel was also changed elsewhere. Your version is kept; "
                                               "Undo brings the other one"});
    EXPECT_EQ(Project::load(project.folder())->info.settings.padding, 0.2);
    model->edits()->undo();
    EXPECT_EQ(model->edits()->settings().shadow, 0);
    model->edits()->undo();
    EXPECT_EQ(model->edits()->settings(), ProjectSettings());
}

// The library may have loaded the reel before another program saved it.
TEST_F(EditorModelTest, OpensWhatIsOnTheDiskNow) {
    const Project stale = reelOf("reel");
    saveElsewhere(stale, [](ProjectInfo& theirs) { theirs.settings.splits = {10}; });
    const auto model = open(stale);
    EXPECT_EQ(model->shots()->count(), 2);
    EXPECT_FALSE(model->edits()->canUndo());
    EXPECT_TRUE(toasts.empty());
}

TEST_F(EditorModelTest, RenamesAtOnce) {
    const Project project = reelOf("reel");
    const auto model = open(project);
    model->rename("  ");
    model->rename("Reel ");
    EXPECT_TRUE(toasts.empty());
    model->rename("  Renamed ✂️ reel  ");
    EXPECT_EQ(toasts, std::vector<std::string>{"Renamed to “Renamed ✂️ reel”"});
    ASSERT_TRUE(handleUntil([&] { return model->saver()->state() == ProjectSaver::State::saved; }));
    EXPECT_EQ(Project::load(project.folder())->info.name, "Renamed ✂️ reel");
}

TEST_F(EditorModelTest, OnlyARecordingThatCannotBeOpenedReplacesTheEditor) {
    const Project project = reelOf("reel");
    auto model = open(project);
    emit player.failed("There is no such movie file.");
    EXPECT_EQ(model->failure().toStdString(), notice::kCannotOpen);
    EXPECT_TRUE(toasts.empty());

    model = open(project);
    emit player.opened();
    emit player.failed("A frame cannot be decoded.");
    EXPECT_EQ(model->failure(), "");
    EXPECT_EQ(toasts, std::vector<std::string>{"A frame cannot be decoded."});
    model->close();
    model->open();
    emit player.failed("There is no such movie file.");
    EXPECT_EQ(model->failure().toStdString(), notice::kCannotOpen);
}

TEST_F(EditorModelTest, CardsAndLooksGetTheirPictures) {
    const auto project = test::makeReel(folder / "real", {});
    ASSERT_TRUE(project);
    const auto model = open(*project);
    const int key = momentKey(cardMoment(model->edits()->shots()[0]));
    EXPECT_TRUE(handleUntil([&] {
        return !model->pictures().picture(key).isNull() && model->lookPreviews().previews().size() == 8;
    }));
}

} // namespace
} // namespace glintro
