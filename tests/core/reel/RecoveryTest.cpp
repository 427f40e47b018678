#include <algorithm>
#include <fstream>
#include <functional>
#include <regex>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "core/media/decode/MovieReader.h"
#include "core/media/fragments/MovieSealing.h"
#include "core/reel/Recovery.h"
#include "core/reel/TakeJournal.h"
#include "tests/core/reel/InterruptedTakes.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Outcome = RecoveredReel::Outcome;
using test::filesIn;
using test::namesIn;
using test::putFile;
using test::TakeMaker;

using RecoveryTest = test::RecoveryFixture;
using test::expectWholeReel;
using test::kFirstFrame;
using test::putFinishedMovie;
using test::putInterruptedMovie;
using test::putJournal;

TEST_F(RecoveryTest, CompletesATakeThatDiedBetweenAnyTwoSteps) {
    struct Row {
        const char* what;
        std::function<void(const fs::path&)> prepare; // after the movie and the journal
        Outcome outcome = Outcome::recovered;
    };
    const auto finish = [](const fs::path& reel) { ASSERT_TRUE(sealMovie(reel / "raw.mov")); };
    const auto writeEventsOf = [](const fs::path& reel) {
        const auto take = TakeJournal::read(reel).value();
        const auto movie = sealMovie(reel / "raw.mov");
        ASSERT_TRUE(movie);
        ASSERT_TRUE(writeEvents(take.events(movie->duration), reel / "events.json"));
    };
    const auto registerIt = [&](const fs::path& reel) {
        writeEventsOf(reel);
        ASSERT_TRUE(Project::registerReel(reel, {.name = "Take", .hasAudio = true}));
    };
    const Row rows[] = {{"while it was recorded", [](const fs::path&) {}},
                        {"with the movie finished", finish},
                        {"with its events half written",
                         [&](const fs::path& reel) {
                             finish(reel);
                             putFile(reel / "events.json", R"({"version":1,"duration":3,"cursor":[[0.1,)");
                         }},
                        {"with its events written", writeEventsOf},
                        {"with events placed in a movie that was not there",
                         [](const fs::path& reel) {
                             const auto take = TakeJournal::read(reel).value();
                             ASSERT_TRUE(writeEvents(take.events(0), reel / "events.json"));
                         }},
                        {"with a record that a power cut left empty",
                         [&](const fs::path& reel) {
                             writeEventsOf(reel);
                             putFile(reel / "project.json", "");
                         }},
                        {"with its record written", registerIt, Outcome::fine},
                        {"with its record written, but no room for its events",
                         [&](const fs::path& reel) {
                             finish(reel);
                             ASSERT_TRUE(Project::registerReel(reel, {.name = "Take", .hasAudio = true}));
                         },
                         Outcome::fine}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const fs::path reel = folder(row.what);
        putInterruptedMovie(reel / "raw.mov");
        putJournal(reel);
        row.prepare(reel);
        EXPECT_TRUE(needsRecovery(reel));
        const auto recovered = recoverReel(reel, {});
        ASSERT_TRUE(recovered) << recovered.error().message << recovered.error().detail;
        EXPECT_EQ(recovered->outcome, row.outcome);
        ASSERT_TRUE(recovered->project);
        expectWholeReel(*recovered->project);
        EXPECT_FALSE(fs::exists(TakeJournal::fileIn(reel)));
        EXPECT_EQ(Project::load(reel)->info, recovered->project->info);
        EXPECT_EQ(recovered->project->info.name, row.outcome == Outcome::fine ? "Take" : row.what);
        const auto once = filesIn(reel);
        EXPECT_EQ(recoverReel(reel, {})->outcome, Outcome::fine) << "a second time";
        EXPECT_EQ(filesIn(reel), once);
    }
}

