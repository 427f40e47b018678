// The player by what it shows: every picture is held against the one that an export draws at its time.

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "app/player/PictureDrawer.h"
#include "tests/app/player/PlayerFixture.h"

namespace glintro {
namespace {

using test::handleUntil;

class ReelPlayerTest : public testing::Test, public test::PlayerFixture {};

void expectExported(const PlayerPicture& picture, test::ExportedPictures& exported) {
    ASSERT_TRUE(picture.image);
    const Seconds time = std::min(picture.compositionTime, lastPictureBefore(exported.map().compDuration()));
    EXPECT_TRUE(picture.image->pixels == exported.at(time).pixels) << "at " << picture.compositionTime;
}

std::vector<ProjectSettings> editsOf(const ProjectSettings& settings) {
    std::vector<ProjectSettings> edits(6, settings);
    edits[1].padding = 0.15;
    edits[2].cuts = {{.start = 1, .end = 2}};
    edits[2].speeds = {{.start = 3, .end = 5, .rate = 4}};
    edits[3].trimStart = 0.5;
    edits[3].trimEnd = 4.2;
    edits[3].showCamera = false;
    edits[4] = edits[3];
    edits[4].showCamera = true;
    edits[4].cursorSmoothing = 0.1;
    edits[5].aspect = AspectRatio::square;
    return edits;
}

TEST_F(ReelPlayerTest, PlaysThePicturesOfAnExportThroughCutsAndSpeeds) {
    settings = editsOf(settings)[2];
    ASSERT_TRUE(open(0.7));
    auto exported = this->exported();
    expectExported(shown(), exported);
    const Seconds end = map().compDuration();
    for (const double rate : {1.0, 3.0}) {
        SCOPED_TRACE(rate);
        player->setRate(rate);
        player->seek(0.7, SeekKind::exact);
        player->play();
        ASSERT_TRUE(handleUntil([&] {
            pass(0.001);
            return player->position() > 0.7; // the clock waits for the first picture
        }));
        Seconds last = shown().compositionTime;
        int watched = 0;
        while (player->isPlaying()) {
            pass(1.0 / 60);
            QCoreApplication::processEvents();
            const Seconds position = player->position();
            ASSERT_TRUE(handleUntil([&] {
                return shown().compositionTime > position - rate / 30 - 1e-6 || !player->isPlaying();
            })) << position
                << " " << shown().compositionTime;
            const PlayerPicture picture = shown();
            if (picture.compositionTime == last) continue;
            EXPECT_GE(picture.compositionTime, last);
            last = picture.compositionTime;
            if (++watched % 5 == 0) expectExported(picture, exported);
        }
        EXPECT_GT(watched, 60 / rate);
        ASSERT_TRUE(rests());
        EXPECT_EQ(player->position(), end);
        expectExported(shown(), exported);
    }
    EXPECT_EQ(ends, 2);
    EXPECT_TRUE(failures.isEmpty()) << failures.join("; ").toStdString();
}

// Whatever was asked for in whatever order and haste: what rests in the end is the right picture.
TEST_F(ReelPlayerTest, EndsOnTheRightPictureAfterAnySequence) {
    ASSERT_TRUE(open());
    std::mt19937 random(11);
    const auto edits = editsOf(settings);
    const auto any = [&](Seconds longest) {
        return std::uniform_real_distribution<Seconds>(0, longest)(random);
    };
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        for (int i = 0; i < 8; ++i) {
            pass(any(0.3));
            switch (random() % 8) {
                case 0:
                    player->play();
                    break;
                case 1:
                    player->pause();
                    break;
                case 2:
                    player->seek(any(7) - 0.5, SeekKind::exact);
                    break;
                case 3:
                case 4:
                    player->seek(any(6), SeekKind::scrubbing);
                    break;
                case 5:
                    player->pause();
                    player->seek(player->position() + static_cast<double>(random() % 7) / kFps - 0.1,
                                 SeekKind::exact);
                    break;
                case 6:
                    player->setRate(any(8));
                    break;
                default:
                    settings = edits[random() % edits.size()];
                    player->setSettings(settings, any(5));
            }
            if (random() % 2 == 0) test::handleFor(std::chrono::milliseconds(random() % 30));
        }
        if (random() % 3 == 0) player->seek(any(6), SeekKind::scrubbing);
        player->pause();
        ASSERT_TRUE(rests());
        const PlayerPicture picture = shown();
        EXPECT_EQ(picture.compositionTime, player->position());
        EXPECT_TRUE(picture.isExact);
        const PixelSize canvas = canvasWithin(kView, settings.aspect, project->sourceSize());
        EXPECT_EQ(picture.image->size, canvas);
        test::ExportedPictures exported(*project, settings, canvas);
        expectExported(picture, exported);
    }
    EXPECT_TRUE(failures.isEmpty()) << failures.join("; ").toStdString();
}

TEST_F(ReelPlayerTest, FitsTheReelsShapeIntoAnyView) {
    for (const AspectRatio aspect : {AspectRatio::wide, AspectRatio::square, AspectRatio::tall})
        for (const PixelSize view : {PixelSize{1280, 720}, {777, 333}, {301, 999}, {2, 2}, {640, 3}}) {
            const PixelSize canvas = canvasWithin(view, aspect, {2560, 1600});
            EXPECT_LE(canvas.width, view.width);
            EXPECT_LE(canvas.height, view.height);
            const bool isTight = canvas.width >= view.width - 3 || canvas.height >= view.height - 3;
            EXPECT_TRUE(canvas.width == 0 || isTight) << canvas.width << " x " << canvas.height;
        }
    EXPECT_EQ(canvasWithin({1280, 720}, AspectRatio::wide, {2560, 1600}), (PixelSize{1280, 720}));
    EXPECT_EQ(canvasWithin({0, 0}, AspectRatio::wide, {2560, 1600}), PixelSize{});
}

// While it plays, too: the clock stands, so no new picture is due.
TEST_F(ReelPlayerTest, ShowsChangesOfLookAtOnceWhileItPlays) {
    ASSERT_TRUE(open(1));
    player->play();
    ASSERT_TRUE(handleUntil([&] {
        pass(0.001);
        return player->position() > 1.2;
    }));
    const Seconds due = pictureAt(player->position());
    ASSERT_TRUE(handleUntil([&] { return shown().compositionTime == due; }));
    for (const std::size_t edit : {1, 5, 1}) {
        settings = editsOf(settings)[edit];
        settings.padding += 0.01;
        player->setSettings(settings, 5); // of the same structure: the time handed in does not count
        const PlayerPicture before = shown();
        const PixelSize canvas = canvasWithin(kView, settings.aspect, project->sourceSize());
        const BgraImage wanted =
            test::ExportedPictures(*project, settings, canvas).at(before.compositionTime);
        EXPECT_TRUE(handleUntil([&] { return shown().image->pixels == wanted.pixels; })) << edit;
        EXPECT_EQ(shown().compositionTime, before.compositionTime);
    }
    EXPECT_TRUE(player->isPlaying());
}

TEST_F(ReelPlayerTest, PlaysWithoutItsCameraAndWithoutAView) {
    std::filesystem::remove(project->cameraURL());
    ASSERT_TRUE(open(2));
    auto exported = this->exported();
    expectExported(shown(), exported);
    player->setViewSize({});
    player->seek(5.5, SeekKind::exact);
    player->play();
    EXPECT_TRUE(handleUntil([&] {
        pass(0.01);
        return ends == 1;
    }));
    EXPECT_EQ(shown().compositionTime, 2) << "nothing is drawn";
    player->setViewSize(kView);
    ASSERT_TRUE(rests());
    EXPECT_EQ(shown().compositionTime, kDuration);
}

// It comes later than the first picture is wanted, and must end behind it.
TEST_F(ReelPlayerTest, ShowsTheWallpaperHoweverLateItComes) {
    const auto picture = std::make_shared<BgraImage>(PixelSize{400, 300});
    for (std::size_t i = 0; i < picture->pixels.size(); ++i)
        picture->pixels[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i / 500);
    settings.background = BackgroundKind::wallpaper;
    for (const auto delay : {std::chrono::milliseconds(0), std::chrono::milliseconds(400)}) {
        auto handed = parts();
        handed.loadWallpaper = [=](PixelSize) {
            std::this_thread::sleep_for(delay);
            return picture;
        };
        makePlayer(handed);
        ASSERT_TRUE(open(2));
        auto exported = this->exported(picture);
        const BgraImage wanted = exported.at(2);
        EXPECT_TRUE(handleUntil([&] { return shown().image->pixels == wanted.pixels; }));
    }
}

// While one is being loaded, for however long.
TEST_F(ReelPlayerTest, LoadsTheWallpaperOfTheNewestSizeOnly) {
    struct Loading {
        std::atomic<bool> mayEnd = false;
        std::atomic<int> count = 0;
        std::atomic<int> width = 0;
    };
    const auto loading = std::make_shared<Loading>();
    settings.background = BackgroundKind::wallpaper;
    auto handed = parts();
    handed.loadWallpaper = [loading](PixelSize canvas) {
        loading->mayEnd.wait(false);
        loading->width = canvas.width;
        ++loading->count;
        return nullptr;
    };
    makePlayer(handed);
    EXPECT_TRUE(open(2));
    PixelSize view;
    for (int i = 1; i <= 10; ++i) {
        view = {320 + 16 * i, 180 + 9 * i};
        player->setViewSize(view);
        EXPECT_TRUE(rests());
    }
    loading->mayEnd = true;
    loading->mayEnd.notify_all();
    const int newest = canvasWithin(view, settings.aspect, project->sourceSize()).width;
    EXPECT_TRUE(handleUntil([&] { return loading->width == newest; }));
    EXPECT_EQ(loading->count, 2);
}

TEST_F(ReelPlayerTest, CloseLetsGoOfTheFilesAndAnotherReelCanBeOpened) {
    const auto holdsFiles = [&] {
        return std::ranges::any_of(std::filesystem::directory_iterator("/proc/self/fd"), [&](const auto&
                                                                                                 entry) {
            std::error_code gone;
            return std::filesystem::read_symlink(entry, gone).string().starts_with(folder.path().string());
        });
    };
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(open());
        EXPECT_TRUE(holdsFiles());
        player->play();
        player->close();
        EXPECT_FALSE(player->isPlaying());
        EXPECT_EQ(shown().image, nullptr);
        EXPECT_TRUE(handleUntil([&] { return !holdsFiles(); }));
        player->open(*project, settings, 1); // superseded at once
    }
    ASSERT_TRUE(open(3));
    EXPECT_EQ(shown().compositionTime, 3);
}

