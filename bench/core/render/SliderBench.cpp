// What an editor draws while a slider is dragged: every step changes one setting and draws the next picture
// of 1280 x 720 pixels as BGRA from a recorded frame of 2560 x 1600, on one core. The time of a step holds
// everything from the changed settings to the finished picture.

#include <cmath>
#include <functional>

#include <benchmark/benchmark.h>

#include "bench/core/render/Scenes.h"
#include "core/render/FrameRenderer.h"

namespace glintro {
namespace {

constexpr PixelSize kPreview{1280, 720};
constexpr Size kRecording{2560, 1600};
constexpr Seconds kPaused = 20;

// Noise over a slow gradient, as large as the pictures of desktops with high resolution are.
std::shared_ptr<const BgraImage> desktopPicture() {
    auto picture = std::make_shared<BgraImage>(PixelSize{3840, 2400});
    for (int y = 0; y < picture->size.height; ++y)
        for (int x = 0; x < picture->size.width; ++x)
            for (int c = 0; c < 4; ++c)
                picture->row(y)[4 * x + c] =
                    static_cast<std::uint8_t>(c == 3 ? 255 : x / 24 + y / 30 + (x * 7 + y * 13 + c * 5) % 31);
    return picture;
}

ProjectSettings reel() {
    ProjectSettings settings;
    settings.zooms = {{.start = 30, .end = 40, .scale = 2}};
    return settings;
}

// Moves a slider up and down between two ends, a fiftieth of the way in each step.
class Slider {
  public:
    Slider(double low, double high) : low_(low), high_(high) {}
    double next() {
        step_ = (step_ + 1) % 100;
        return low_ + (high_ - low_) * std::abs(50 - step_) / 50.0;
    }

  private:
    double low_;
    double high_;
    int step_ = 0;
};

void drag(benchmark::State& state, ProjectSettings settings, double low, double high,
          const std::function<void(ProjectSettings&, double)>& change) {
    const PicturePtr screen = page({2560, 1600});
    const PicturePtr webcam = page({1280, 720});
    const auto events = std::make_shared<const RecordingEvents>(movingPointer());
    const auto wallpaper = desktopPicture();
    Slider slider(low, high);
    std::shared_ptr<const FrameRenderer> renderer =
        std::make_shared<FrameRenderer>(settings, RenderSource{kRecording, events, wallpaper}, Framing::fit);
    BgraImage image(kPreview);
    DrawScratch scratch;
    renderer->render(screen.get(), webcam.get(), kPaused, image.view(), scratch);
    for (auto _ : state) {
        change(settings, slider.next());
        renderer = renderer->with(settings);
        renderer->render(screen.get(), webcam.get(), kPaused, image.view(), scratch);
        benchmark::ClobberMemory();
    }
}

void dragPadding(benchmark::State& state) {
    drag(state, reel(), 0, 0.2, [](ProjectSettings& settings, double value) { settings.padding = value; });
}

void dragCornerRadius(benchmark::State& state) {
    drag(state, reel(), 0, 60,
         [](ProjectSettings& settings, double value) { settings.cornerRadius = value; });
}

void dragShadow(benchmark::State& state) {
    drag(state, reel(), 0, 1, [](ProjectSettings& settings, double value) { settings.shadow = value; });
}

void stepThroughGradients(benchmark::State& state) {
    drag(state, reel(), 0, 13, [](ProjectSettings& settings, double value) {
        settings.gradientIndex = static_cast<std::int64_t>(value);
    });
}

void dragWallpaperBlur(benchmark::State& state) {
    ProjectSettings settings = reel();
    settings.background = BackgroundKind::wallpaper;
    drag(state, settings, 0, 80,
         [](ProjectSettings& changed, double value) { changed.wallpaperBlur = value; });
}

// The padding again, over a picture that stays the same.
void dragPaddingOverWallpaper(benchmark::State& state) {
    ProjectSettings settings = reel();
    settings.background = BackgroundKind::wallpaper;
    drag(state, settings, 0, 0.2, [](ProjectSettings& changed, double value) { changed.padding = value; });
}

void dragPointerSize(benchmark::State& state) {
    drag(state, reel(), 0.5, 3, [](ProjectSettings& settings, double value) { settings.cursorSize = value; });
}

void dragBubbleSize(benchmark::State& state) {
    drag(state, reel(), 0.1, 0.4, [](ProjectSettings& settings, double value) { settings.camSize = value; });
}

BENCHMARK(dragPadding)->Unit(benchmark::kMillisecond);
BENCHMARK(dragCornerRadius)->Unit(benchmark::kMillisecond);
BENCHMARK(dragShadow)->Unit(benchmark::kMillisecond);
BENCHMARK(stepThroughGradients)->Unit(benchmark::kMillisecond);
BENCHMARK(dragWallpaperBlur)->Unit(benchmark::kMillisecond);
BENCHMARK(dragPaddingOverWallpaper)->Unit(benchmark::kMillisecond);
BENCHMARK(dragPointerSize)->Unit(benchmark::kMillisecond);
BENCHMARK(dragBubbleSize)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