TEST_F(RecoveryTest, ReadsWhatTheReelsFilesTell) {
    const fs::path reel = folder("2026-11-21");
    putInterruptedMovie(reel / "raw.mov", TakeMaker::Sound::none);
    putInterruptedMovie(reel / "camera.mov");
    // The camera came 1.4 s after the first picture, one of which was a pause.
    putJournal(reel, [](TakeJournal& journal) {
        journal.pause(kFirstFrame + 0.25);
        journal.resume(kFirstFrame + 1.25);
        journal.cameraStarted(kFirstFrame + 1.4);
        journal.pointerIsEmbedded();
        journal.pause(kFirstFrame + 1.45); // for ever
    });
    const auto before = std::chrono::floor<std::chrono::seconds>(
        fs::file_time_type::clock::to_sys(fs::last_write_time(reel / "raw.mov")));
    fs::current_path(reel);
    const auto recovered = recoverReel("../2026-11-21/", {.zoomLevel = 1.5, .aspect = AspectRatio::tall});
    fs::current_path("/");
    ASSERT_TRUE(recovered) << recovered.error().message;
    const ProjectInfo& info = recovered->project->info;
    EXPECT_EQ(info.name, "2026-11-21");
    EXPECT_TRUE(info.hasCamera);
    EXPECT_NEAR(info.cameraOffset, 0.4, 1e-9);
    EXPECT_FALSE(info.hasAudio);
    EXPECT_FALSE(info.settings.showCursor);
    EXPECT_EQ(info.settings.aspect, AspectRatio::tall);
    EXPECT_LE(info.created, before);
    EXPECT_GE(info.created, before - std::chrono::minutes(5));
    EXPECT_TRUE(MovieReader::open(reel / "camera.mov"));
    const RecordingEvents events = readEvents(reel / "events.json").value();
    EXPECT_EQ(events.cursor.size(), 1U) << "all but one fell into the pauses";
    EXPECT_TRUE(events.clicks.empty());
}

TEST_F(RecoveryTest, LeavesOutACameraWithoutPictures) {
    struct Row {
        const char* what;
        std::string content;
        bool isKept;
    };
    const Row rows[] = {{"an empty file", "", false},
                        {"no movie at all", std::string(5000, 'x'), true},
                        {"a movie with a damaged beginning", damagedMovie(0), true}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const fs::path reel = folder(row.what);
        putInterruptedMovie(reel / "raw.mov");
        putJournal(reel, [](TakeJournal& journal) { journal.cameraStarted(kFirstFrame + 0.5); });
        putFile(reel / "camera.mov", row.content);
        const auto recovered = recoverReel(reel, {});
        ASSERT_TRUE(recovered) << recovered.error().message;
        expectWholeReel(*recovered->project);
        EXPECT_FALSE(recovered->project->info.hasCamera);
        EXPECT_EQ(recovered->project->info.cameraOffset, 0);
        EXPECT_EQ(fs::exists(reel / "camera.mov"), row.isKept);
        EXPECT_EQ(recovered->notice.has_value(), row.isKept);
    }
}

TEST_F(RecoveryTest, RemovesATakeWithoutAPictureAndNothingElse) {
    const fs::path reel = folder("reel");
    const std::function<void()> rows[] = {[] {}, [&] { putFile(reel / "raw.mov", ""); },
                                          [&] {
                                              const TakeMaker begun(reel / "raw.mov", TakeMaker::Sound::tone);
                                              const TakeMaker camera(reel / "camera.mov",
                                                                     TakeMaker::Sound::none);
                                              putFile(reel / "events.json", "{}");
                                          }};
    for (const auto& putMovies : rows) {
        for (const bool hasNotes : {false, true}) {
            fs::create_directory(reel);
            { const auto journal = TakeJournal::create(reel); }
            putMovies();
            if (hasNotes) putFile(reel / "notes.txt", "mine");
            EXPECT_TRUE(needsRecovery(reel));
            const auto recovered = recoverReel(reel, {});
            ASSERT_TRUE(recovered) << recovered.error().message;
            EXPECT_EQ(recovered->outcome, Outcome::nothingRecorded);
            EXPECT_FALSE(recovered->project);
            EXPECT_EQ(fs::exists(reel), hasNotes);
        }
        EXPECT_EQ(namesIn(reel), std::vector<std::string>{"notes.txt"});
        fs::remove_all(reel);
    }
}

TEST_F(RecoveryTest, NeverRemovesTheCamerasPicturesThoughTheScreenGaveNone) {
    const fs::path reel = folder("reel");
    for (const bool hasScreen : {false, true}) {
        { const auto journal = TakeJournal::create(reel); }
        if (hasScreen) {
            const TakeMaker begun(reel / "raw.mov", TakeMaker::Sound::tone);
        }
        putInterruptedMovie(reel / "camera.mov", TakeMaker::Sound::none);
        const auto before = filesIn(reel);
        const auto recovered = recoverReel(reel, {});
        ASSERT_FALSE(recovered) << hasScreen;
        EXPECT_NE(recovered.error().message.find("its camera.mov holds some"), std::string::npos);
        EXPECT_EQ(filesIn(reel), before) << hasScreen;
    }
}