TEST_F(ReelPlayerTest, SaysOnceWhatIsWrongWithAMovie) {
    std::filesystem::rename(project->rawURL(), folder / "elsewhere");
    player->open(*project, settings, 0);
    ASSERT_TRUE(handleUntil([&] { return !failures.isEmpty(); }));
    EXPECT_EQ(failures.takeFirst().toStdString(), "There is no such movie file.");
    std::filesystem::rename(folder / "elsewhere", project->rawURL());

    // Cut off while it is open.
    player->open(*project, settings, 0);
    ASSERT_TRUE(rests());
    std::filesystem::resize_file(project->rawURL(), std::filesystem::file_size(project->rawURL()) / 3);
    player->play();
    ASSERT_TRUE(handleUntil([&] {
        pass(0.01);
        return !failures.isEmpty() || ends > 0;
    }));
    EXPECT_FALSE(player->isPlaying());
    player->seek(5.5, SeekKind::exact);
    player->seek(5, SeekKind::scrubbing);
    test::handleFor(std::chrono::milliseconds(500));
    EXPECT_EQ(failures.size(), 1) << failures.join("; ").toStdString();
}

// A movie on a disk that stops answering, until it is let go.
class HangingPictures final : public PictureSource {
  public:
    HangingPictures(std::unique_ptr<PictureSource> real, std::shared_ptr<std::atomic<bool>> hangs)
        : real_(std::move(real)), hangs_(std::move(hangs)) {}
    Properties properties() const override { return real_->properties(); }
    Result<SourcePictures> at(const SourceRequest& request) override {
        hangs_->wait(true);
        return real_->at(request);
    }

