#include <algorithm>
#include <exception>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "core/render/FrameRenderer.h"
#include "core/render/Preview.h"
#include "tests/support/Pictures.h"

namespace glintro {
namespace {

using test::distance;
using test::pixelAt;
using test::recording;
using test::Rgb;

constexpr PixelSize kSource{960, 600};
constexpr PixelSize kCanvas{960, 540};
constexpr Rgb kGreen{40, 160, 90};

ProjectSettings paper() {
    ProjectSettings settings;
    settings.background = BackgroundKind::solid;
    settings.solidHex = "#F3EFE8";
    settings.shadow = 0;
    return settings;
}

RecordingEvents pointerAt(double x, double y) {
    RecordingEvents events;
    events.duration = 10;
    for (int i = 0; i <= 100; ++i) events.cursor.push_back({{i * 0.1, x, y}});
    events.clicks = {{{5, x, y}}};
    return events;
}

FrameRenderer rendererOf(const ProjectSettings& settings, const RecordingEvents& events = {}) {
    return {settings, {kSource.width, kSource.height}, events, nullptr, Framing::fit};
}

BgraImage frameOf(const ProjectSettings& settings, const RecordingEvents& events = {}, double t = 1,
                  const Picture* webcam = nullptr) {
    return rendererOf(settings, events).render(recording(kSource, kGreen).get(), webcam, t, kCanvas);
}

// The target of the default padding in the canvas above.
constexpr PixelRect kTarget{113, 40, 734, 459};

TEST(FrameRenderer, RecordingLiesOnItsBackdropWithRoundCorners) {
    const BgraImage frame = frameOf(paper());
    struct Row {
        const char* what;
        int x, y;
        Rgb expected;
    };
    const Rgb backdrop{0xF3, 0xEF, 0xE8};
    const Row rows[] = {
        {"canvas corner", 0, 0, backdrop},
        {"canvas edge", 959, 539, backdrop},
        {"left of the recording", kTarget.x - 2, 270, backdrop},
        {"above the recording", 480, kTarget.y - 2, backdrop},
        {"inside the recording", 480, 270, kGreen},
        {"the recording's first column", kTarget.x, 270, kGreen},
        {"the recording's last row", 480, kTarget.bottom() - 1, kGreen},
        {"cut off by the corner", kTarget.x + 1, kTarget.y + 1, backdrop},
        {"inside the corner", kTarget.x + 5, kTarget.y + 5, kGreen},
        {"cut off at the lower right", kTarget.right() - 2, kTarget.bottom() - 2, backdrop},
    };
    for (const Row& row : rows)
        EXPECT_LE(distance(pixelAt(frame, row.x, row.y), row.expected), 2) << row.what;
}

TEST(FrameRenderer, ShadowFallsBelowTheRecording) {
    ProjectSettings settings = paper();
    settings.shadow = 0.8;
    const BgraImage frame = frameOf(settings);
    const int below = pixelAt(frame, 480, kTarget.bottom() + 4).red;
    const int above = pixelAt(frame, 480, kTarget.y - 4).red;
    EXPECT_LT(below, 0xF3 - 50);
    EXPECT_GT(above, below + 10);
    settings.shadow = 0.01;
    EXPECT_EQ(pixelAt(frameOf(settings), 480, kTarget.bottom() + 4).red, 0xF3);
}

TEST(FrameRenderer, GradientRunsFromTopLeftToBottomRightAndIndicesAreClamped) {
    ProjectSettings settings;
    settings.shadow = 0;
    settings.gradientIndex = 5;
    const BgraImage frame = frameOf(settings);
    // Graphite, #4B5563 to #111827, with the highlight near the top left.
    EXPECT_LE(distance(pixelAt(frame, 959, 539), {0x11, 0x18, 0x27}), 2);
    EXPECT_GT(pixelAt(frame, 0, 0).red, 0x4B + 10);
    EXPECT_GT(pixelAt(frame, 0, 539).red, pixelAt(frame, 959, 539).red);

    const auto cornerOf = [&](std::int64_t index) {
        settings.gradientIndex = index;
        return pixelAt(frameOf(settings), 959, 539);
    };
    EXPECT_EQ(distance(cornerOf(-7), cornerOf(0)), 0);
    EXPECT_EQ(distance(cornerOf(99), cornerOf(13)), 0);
}

TEST(FrameRenderer, WallpaperIsCoveredBlurredAndDarkened) {
    auto picture = std::make_shared<BgraImage>(PixelSize{300, 300});
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 300; ++x)
            for (int c = 0; c < 4; ++c) picture->row(y)[4 * x + c] = x < 150 ? 200 : 100;
    ProjectSettings settings = paper();
    settings.background = BackgroundKind::wallpaper;
    const FrameRenderer renderer(settings, {960, 600}, {}, picture, Framing::fit);
    const BgraImage frame = renderer.render(nullptr, nullptr, 0, kCanvas);
    EXPECT_NEAR(pixelAt(frame, 4, 4).red, 176, 2);
    EXPECT_NEAR(pixelAt(frame, 955, 4).red, 88, 2);
    EXPECT_NEAR(pixelAt(frame, 480, 4).red, 132, 4);
    EXPECT_LE(distance(pixelAt(frame, 480, 270), {0, 0, 0}), 1) << "no screen frame: black";
}

TEST(FrameRenderer, TheArrowsTipLiesOnThePointer) {
    const BgraImage frame = frameOf(paper(), pointerAt(0.5, 0.5), 2);
    const Point tip{kTarget.x + kTarget.width / 2.0, kTarget.y + kTarget.height / 2.0};
    const auto at = [&](double dx, double dy) {
        return pixelAt(frame, static_cast<int>(tip.x + dx), static_cast<int>(tip.y + dy));
    };
    EXPECT_LT(at(2, 6).red, 60) << "the dark body, right below the tip";
    EXPECT_LE(distance(at(-6, -6), kGreen), 12) << "nothing but a little shadow above the tip";
    EXPECT_LE(distance(at(60, 0), kGreen), 2);
}

TEST(FrameRenderer, BubbleShowsTheCamerasCentralSquare) {
    const PicturePtr webcam = recording({320, 180}, [](int x, int) {
        return x < 70 || x >= 250 ? Rgb{250, 0, 0} : Rgb{20, 60, 220};
    });
    ProjectSettings settings = paper();
    const BgraImage frame = frameOf(settings, {}, 1, webcam.get());
    const auto bubble = *planBubble(settings, kCanvas);
    const double radius = bubble.diameter / 2.0;
    const auto at = [&](double dx, double dy) {
        return pixelAt(frame, static_cast<int>(bubble.origin.x + radius + dx),
                       static_cast<int>(bubble.origin.y + radius + dy));
    };
    EXPECT_LE(distance(at(0, 0), {20, 60, 220}), 3);
    EXPECT_LE(distance(at(radius - 3, 0), {20, 60, 220}), 6)
        << "no red: the sides of the picture are cut away";
    EXPECT_GT(at(0, -radius - 1).green, 200) << "the white ring";
    EXPECT_GT(at(radius - 2, radius - 2).red, 150) << "outside the circle the backdrop shows";

    settings.showCamera = false;
    EXPECT_EQ(frameOf(settings, {}, 1, webcam.get()).pixels, frameOf(settings).pixels);
}

TEST(FrameRenderer, DrawsAgainOnceThereIsMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "The sanitizer ends the process that gets no memory.";
#endif
    constexpr PixelSize kLarge{7680, 4320}; // its planes are mapped, not taken from freed memory
    const FrameRenderer renderer = rendererOf(ProjectSettings());
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &usual), 0);
    const rlimit scarce{1, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &scarce), 0);
    bool hasFailed = false;
    try {
        renderer.layers(PixelLayout::yuv420, kLarge);
    } catch (const std::exception&) {
        hasFailed = true;
    }
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &usual), 0);
    EXPECT_TRUE(hasFailed);
    EXPECT_NO_THROW(EXPECT_NE(renderer.layers(PixelLayout::yuv420, kLarge), nullptr));
}