// Whichever bit of its first boxes is damaged: the take is recovered, or all of its files stay.
TEST_F(RecoveryTest, NeverRemovesPicturesForADamagedBeginning) {
    putInterruptedMovie(home_ / "movie");
    const std::string whole = filesIn(home_.path())["movie"];
    const std::size_t firstFragment = whole.find("moof") - 4;
    ASSERT_LT(firstFragment, 4000U);
    const std::string fragments = whole.substr(firstFragment + 16, whole.size() / 2);
    const fs::path reel = folder("reel");
    int kept = 0;
    constexpr std::size_t kFirstBoxes = 48;
    for (std::size_t position = 0; position < firstFragment + 16;
         position += position < kFirstBoxes ? 1 : 61) {
        std::string damaged = whole;
        damaged[position] ^= 0x10;
        putJournal(reel);
        putFile(reel / "raw.mov", damaged);
        const auto recovered = recoverReel(reel, {});
        ASSERT_TRUE(fs::exists(reel / "raw.mov")) << position;
        EXPECT_TRUE(filesIn(reel)["raw.mov"].contains(fragments)) << position;
        if (!recovered) {
            ++kept;
            EXPECT_TRUE(fs::exists(TakeJournal::fileIn(reel)));
            EXPECT_TRUE(recovered.error().message.ends_with('.')) << recovered.error().message;
        }
        for (const auto& [name, content] : filesIn(reel)) fs::remove(reel / name);
    }
    EXPECT_GT(kept, 4);
}

TEST_F(RecoveryTest, KeepsTheClicksOfATakeWhoseMovieIsElsewhereForAWhile) {
    const fs::path reel = folder("reel");
    putFinishedMovie(home_ / "elsewhere.mov");
    putJournal(reel);
    const TakeRecord take = TakeJournal::read(reel).value();
    EXPECT_FALSE(finishReel(reel, {.name = "Take", .take = take})) << "its stop";
    EXPECT_FALSE(recoverReel(reel, {})) << "a scan";
    fs::rename(home_ / "elsewhere.mov", reel / "raw.mov");
    const auto recovered = recoverReel(reel, {});
    ASSERT_TRUE(recovered) << recovered.error().message;
    expectWholeReel(*recovered->project);
}

