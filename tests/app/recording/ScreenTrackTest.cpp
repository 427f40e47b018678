#include <algorithm>
#include <deque>
#include <future>
#include <random>

#include <gtest/gtest.h>

#include "app/recording/RecordingFormat.h"
#include "app/recording/ScreenTrack.h"
#include "core/media/decode/MovieReader.h"
#include "core/raster/Convert.h"
#include "tests/app/recording/FakeSources.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

PictureBuffer converted(const Screen& screen, PixelSize size) {
    PictureBuffer picture(PixelLayout::yuv420, size);
    bgraToYuv420(screen.pixels.data(), static_cast<std::ptrdiff_t>(screen.size.width) * 4, picture);
    return picture;
}

void addNoise(Screen& screen, RowRange rows, std::mt19937& random) {
    const auto row = static_cast<std::ptrdiff_t>(screen.size.width) * 4;
    std::generate(screen.pixels.begin() + rows.begin * row, screen.pixels.begin() + rows.end * row,
                  [&] { return static_cast<std::uint8_t>(random()); });
}

RowRange someRows(int height, std::mt19937& random) {
    const int begin = static_cast<int>(random() % static_cast<unsigned>(height));
    return {begin, std::min(height, begin + 1 + static_cast<int>(random() % 9))};
}

// A change of a row and of the one that shares its chroma, at random, for every kind of edge, while some of
// the earlier pictures still wait to be encoded.
TEST(ScreenPicture, ShowsTheWholeScreenAfterOnlyTheChangedRowsWereConverted) {
    for (const PixelSize size : {PixelSize{64, 48}, PixelSize{63, 47}, PixelSize{64, 47}, PixelSize{2, 2}}) {
        std::mt19937 random(7);
        Screen screen(size);
        ScreenPicture picture(evenSize(size));
        struct Held {
            Picture snapshot;
            PictureBuffer expected;
        };
        std::deque<Held> held; // as a queue does that grows and shrinks
        picture.update(screen.whole(0));
        for (int i = 0; i < 200; ++i) {
            const RowRange one = someRows(size.height, random);
            addNoise(screen, one, random);
            held.push_back({picture.update(screen.frame(i, {one})), converted(screen, evenSize(size))});
            for (const Held& each : held) {
                ASSERT_TRUE(samePixels(each.snapshot, each.expected.view()))
                    << size.width << " x " << size.height << ", rows " << one.begin << " to " << one.end;
            }
            while (held.size() > random() % 6) held.pop_front();
        }
    }
}

TEST(ScreenPicture, FitsAndCentresAFrameOfAnotherSize) {
    struct Row {
        PixelSize frame;
        PixelRect shown; // of a picture of 320 x 200
    };
    for (const Row& row : {Row{{640, 400}, {0, 0, 320, 200}}, Row{{160, 200}, {80, 0, 160, 200}},
                           Row{{320, 100}, {0, 50, 320, 100}}, Row{{101, 101}, {60, 0, 200, 200}}}) {
        Screen screen(row.frame);
        screen.paint(235);
        ScreenPicture picture({320, 200});
        const Picture fitted = picture.update(screen.whole(0));
        const PlaneView luma = fitted.planes[0];
        const int white = converted(screen, evenSize(row.frame)).plane(0).row(0)[0];
        const PixelRect& shown = row.shown;
        for (const int x : {0, shown.x - 1, shown.x, shown.right() - 1, shown.right(), 319}) {
            for (const int y : {0, shown.y - 1, shown.y, shown.bottom() - 1, shown.bottom(), 199}) {
                if (x < 0 || y < 0 || x >= 320 || y >= 200) continue;
                const bool inside = x >= shown.x && x < shown.right() && y >= shown.y && y < shown.bottom();
                EXPECT_NEAR(luma.row(y)[x], inside ? white : 16, 1)
                    << row.frame.width << " x " << row.frame.height << " at " << x << ", " << y;
            }
        }
        for (const int plane : {1, 2}) EXPECT_NEAR(fitted.planes[plane].row(99)[159], 128, 1);
    }
}

TEST(ScreenPicture, FollowsAWindowThatIsResizedAndBack) {
    std::mt19937 random(3);
    Screen window({320, 200});
    Screen larger({400, 300});
    ScreenPicture picture({320, 200});
    addNoise(window, {0, 200}, random);
    const Picture first = picture.update(window.whole(0));
    larger.paint({150, 300}, 255);
    const Picture fitted = picture.update(larger.whole(1));
    larger.paint({0, 150}, 255);
    const Picture changed = picture.update(larger.frame(2, {{0, 150}}));
    EXPECT_GT(changed.planes[0].row(20)[160], fitted.planes[0].row(20)[160] + 50)
        << "a resized window goes on changing";
    EXPECT_EQ(changed.planes[0].row(100)[10], 16) << "the bars of a buffer that showed something else";
    const Picture back = picture.update(window.whole(3));
    EXPECT_TRUE(samePixels(back, converted(window, {320, 200}).view())) << "nothing is left of the bars";
}

