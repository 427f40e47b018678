#include "tests/app/recording/ControllerFixture.h"

namespace glintro::test {
namespace {

namespace fs = std::filesystem;
using HangingTake = ControllerFixture;

// A disk that hangs keeps neither the user nor the end of the program.
TEST_F(HangingTake, LetsATakeGoWhoseFinishingHangs) {
    for (const bool quits : {false, true}) {
        SCOPED_TRACE(quits);
        library.hang();
        record();
        ASSERT_TRUE(recordsFor(0.3));
        views.alerts.clear();
        controller->stop();
        if (quits) {
            controller.reset();
        } else {
            ASSERT_TRUE(reaches(Phase::idle));
            ASSERT_EQ(views.alerts.size(), 1);
            EXPECT_TRUE(views.alerts.front().contains("no longer answers")) << "and where the take is kept";
            EXPECT_TRUE(views.alerts.front().contains(QString::fromStdString(folder.path().string())));
        }
        const auto reel = folder / std::to_string(library.made);
        EXPECT_TRUE(fs::exists(reel / "raw.mov") && fs::exists(TakeJournal::fileIn(reel)));
        EXPECT_TRUE(views.reels.empty());
        library.answer();
        ASSERT_TRUE(handleUntil([] { return DeskStream::alive == 0; })) << "the thread left behind";
        if (quits) return;
        record(); // the next take is as good as any
        ASSERT_TRUE(recordsFor(0.3));
        ASSERT_TRUE(stops());
        EXPECT_EQ(views.reels.size(), 1U);
        views.reels.clear();
    }
}

// Whoever waits for the end of the attempt learns of it, and the next one is as good as any.
TEST_F(HangingTake, LetsAStartGoThatHangs) {
    for (const bool quits : {false, true}) {
        SCOPED_TRACE(quits);
        choose();
        int ends = 0;
        QObject::connect(controller.get(), &RecordingController::ended, [&] { ++ends; });
        const int made = DeskStream::made;
        const int openings = platform.screen().openings;
        platform.screen().isHanging = true;
        controller->start();
        ASSERT_TRUE(handleUntil([&] { return platform.screen().openings > openings; }));
        if (quits) {
            controller.reset();
        } else {
            controller->closeBar();
            ASSERT_TRUE(endsStarting());
            EXPECT_EQ(ends, 1);
            ASSERT_EQ(views.alerts.size(), 1);
            EXPECT_TRUE(views.alerts.front().contains("did not answer"));
        }
        platform.screen().answer();
        ASSERT_TRUE(handleUntil([&] { return DeskStream::made > made && !DeskStream::alive; }));
        EXPECT_EQ(library.made, 0) << "by the thread left behind";
        if (quits) return;
        EXPECT_EQ(controller->phase(), Phase::idle);
        record();
        ASSERT_TRUE(stops());
        EXPECT_EQ(ends, 2) << "none of the start that was let go";
        library.made = 0;
    }
}

// The take is prepared, but the main thread has not been told.
TEST_F(HangingTake, ReleasesATakeNobodyWaitsForInTheBackground) {
    choose();
    controller->start();
    ASSERT_TRUE(waitUntil([&] { return fs::exists(folder / "1" / "raw.mov"); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    controller.reset();
    EXPECT_EQ(DeskStream::alive, 0);
    EXPECT_NE(DeskStream::lastEndedOn.load(), std::this_thread::get_id());
    EXPECT_TRUE(library.isEmpty());
}

} // namespace
} // namespace glintro::test