// But for its identities, its date and its name a stopped take is what a recovered one is.
TEST_F(RecoveryTest, GivesTheSameBytesAsAStop) {
    const fs::path stopped = folder("stopped");
    const auto journal = TakeJournal::create(stopped).value();
    putFinishedMovie(stopped / "raw.mov");
    putFinishedMovie(stopped / "camera.mov");
    journal->firstFrame(kFirstFrame);
    journal->pointerIsEmbedded();
    journal->cameraStarted(kFirstFrame + 0.3);
    journal->sample({kFirstFrame + 0.1, {0.1, 0.2}});
    journal->pause(kFirstFrame + 0.5);
    journal->click({kFirstFrame + 0.6, {0.5, 0.5}});
    journal->resume(kFirstFrame + 0.7);
    journal->click({kFirstFrame + 1.7, {0.5, 0.5}});
    const TakeRecord take = journal->record();
    const fs::path killed = home_ / "killed";
    fs::copy(stopped, killed);

    const ReelDefaults defaults{.zoomLevel = 1.5, .aspect = AspectRatio::square};
    ASSERT_TRUE(finishReel(stopped, {.name = "Recording", .take = take, .defaults = defaults}));
    ASSERT_TRUE(recoverReel(killed, defaults));
    auto files = filesIn(stopped);
    auto others = filesIn(killed);
    EXPECT_EQ(namesIn(stopped),
              (std::vector<std::string>{"camera.mov", "events.json", "project.json", "raw.mov"}));
    for (auto* each : {&files, &others}) {
        std::string& record = (*each)["project.json"];
        record = std::regex_replace(record, std::regex(R"x("(id|created|name)": "[^"]*")x"), "$1");
    }
    EXPECT_EQ(files, others);
    const ProjectInfo info = Project::load(killed)->info;
    EXPECT_FALSE(info.settings.showCursor);
    EXPECT_NEAR(info.cameraOffset, 0.3, 1e-9);
    EXPECT_EQ(info.settings.zooms.size(), 1U);
}

TEST_F(RecoveryTest, RebuildsADamagedRecordAndKeepsIt) {
    const fs::path reel = folder("reel");
    putFinishedMovie(reel / "raw.mov");
    putFinishedMovie(reel / "camera.mov");
    putFile(reel / "project.json", "damaged");
    const std::string movie = filesIn(reel)["raw.mov"];
    const auto recovered = recoverReel(reel, {});
    ASSERT_TRUE(recovered) << recovered.error().message;
    EXPECT_EQ(recovered->outcome, Outcome::recovered);
    EXPECT_TRUE(recovered->project->info.hasCamera);
    EXPECT_TRUE(recovered->project->info.hasAudio);
    EXPECT_EQ(recovered->project->info.cameraOffset, 0);
    EXPECT_EQ(filesIn(reel)["project-damaged.json"], "damaged");
    EXPECT_EQ(filesIn(reel)["raw.mov"], movie);
    EXPECT_EQ(recoverReel(reel, {})->outcome, Outcome::fine);
}

TEST_F(RecoveryTest, RebuildsNothingWhoseRecordTheSystemDoesNotShow) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can stand for another user";
    const fs::path reel = folder("reel");
    putFinishedMovie(reel / "raw.mov");
    ASSERT_TRUE(recoverReel(reel, {}));
    for (const fs::path& open : {reel.parent_path(), reel, reel / "raw.mov"})
        fs::permissions(open, fs::perms::all);
    fs::permissions(reel / "project.json", fs::perms::none);
    const auto before = filesIn(reel);
    test::ForkedProcess other([&] { return ::setuid(65534) == 0 && !recoverReel(reel, {}); });
    EXPECT_TRUE(other.succeeds());
    EXPECT_EQ(filesIn(reel), before);
}

TEST_F(RecoveryTest, ChangesNothingWhereItCannotHelp) {
    struct Row {
        const char* what;
        std::function<void(const fs::path&)> prepare;
        const char* said;
    };
    const Row rows[] = {
        {"an empty folder", [](const fs::path&) {}, "is not a reel"},
        {"a folder of other things", [](const fs::path& reel) { putFile(reel / "notes.txt", "mine"); },
         "is not a reel"},
        {"a movie that is none", [](const fs::path& reel) { putFile(reel / "raw.mov", "what is this?"); },
         "a movie that is none” can’t be made a reel. The movie"},
        {"an empty movie of nobody's", [](const fs::path& reel) { putFile(reel / "raw.mov", ""); },
         "holds no picture"},
        {"a take without its movie",
         [](const fs::path& reel) {
             putInterruptedMovie(reel / "camera.mov");
             putJournal(reel);
         },
         "has been taken away"},
        {"a take without its movie and without a webcam", [](const fs::path& reel) { putJournal(reel); },
         "has been taken away"},
        {"a take whose movie a broken disk has emptied",
         [](const fs::path& reel) {
             putFile(reel / "raw.mov", "");
             putInterruptedMovie(reel / "camera.mov");
             putJournal(reel);
         },
         "its camera.mov holds some"},
        {"a foreign movie in a take",
         [](const fs::path& reel) {
             putFile(reel / "raw.mov", std::string(5000, 'x'));
             putJournal(reel);
         },
         ""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const fs::path reel = folder(row.what);
        row.prepare(reel);
        const auto before = filesIn(reel);
        const auto recovered = recoverReel(reel, {});
        ASSERT_FALSE(recovered);
        EXPECT_NE(recovered.error().message.find(row.said), std::string::npos) << recovered.error().message;
        EXPECT_TRUE(recovered.error().message.ends_with('.')) << recovered.error().message;
        EXPECT_EQ(filesIn(reel), before);
    }
    EXPECT_NE(recoverReel(home_ / "nowhere", {}).error().message.find("no folder"), std::string::npos);
    putFile(home_ / "file", "");
    EXPECT_FALSE(recoverReel(home_ / "file", {}));
}

TEST_F(RecoveryTest, LeavesATakeToTheProcessThatWorksOnIt) {
    const fs::path reel = folder("reel");
    putInterruptedMovie(reel / "raw.mov");
    auto journal = TakeJournal::create(reel).value();
    const auto movie = filesIn(reel)["raw.mov"];
    EXPECT_EQ(Project::inspect(reel).status, Project::LoadResult::Status::damaged);
    EXPECT_FALSE(needsRecovery(reel));
    const auto running = recoverReel(reel, {});
    ASSERT_FALSE(running);
    EXPECT_NE(running.error().message.find("is being recorded"), std::string::npos);
    EXPECT_EQ(filesIn(reel)["raw.mov"], movie);
    journal.reset();

    const int other = ::open(reel.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    const auto twice = recoverReel(reel, {});
    ASSERT_FALSE(twice);
    EXPECT_NE(twice.error().message.find("is being recovered"), std::string::npos);
    EXPECT_EQ(filesIn(reel)["raw.mov"], movie);
    ::close(other);
    EXPECT_TRUE(recoverReel(reel, {}));
}

} // namespace
} // namespace glintro