std::unique_ptr<LiveMovieWriter> openWriter(const std::filesystem::path& file, PixelSize size) {
    auto writer = LiveMovieWriter::create(file, screenVideo(size, 60, VideoCodec::h264), std::nullopt);
    EXPECT_TRUE(writer) << writer.error().message;
    return *std::move(writer);
}

// Every frame changes a band, most are dropped, and the last one changes nothing at all: the movie must end
// with all that the screen shows.
TEST(ScreenTrack, LeavesNoRowStaleHoweverManyFramesAreDropped) {
    const TemporaryFolder folder;
    const PixelSize size{640, 480};
    const auto writer = openWriter(folder / "raw.mov", size);
    Screen screen(size);
    int dropped = 0;
    std::vector<Failure> failures;
    Seconds time = 0;
    {
        ScreenTrack track(
            *writer, size, 60, [&](const Failure& failure) { failures.push_back(failure); }, 1);
        ASSERT_TRUE(track.offer(screen.whole(0), 0));
        const PictureBuffer first = converted(screen, size);
        std::promise<void> release;
        for (int band = 0; band < 240; ++band) {
            const RowRange rows{2 * band, 2 * band + 2};
            screen.paint(rows, band);
            time += 0.002;
            if (band == 100) {
                // A machine that is busy elsewhere for a while.
                const auto busy = [&] {
                    release.get_future().wait();
                    return first.view();
                };
                ASSERT_TRUE(waitUntil([&] { return track.video().offer(busy, time - 0.001); }));
            }
            if (band == 140) release.set_value();
            if (band % 10 == 3)
                track.drop(screen.frame(time, {rows}));
            else
                dropped += track.offer(screen.frame(time, {rows}), time) ? 0 : 1;
        }
        time += 0.1;
        ASSERT_TRUE(waitUntil([&] { return track.offer(screen.frame(time, {}), time); }));
    }
    EXPECT_TRUE(failures.empty());
    EXPECT_GT(dropped, 30);
    ASSERT_TRUE(writer->finish(time + 0.1));

    const auto reader = MovieReader::open(folder / "raw.mov");
    ASSERT_TRUE(reader) << reader.error().message;
    const auto last = (*reader)->frameAt(time + 1);
    ASSERT_TRUE(last);
    const PictureBuffer expected = converted(screen, size);
    for (int y = 0; y < size.height; ++y) {
        const int shown = last->picture->planes[0].row(y)[size.width / 2];
        EXPECT_NEAR(shown, expected.plane(0).row(y)[size.width / 2], 10) << "row " << y;
    }
}

// An encoder that gets no processor for almost half a second: nothing is lost, and the stream has its buffers
// back meanwhile.
TEST(ScreenTrack, KeepsHalfASecondOfFramesWhileTheEncoderStalls) {
    const TemporaryFolder folder;
    const PixelSize size{320, 240};
    const auto writer = openWriter(folder / "raw.mov", size);
    Screen screen(size);
    ScreenTrack track(*writer, size, 60, [](const Failure&) {});
    std::promise<void> release, stalled;
    const PictureBuffer first = converted(screen, size);
    ASSERT_TRUE(track.video().offer(
        [&] {
            stalled.set_value();
            release.get_future().wait();
            return first.view();
        },
        0));
    stalled.get_future().wait();
    for (int i = 1; i <= 29; ++i) {
        screen.paint({i, i + 20}, i * 8);
        const ScreenFrame frame = screen.frame(i / 60.0, {{i, i + 20}});
        EXPECT_TRUE(track.offer(frame, i / 60.0)) << i;
        EXPECT_EQ(frame.storage.use_count(), 1) << i;
    }
    release.set_value();
    track.video().close();
    EXPECT_EQ(track.video().writtenFrames(), 30);
}

// An encoder that has no time for anything else is told to hurry.
TEST(VideoTrack, AsksForAFasterEncoderWhenItFallsBehind) {
    const TemporaryFolder folder;
    const PixelSize size{320, 240};
    const auto writer = openWriter(folder / "raw.mov", size);
    const std::string first = writer->encoderName();
    Screen screen(size);
    std::mt19937 random(1);
    addNoise(screen, {0, size.height}, random);
    const PictureBuffer noise = converted(screen, size);
    // At a clock that no encoder keeps up with.
    VideoTrack track(*writer, 100'000, [](const Failure&) {});
    EXPECT_EQ(track.encoderName(), first);
    for (int frame = 0; frame < 60; ++frame) {
        ASSERT_TRUE(waitUntil([&] { return track.offer([&noise] { return noise.view(); }, frame / 60.0); }));
    }
    track.close();
    EXPECT_TRUE(track.encoderName() != first || !writer->stepDown()) << "still " << first;
}

} // namespace
} // namespace glintro::test
