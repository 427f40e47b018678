#include <atomic>
#include <future>
#include <random>

#include "app/library/LibraryPictures.h"
#include "app/library/ReelRegistrar.h"
#include "tests/app/library/LibraryFixture.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::allBelow;
using test::handleUntil;
using test::putReel;
using Names = std::vector<std::string>;

TEST_F(LibraryModel, ListsSearchesAndRenames) {
    putReel(root_ / "d/1", "Démo 🎬 import take 2", 10);
    putReel(root_ / "d/2", "Other", 20);
    Library& library = open();
    EXPECT_EQ(names(), (Names{"Other", "Démo 🎬 import take 2"}));
    library.setQuery(" DÉMO ");
    EXPECT_EQ(names(), (Names{"Démo 🎬 import take 2"}));
    library.rename(folder("d/1"), "  Renamed ✂️ reel  ");
    EXPECT_EQ(lastToast(), "Renamed to “Renamed ✂️ reel”");
    EXPECT_EQ(toasts_.back().symbol, "pencil");
    EXPECT_TRUE(names().empty()) << "it is not what is searched for any more";
    library.setQuery("   ");
    EXPECT_EQ(names(), (Names{"Other", "Renamed ✂️ reel"}));
    EXPECT_TRUE(
        handleUntil([&] { return Project::load(root_ / "d/1")->info.name == "Renamed ✂️ reel"; }));
    toasts_.clear();
    for (const char* name : {" \n ", "Renamed ✂️ reel", " Renamed ✂️ reel\n"})
        library.rename(folder("d/1"), name);
    EXPECT_TRUE(toasts_.empty());
}

// The library has not heard of the edit yet when it renames the reel.
TEST_F(LibraryModel, RenamesWithoutTouchingWhatOthersHaveEdited) {
    Project project = putReel(root_ / "d/1", "Old");
    Library& library = open();
    project.info.settings.padding = 0.2;
    ASSERT_TRUE(project.save());
    library.rename(folder("d/1"), "New");
    ASSERT_TRUE(handleUntil([&] { return Project::load(root_ / "d/1")->info.name == "New"; }));
    EXPECT_EQ(Project::load(root_ / "d/1")->info.settings.padding, 0.2);
    EXPECT_TRUE(showsTheDisk());
}

TEST_F(LibraryModel, SaysThatARenamedReelCouldNotBeSaved) {
    putReel(root_ / "d/1", "Old");
    Library& library = open();
    fs::remove(root_ / "d/1/project.json");
    fs::create_directory(root_ / "d/1/project.json");
    library.rename(folder("d/1"), "New");
    EXPECT_TRUE(handleUntil([&] { return lastToast() == "“New” couldn’t be saved"; }));
}

TEST_F(LibraryModel, AsksAgainForPicturesThatHadToGo) {
    for (const char* name : {"d/1", "d/2", "d/3"}) putReel(root_ / name, name);
    Library& library = open();
    const auto picture = [&](const char* name) {
        const ReelList& reels = *library.reels();
        return reels.data(reels.index(reels.rowOf(folder(name))), ReelList::PictureRole).toInt();
    };
    const QImage large(2048, 2048, QImage::Format_ARGB32); // there is room for two
    for (const char* name : {"d/1", "d/2", "d/3"}) library.thumbnails()->cardReady(folder(name), large);
    EXPECT_EQ(picture("d/1"), 0);
    EXPECT_NE(picture("d/2"), 0);
    library.thumbnails()->forget(folder("d/2"));
    EXPECT_EQ(picture("d/2"), 0);
    EXPECT_NE(picture("d/3"), 0);
}

TEST_F(LibraryModel, DoesNotOpenAnImportThatWasCancelledTooLate) {
    Library& library = open();
    const Project project = putReel(root_ / "d/1", "One");
    emit library.imports()->imported(project, true);
    EXPECT_EQ(names(), (Names{"One"}));
    EXPECT_FALSE(library.openProject());
    emit library.imports()->imported(project, false);
    EXPECT_TRUE(library.openProject());
}