  private:
    std::unique_ptr<PictureSource> real_;
    std::shared_ptr<std::atomic<bool>> hangs_;
};

TEST_F(ReelPlayerTest, ADiskThatHangsIsSaidAndHoldsNobodyUp) {
    const auto hangs = std::make_shared<std::atomic<bool>>(false);
    auto handed = parts();
    handed.openPictures = [hangs](const Project& reel) -> Result<std::unique_ptr<PictureSource>> {
        auto real = ReelPictureSource::open(reel);
        if (!real) return real;
        return std::make_unique<HangingPictures>(*std::move(real), hangs);
    };
    makePlayer(handed);
    ASSERT_TRUE(open());
    *hangs = true;
    player->play();
    ASSERT_TRUE(handleUntil([&] {
        pass(0.1);
        return !failures.isEmpty();
    }));
    EXPECT_FALSE(player->isPlaying());
    EXPECT_TRUE(failures.first().startsWith("The recording’s disk doesn’t answer."));
    // The disk hangs on until all of this has returned: who waits for it never does.
    player->seek(2, SeekKind::exact);
    player->close();
    player->open(*project, settings, 1);
    player.reset();
    *hangs = false;
    hangs->notify_all();
}

TEST_F(ReelPlayerTest, CanBeDestroyedAtAnyMoment) {
    std::mt19937 random(3);
    for (int round = 0; round < 12; ++round) {
        makePlayer(parts());
        player->open(*project, settings, 1);
        test::handleFor(std::chrono::milliseconds(random() % 60));
        player->play();
        player->seek(4, SeekKind::scrubbing);
        test::handleFor(std::chrono::milliseconds(random() % 20));
        player.reset();
    }
}

} // namespace
} // namespace glintro
