// A renderer made from another one: what it draws, and what it shares.

#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "core/render/FrameRenderer.h"
#include "tests/support/Pictures.h"

namespace glintro {
namespace {

constexpr Size kSource{960, 600};
constexpr PixelSize kCanvas{640, 360};

std::shared_ptr<const RecordingEvents> wanderingPointer() {
    RecordingEvents events;
    events.duration = 10;
    for (int i = 0; i <= 100; ++i) events.cursor.push_back({{i * 0.1, i * 0.01, 0.3 + i * 0.004}});
    events.clicks = {{{3, 0.3, 0.4}}, {{5, 0.5, 0.5}}};
    return std::make_shared<const RecordingEvents>(std::move(events));
}

std::shared_ptr<const BgraImage> stripes(int width, int period) {
    auto picture = std::make_shared<BgraImage>(PixelSize{width, 500});
    for (int y = 0; y < 500; ++y)
        for (int x = 0; x < 4 * width; ++x)
            picture->row(y)[x] = static_cast<std::uint8_t>((x / 4 / period % 2) * 180 + y / 8);
    return picture;
}

struct Change {
    const char* what;
    std::function<void(ProjectSettings&)> apply;
};

const std::vector<Change>& changes() {
    using S = ProjectSettings;
    static const std::vector<Change> all = {
        {"nothing", [](S&) {}},
        {"padding", [](S& s) { s.padding = 0.05; }},
        {"padding that moves the bubble", [](S& s) { s.padding = 0.2; }},
        {"corner radius", [](S& s) { s.cornerRadius = 50; }},
        {"no corners", [](S& s) { s.cornerRadius = 0; }},
        {"shadow", [](S& s) { s.shadow = 0.3; }},
        {"gradient", [](S& s) { s.gradientIndex = 4; }},
        {"solid", [](S& s) { s.background = BackgroundKind::solid; }},
        {"solid colour", [](S& s) { s.solidHex = "#FF8A3D"; }},
        {"gradient of a solid backdrop", [](S& s) { s.gradientIndex = 2; }},
        {"pointer size", [](S& s) { s.cursorSize = 3; }},
        {"smoothing", [](S& s) { s.cursorSmoothing = 0.1; }},
        {"zooms", [](S& s) { s.zooms = {{.start = 2, .end = 8, .scale = 2}}; }},
        {"following", [](S& s) { s.followCursor = false; }},
        {"bubble size", [](S& s) { s.camSize = 0.4; }},
        {"bubble shape", [](S& s) { s.camShape = CamShape::rounded; }},
        {"bubble hidden", [](S& s) { s.showCamera = false; }},
        {"bubble shown", [](S& s) { s.showCamera = true; }},
        {"wallpaper", [](S& s) { s.background = BackgroundKind::wallpaper; }},
        {"blur", [](S& s) { s.wallpaperBlur = 8; }},
        {"shadow over the wallpaper", [](S& s) { s.shadow = 0.9; }},
        {"padding over the wallpaper", [](S& s) { s.padding = 0.1; }},
        {"no shadow", [](S& s) { s.shadow = 0; }},
        {"trim", [](S& s) { s.trimStart = 1; }},
    };
    return all;
}

// One edit after the other: each renderer comes from the one before.
TEST(RendererReuse, DrawsWhatARendererMadeFromNothingDraws) {
    const PicturePtr screen = test::recording({960, 600}, [](int x, int y) {
        return test::Rgb{x / 4, y / 3, 120};
    });
    const PicturePtr webcam = test::recording({160, 90}, test::Rgb{200, 150, 120});
    const RenderSource source{kSource, wanderingPointer(), stripes(900, 40)};
    ProjectSettings settings;
    std::shared_ptr<const FrameRenderer> renderer =
        std::make_shared<FrameRenderer>(settings, source, Framing::fit);
    DrawScratch scratch;
    PictureBuffer planar(PixelLayout::yuv420, kCanvas);
    PictureBuffer fresh(PixelLayout::yuv420, kCanvas);
    for (const Change& change : changes()) {
        change.apply(settings);
        renderer = renderer->with(settings);
        const FrameRenderer other(settings, source, Framing::fit);
        renderer->draw(renderer->plan(5.1, kCanvas), screen.get(), webcam.get(), planar, scratch);
        other.draw(other.plan(5.1, kCanvas), screen.get(), webcam.get(), fresh, scratch);
        EXPECT_TRUE(samePixels(std::as_const(planar).view(), std::as_const(fresh).view())) << change.what;
        renderer = renderer->with(settings); // its last layers are planar
        EXPECT_EQ(renderer->render(screen.get(), webcam.get(), 5.1, kCanvas).pixels,
                  other.render(screen.get(), webcam.get(), 5.1, kCanvas).pixels)
            << change.what;
    }
    settings.background = BackgroundKind::wallpaper;
    const auto before = renderer->with(settings);
    before->render(nullptr, nullptr, 1, kCanvas);
    const auto picture = stripes(700, 90);
    EXPECT_EQ(before->with(picture)->render(nullptr, nullptr, 1, kCanvas).pixels,
              FrameRenderer(settings, {kSource, wanderingPointer(), picture}, Framing::fit)
                  .render(nullptr, nullptr, 1, kCanvas)
                  .pixels);
}

TEST(RendererReuse, KeepsTheTracksUnlessTheirSettingsChange) {
    struct Row {
        const char* what;
        std::function<void(ProjectSettings&)> apply;
        bool sharesPointer;
        bool sharesCamera;
    };
    const Row rows[] = {
        {"padding", [](ProjectSettings& s) { s.padding = 0.2; }, true, true},
        {"pointer size", [](ProjectSettings& s) { s.cursorSize = 3; }, true, true},
        {"zooms", [](ProjectSettings& s) { s.zooms = {{.start = 1, .end = 2, .scale = 3}}; }, true, false},
        {"following", [](ProjectSettings& s) { s.followCursor = false; }, true, false},
        {"smoothing", [](ProjectSettings& s) { s.cursorSmoothing = 0; }, false, false},
    };
    const FrameRenderer renderer({}, {kSource, wanderingPointer()}, Framing::fit);
    for (const Row& row : rows) {
        ProjectSettings settings;
        row.apply(settings);
        const auto other = renderer.with(settings);
        const ZoomCamera& zoomCamera = other->zoomCamera();
        EXPECT_EQ(&zoomCamera == &renderer.zoomCamera(), row.sharesCamera) << row.what;
        EXPECT_EQ(zoomCamera.pointerPath() == renderer.zoomCamera().pointerPath(), row.sharesPointer)
            << row.what;
        EXPECT_EQ(zoomCamera.viewPath(), renderer.zoomCamera().viewPath()) << row.what;
    }
}

TEST(RendererReuse, ThreadsWaitForOneBuilding) {
    const FrameRenderer renderer({}, {kSource, wanderingPointer()}, Framing::fit);
    std::vector<std::shared_ptr<const StaticLayers>> layers(4);
    {
        std::vector<std::jthread> threads;
        for (auto& each : layers)
            threads.emplace_back([&] { each = renderer.layers(PixelLayout::yuv420, kCanvas); });
    }
    for (const auto& each : layers) EXPECT_EQ(each, layers[0]);
    EXPECT_NE(renderer.layers(PixelLayout::yuv420, {320, 180}), layers[0]);
}

} // namespace
} // namespace glintro