TEST_F(LibraryModel, ShowsWhatOthersChange) {
    Library& library = open();
    putReel(root_ / "d/1", "One", 10);
    EXPECT_TRUE(handleUntil([&] { return names() == Names{"One"}; }));
    // Another process saves the same reel.
    const pid_t child = ::fork();
    if (child == 0) {
        Project project = *Project::load(root_ / "d/1");
        project.info.name = "One, renamed";
        ::_exit(project.save() ? 0 : 1);
    }
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(handleUntil([&] { return names() == Names{"One, renamed"}; }));
    fs::rename(root_ / "d", root_ / "e");
    EXPECT_TRUE(
        handleUntil([&] { return library.reels()->rowOf(folder("e/1")) == 0 && library.count() == 1; }));
    fs::remove_all(root_ / "e");
    EXPECT_TRUE(handleUntil([&] { return library.count() == 0; }));
    fs::remove_all(root_);
    putReel(root_ / "f/1", "Back", 10);
    EXPECT_TRUE(handleUntil([&] { return names() == Names{"Back"}; }));
}

TEST_F(LibraryModel, FollowsManyChangesAtOnce) {
    open();
    for (int i = 0; i < 60; ++i) putReel(root_ / ("d" + std::to_string(i % 3)) / std::to_string(i), "", i);
    EXPECT_TRUE(showsTheDisk());
    for (int i = 0; i < 60; i += 2) fs::remove_all(root_ / ("d" + std::to_string(i % 3)) / std::to_string(i));
    EXPECT_TRUE(showsTheDisk());
    EXPECT_EQ(names().size(), 30U);
}

TEST_F(LibraryModel, FollowsARandomSequenceOfChangesFromOutside) {
    std::mt19937 random(21);
    const auto pick = [&](int count) { return std::uniform_int_distribution(0, count - 1)(random); };
    const auto place = [&] {
        const std::string name = std::to_string(pick(6));
        return pick(3) == 0 ? root_ / ("r" + name) : root_ / ("day" + std::to_string(pick(3))) / ("r" + name);
    };
    open();
    for (int round = 0; round < 12; ++round) {
        for (int change = 0; change < 12; ++change) {
            const fs::path at = place();
            std::error_code ignored;
            switch (pick(6)) {
                case 0:
                    fs::remove_all(at, ignored);
                    break;
                case 1:
                    fs::create_directories(root_ / "day0", ignored);
                    fs::rename(at, place(), ignored);
                    break;
                case 2:
                    fs::rename(root_ / "day1", root_ / "day2", ignored);
                    break;
                case 3:
                    fs::remove_all(root_ / ("day" + std::to_string(pick(3))), ignored);
                    break;
                default:
                    putReel(at, std::to_string(pick(5)), pick(50));
            }
            if (pick(4) == 0) std::this_thread::sleep_for(30ms);
        }
        ASSERT_TRUE(showsTheDisk()) << round;
    }
}

// What the user has just done is not undone by what was read before.
TEST_F(LibraryModel, KeepsTheNewestWhileAScanRuns) {
    putReel(root_ / "d/1", "Old", 10);
    putReel(root_ / "d/2", "Trashed", 20);
    std::promise<void> released;
    std::atomic<int> scans = 0;
    Library& library =
        open([&, release = released.get_future().share()](const fs::path& root, const ScanOptions& options) {
            auto listing = scanLibrary(root, options);
            if (++scans == 2) release.wait();
            return listing;
        });
    library.reload();
    ASSERT_TRUE(handleUntil([&] { return scans == 2; }));
    library.rename(folder("d/1"), "New");
    released.set_value();
    ASSERT_TRUE(handleUntil([&] { return !library.isLoading(); }));
    EXPECT_EQ(names(), (Names{"Trashed", "New"}));
    EXPECT_TRUE(showsTheDisk());
    EXPECT_EQ(names(), (Names{"Trashed", "New"}));
}

TEST_F(LibraryModel, LeavesADiskThatHangsBehind) {
    putReel(root_ / "d/1", "One", 10);
    auto released = std::make_shared<std::promise<void>>();
    auto hangs = std::make_shared<std::atomic<bool>>(false);
    Library& library = open(
        [hangs, release = released->get_future().share()](const fs::path& root, const ScanOptions& options) {
            if (*hangs) release.wait();
            return scanLibrary(root, options);
        },
        200ms);
    *hangs = true;
    library.reload();
    ASSERT_TRUE(handleUntil([&] { return library.access() == Library::Access::notAnswering; }));
    EXPECT_FALSE(library.isLoading());
    EXPECT_EQ(library.accessTitle(), "The reels can’t be read");
    EXPECT_EQ(lastToast(), "The disk with the reels doesn’t answer");
    toasts_.clear();
    library.activated();
    EXPECT_TRUE(library.isLoading()) << "it is tried once more";
    ASSERT_TRUE(handleUntil([&] { return !library.isLoading(); }));
    library.activated();
    EXPECT_FALSE(library.isLoading()) << "but not for ever";
    EXPECT_EQ(lastToast(), "") << "it was told already";
    released->set_value();
    *hangs = false;
    const auto recovers = [&] {
        library.activated();
        return library.access() == Library::Access::readable;
    };
    ASSERT_TRUE(handleUntil(recovers));
    EXPECT_EQ(names(), (Names{"One"}));
    std::this_thread::sleep_for(50ms);
    QCoreApplication::processEvents();
    EXPECT_EQ(names(), (Names{"One"}));
}

