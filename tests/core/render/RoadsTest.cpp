// The planar road, on which movies are drawn, held against the BGRA road.

#include <cmath>

#include <gtest/gtest.h>

#include "core/render/FrameRenderer.h"
#include "tests/support/Pictures.h"

namespace glintro {
namespace {

using test::Rgb;

constexpr PixelSize kSource{960, 600};
constexpr PixelSize kCanvas{960, 540};

RecordingEvents restingPointer(Point at, bool clicks) {
    RecordingEvents events;
    events.duration = 10;
    for (int i = 0; i <= 100; ++i) events.cursor.push_back({{i * 0.1, at.x, at.y}});
    if (clicks) events.clicks = {{{5, at.x, at.y}}};
    return events;
}

struct Difference {
    int worst[3] = {};
    double mean[3] = {}; // of the samples that differ from a frame without the thing that is looked at
};

// How far the planes are from the converted BGRA frame. `without` is the planar frame without the thing: only
// where it makes a difference is the mean taken.
Difference difference(const Picture& planar, const Picture& converted, const Picture& without) {
    Difference result;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        double sum = 0;
        int count = 0;
        for (int y = 0; y < planar.planes[plane].height; ++y) {
            for (int x = 0; x < planar.planes[plane].width; ++x) {
                int sample = planar.planes[plane].row(y)[x];
                // Beyond black and white, filters overshoot in the planes; what shows them clamps.
                if (plane == 0) sample = std::clamp(sample, 16, 235);
                const int off = std::abs(sample - converted.planes[plane].row(y)[x]);
                result.worst[plane] = std::max(result.worst[plane], off);
                if (std::abs(sample - without.planes[plane].row(y)[x]) < 3) continue;
                sum += off;
                ++count;
            }
        }
        result.mean[plane] = count > 0 ? sum / count : 0;
    }
    return result;
}

PictureBuffer planarFrame(const FrameRenderer& renderer, const Picture& screen, const Picture* webcam,
                          double t) {
    PictureBuffer planar(PixelLayout::yuv420, kCanvas);
    DrawScratch scratch;
    renderer.draw(renderer.plan(t, kCanvas), &screen, webcam, planar, scratch);
    return planar;
}

PictureBuffer convertedFrame(const FrameRenderer& renderer, const Picture& screen, const Picture* webcam,
                             double t) {
    BgraImage image = renderer.render(&screen, webcam, t, kCanvas);
    PictureBuffer converted(PixelLayout::yuv420, kCanvas);
    bgraToYuv420(image.pixels.data(), static_cast<std::ptrdiff_t>(image.rowBytes()), converted);
    return converted;
}

struct Row {
    const char* what;
    ProjectSettings settings;
    RecordingEvents events;
    double t = 1;
    bool hasWebcam = false;
    int luma; // the largest differences allowed
    int chroma;
    double meanLuma; // and on average over the thing
    double meanChroma;
};

ProjectSettings plain() {
    ProjectSettings settings;
    settings.background = BackgroundKind::solid;
    settings.solidHex = "#B0A090";
    settings.shadow = 0;
    settings.cornerRadius = 0;
    settings.cursorSize = 3;
    return settings;
}

ProjectSettings with(CamShape shape) {
    ProjectSettings settings = plain();
    settings.camShape = shape;
    settings.camSize = 0.331; // an odd diameter at no whole pixel
    return settings;
}

ProjectSettings withBackdrop() {
    ProjectSettings settings;
    settings.zooms = {{.start = 0, .end = 9, .scale = 1.7}};
    settings.padding = 0.081;
    settings.shadow = 1;
    return settings;
}

std::vector<Row> rows() {
    std::vector<Row> all;
    all.push_back(
        {"smooth recording, gradient, corners and shadow", withBackdrop(), {}, 4, false, 2, 2, 1, 1});
    // Positions on all phases of the luma and the chroma grid.
    for (const double phase : {0.0, 0.25, 0.5, 0.75, 1.0, 1.37}) {
        const Point at{0.5 + phase / 734, 0.4 + (phase * 0.7) / 459};
        all.push_back({"pointer", plain(), restingPointer(at, false), 1, false, 6, 11, 0.5, 1.3});
        all.push_back({"ripple", plain(), restingPointer(at, true), 5.13, false, 6, 11, 0.5, 1.3});
    }
    all.push_back({"circle", with(CamShape::circle), {}, 1, true, 2, 2, 0.2, 0.2});
    all.push_back({"rounded square", with(CamShape::rounded), {}, 1, true, 2, 2, 0.2, 0.2});
    return all;
}

TEST(Roads, DrawTheSamePicture) {
    const PicturePtr screen = test::recording(kSource, [](int x, int y) {
        return Rgb{60 + x / 8, 90 + y / 6, 200 - x / 10};
    });
    const PicturePtr webcam = test::recording({321, 181}, [](int x, int y) {
        return Rgb{200 - x / 3, 40 + y / 2, 60 + x / 4};
    });
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.what);
        const Picture* presenter = row.hasWebcam ? webcam.get() : nullptr;
        const FrameRenderer renderer(row.settings, {kSource.width, kSource.height}, row.events, nullptr,
                                     Framing::fit);
        ProjectSettings bare = row.settings;
        bare.showCursor = false;
        const auto without = renderer.with(bare);
        const PictureBuffer planar = planarFrame(renderer, *screen, presenter, row.t);
        const PictureBuffer converted = convertedFrame(renderer, *screen, presenter, row.t);
        const PictureBuffer background = planarFrame(*without, *screen, nullptr, row.t);
        const Difference off = difference(planar.view(), converted.view(), background.view());
        EXPECT_LE(off.worst[0], row.luma);
        EXPECT_LE(std::max(off.worst[1], off.worst[2]), row.chroma);
        EXPECT_LE(off.mean[0], row.meanLuma);
        EXPECT_LE(std::max(off.mean[1], off.mean[2]), row.meanChroma);
    }
}

} // namespace
} // namespace glintro