// The blur reaches into what of the picture lies beyond the canvas.
TEST(FrameRenderer, WallpaperIsBlurredBeforeItIsCropped) {
    auto picture = std::make_shared<BgraImage>(PixelSize{960, 960});
    const int cropped = (960 - kCanvas.height) / 2;
    for (int y = 0; y < 960; ++y)
        std::fill_n(picture->row(y), 4 * 960, static_cast<std::uint8_t>(y < cropped ? 250 : 0));
    ProjectSettings settings = paper();
    settings.background = BackgroundKind::wallpaper;
    const FrameRenderer renderer(settings, {960, 600}, {}, picture, Framing::fit);
    const BgraImage frame = renderer.render(nullptr, nullptr, 0, kCanvas);
    EXPECT_NEAR(pixelAt(frame, 480, 0).red, 110, 4) << "half of the darkened 220";
    EXPECT_GT(pixelAt(frame, 480, 20).red, 20);
}

TEST(FrameRenderer, DrawsIntoTheCallersMemory) {
    const PicturePtr screen = recording(kSource, kGreen);
    const FrameRenderer renderer = rendererOf(ProjectSettings(), pointerAt(0.3, 0.4));
    DrawScratch scratch;
    for (const PixelSize canvas : {kCanvas, PixelSize{320, 180}}) {
        const BgraImage expected = renderer.render(screen.get(), nullptr, 5.1, canvas);
        const std::size_t stride = expected.rowBytes() + 12;
        std::vector<std::uint8_t> memory(stride * static_cast<std::size_t>(canvas.height), 0xA5);
        renderer.render(screen.get(), nullptr, 5.1,
                        {memory.data(), static_cast<std::ptrdiff_t>(stride), canvas}, scratch);
        for (int y = 0; y < canvas.height; ++y) {
            const std::uint8_t* const row = memory.data() + static_cast<std::size_t>(y) * stride;
            ASSERT_TRUE(std::equal(expected.row(y), expected.row(y) + expected.rowBytes(), row)) << y;
            ASSERT_EQ(std::count(row + expected.rowBytes(), row + stride, 0xA5), 12) << y;
        }
    }
}

// Settings come from files: whatever they hold, a frame is drawn and nothing is written outside it.
TEST(FrameRenderer, AbsurdSettingsStillDraw) {
    const PicturePtr screen = recording(kSource, kGreen);
    const double huge = 1e300;
    std::vector<ProjectSettings> all(13);
    all[0].padding = huge;
    all[1].padding = -huge;
    all[2].cornerRadius = huge;
    all[3].cornerRadius = -huge;
    all[4].shadow = huge;
    all[5].cursorSize = huge;
    all[6].cursorSize = -huge;
    all[7].camSize = huge;
    all[8].camSize = -huge;
    all[9].zooms = {{.start = 0, .end = 9, .scale = huge}};
    all[10].zooms = {{.start = -huge, .end = huge, .scale = -huge}};
    all[11].solidHex = "not a colour";
    all[11].background = BackgroundKind::solid;
    all[12].cursorSmoothing = -1e6;
    all[12].zooms = {{.start = 0, .end = 9, .scale = 2}};
    RecordingEvents events = pointerAt(0.5, 0.5);
    events.cursor.push_back({{3, huge, -huge}});
    for (const ProjectSettings& settings : all)
        EXPECT_EQ(frameOf(settings, events, 5, screen.get()).size, kCanvas);
}

} // namespace
} // namespace glintro