TEST_F(LibraryModel, SaysWhenTheLibraryCannotBeRead) {
    fs::remove(root_);
    ASSERT_TRUE(writeFile(root_, "a file"));
    Library& library = open();
    EXPECT_EQ(library.access(), Library::Access::unreadable);
    EXPECT_EQ(library.rootPath(), folderText(root_));
    fs::remove(root_);
    library.activated();
    ASSERT_TRUE(handleUntil([&] { return library.access() == Library::Access::readable; }));
    EXPECT_EQ(library.count(), 0) << "missing is empty";
}

TEST_F(LibraryModel, RebuildsDamagedReels) {
    const auto reel = test::makeReel(root_ / "d/my reel", {});
    ASSERT_TRUE(writeFile(reel->infoURL(), "{ broken"));
    putReel(root_ / "d/no movie in it");
    fs::remove(root_ / "d/no movie in it/project.json");
    Library& library = open();
    ASSERT_TRUE(handleUntil([&] { return library.count() == 1; }));
    EXPECT_EQ(names(), (Names{"my reel"}));
    EXPECT_EQ(lastToast(), "Recovered 1 reel");
    EXPECT_EQ(toasts_.back().symbol, "bandage.fill");
    EXPECT_EQ(readFile(reel->damagedURL(), 100), "{ broken");
    EXPECT_EQ(allBelow(root_ / "d/no movie in it"), (Names{"raw.mov"})) << "untouched";
    EXPECT_EQ(toasts_.size(), 1U);
}

// A copy that is under way looks like a damaged reel.
TEST_F(LibraryModel, WaitsForReelsThatAreBeingCopiedIn) {
    const auto reel = test::makeReel(home_ / "elsewhere", {.grain = true});
    const std::string movie = readFile(reel->rawURL(), 1U << 30).value();
    Library& library = open();
    const fs::path copy = root_ / "d/copied";
    fs::create_directories(copy);
    {
        FileDescriptor file(::open((copy / "raw.mov").c_str(), O_WRONLY | O_CREAT, 0600));
        const std::size_t step = movie.size() / 10 + 1;
        for (std::size_t at = 0; at < movie.size(); at += step) {
            ASSERT_EQ(writeAll(file, std::string_view(movie).substr(at, step)), 0);
            for (int i = 0; i < 20; ++i) {
                QCoreApplication::processEvents();
                std::this_thread::sleep_for(10ms);
            }
            ASSERT_FALSE(fs::exists(copy / "project.json"));
        }
    }
    fs::copy(reel->infoURL(), copy / "project.json");
    ASSERT_TRUE(handleUntil([&] { return library.count() == 1; }));
    std::this_thread::sleep_for(500ms);
    QCoreApplication::processEvents();
    EXPECT_EQ(names(), (Names{"Test reel"}));
    EXPECT_TRUE(toasts_.empty());
}

TEST_F(LibraryModel, ImportsAndOpens) {
    test::writeMovie(home_ / "My video.mov", {});
    ASSERT_TRUE(writeFile(home_ / "text.mov", "no movie"));
    Library& library = open();
    library.importVideo(QUrl::fromLocalFile(folderText(home_ / "text.mov")));
    library.importVideo(QUrl::fromLocalFile(folderText(home_ / "My video.mov")));
    EXPECT_EQ(library.imports()->count(), 2);
    ASSERT_TRUE(handleUntil([&] { return library.openProject().has_value(); }));
    EXPECT_EQ(library.openProject()->info.name, "My video");
    EXPECT_EQ(names(), (Names{"My video"}));
    EXPECT_EQ(library.imports()->count(), 0);
    ASSERT_EQ(toasts_.size(), 1U);
    EXPECT_EQ(lastToast(), "“text.mov” isn’t a video Glintro can open");
    EXPECT_TRUE(showsTheDisk());
    EXPECT_TRUE(library.reels()->data(library.reels()->index(0), ReelList::IsImportedRole).toBool());
}

TEST_F(LibraryModel, CancelsImports) {
    test::writeMovie(home_ / "a.mov", {.grain = true});
    Library& library = open();
    for (int i = 0; i < 3; ++i) library.importVideo(home_ / "a.mov");
    library.imports()->cancel(1);
    library.imports()->cancel(0);
    library.imports()->cancel(7);
    ASSERT_TRUE(handleUntil([&] { return library.imports()->count() == 0; }));
    EXPECT_TRUE(handleUntil([&] { return library.count() >= 1; }));
    EXPECT_LE(library.count(), 2) << "the first may have been ready";
    EXPECT_TRUE(toasts_.empty());
}

TEST_F(LibraryModel, TitlesChangeAtMidnight) {
    auto now = std::make_shared<Timestamp>(parseTimestamp("2026-11-22T23:59:59Z").value());
    calendar_ = {.now = [now] { return *now; }, .zone = QTimeZone::utc(), .locale = QLocale::c()};
    putReel(root_ / "d/1", "", now->time_since_epoch().count() - 60);
    Library& library = open();
    const auto title = [&] {
        return library.reels()->data(library.reels()->index(0), ReelList::DayTitleRole);
    };
    EXPECT_EQ(title(), "Today");
    bool told = false;
    QObject::connect(library.reels(), &ReelList::dataChanged, [&] { told = true; });
    *now += 1s;
    EXPECT_TRUE(handleUntil([&] { return told; }));
    EXPECT_EQ(title(), "Yesterday");
}

TEST_F(LibraryModel, AsksForANewCardWhenTheEditorHasSaved) {
    Project project = putReel(root_ / "d/1", "One");
    Library& library = open();
    library.makeThumbnail(folder("d/1"));
    library.thumbnails()->cardReady(folder("d/1"), QImage(4, 4, QImage::Format_RGB32));
    library.makeThumbnail(folder("d/1"));
    EXPECT_EQ(cards_.size(), 1U);
    project.info.settings.padding = 0.2;
    library.projectSaved(project);
    ASSERT_EQ(cards_.size(), 2U);
    EXPECT_EQ(cards_.back().info.settings.padding, 0.2);
    EXPECT_FALSE(library.thumbnails()->thumbnail(folder("d/1")).isNull()) << "the old one stays meanwhile";
    EXPECT_EQ(library.project(folder("d/1"))->info.settings.padding, 0.2);
    EXPECT_NE(Project::load(root_ / "d/1")->info.settings.padding, 0.2) << "it is not written a second time";
}

TEST_F(LibraryModel, ShowsRealPictures) {
    ASSERT_TRUE(test::makeReel(root_ / "d/1", {}));
    ReelPictures pictures(nullptr, {});
    maker_ = pictureMaker(pictures);
    Library& library = open();
    connectPictures(pictures, *library.thumbnails());
    library.makeThumbnail(folder("d/1"));
    library.loadScrubFrames(folder("d/1"));
    const auto role = [&](int which) {
        return library.reels()->data(library.reels()->index(0), which).toInt();
    };
    ASSERT_TRUE(
        handleUntil([&] { return role(ReelList::PictureRole) > 0 && role(ReelList::ScrubRole) > 0; }));
    EXPECT_EQ(library.thumbnails()->thumbnail(folder("d/1")).width(), 720);
    EXPECT_EQ(library.thumbnails()->scrubFrames(folder("d/1")).size(), 12);
}

TEST_F(LibraryModel, ShowsWhatATakeHasBecome) {
    Library& library = open();
    ReelRegistrar registrar(library, preferences_, [this] { return LibraryFolder(root_); });
    const auto folder = registrar.newProjectFolder(Timestamp());
    ASSERT_TRUE(folder);
    test::writeMovie(*folder / "raw.mov", {});
    ASSERT_TRUE(std::async([&] { return registrar.registerRecording(*folder, "Take", {}); }).get());
    EXPECT_TRUE(handleUntil([&] { return names() == Names{"Take"}; }));
    const auto empty = registrar.newProjectFolder(Timestamp(std::chrono::hours(10'000)));
    registrar.discardFolder(*empty);
    EXPECT_FALSE(fs::exists(empty->parent_path()));
}

} // namespace
} // namespace glintro
