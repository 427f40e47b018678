#include "app/pictures/LookPreviews.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "app/base/Images.h"
#include "app/pictures/WallpaperMemo.h"
#include "core/model/Look.h"
#include "core/render/StillSource.h"

namespace glintro {
namespace {

// The decoder looks at its stop token between two frames, so this is rarely used up.
constexpr std::chrono::milliseconds kStopTimeout{200};
// The frame that is drawn from is reduced once, to so many times a tile's length: zooms still find detail.
constexpr int kFrameFactor = 5;

// The longer side of the largest canvas that fits into a tile.
int longSideWithin(PixelSize tile, AspectRatio aspect, Size source) {
    const double length = tile.width;
    const PixelSize trial = outputSize(aspect, source, LongSide{length});
    const double scale =
        std::min({1.0, length / trial.width, static_cast<double>(tile.height) / trial.height});
    return static_cast<int>(std::lround(length * scale));
}

} // namespace

struct LookPreviews::Task {
    ProjectSettings settings;
    Seconds playhead = 0;
    PixelSize tile; // device pixels
    std::stop_token stop;
    std::function<void(const QString& look, const QImage& picture)> ready;
};

// What lives on the background thread from one refresh to the next.
struct LookPreviews::Worker {
    Worker(Project reel, WallpaperSource source) : project(std::move(reel)), wallpaper(std::move(source)) {}

    // False when the recording cannot be read, or the task was stopped.
    bool run(const Task& task) {
        if (!still) {
            auto opened = StillSource::open(project);
            if (!opened) return false;
            still = *std::move(opened);
        }
        const auto frame =
            still->grab({.at = task.playhead,
                         .camera = task.settings.showCamera ? CameraUse::with : CameraUse::without,
                         .maxSide = task.tile.width * kFrameFactor,
                         .stop = task.stop});
        return frame && drawAll(task, *frame);
    }

    bool drawAll(const Task& task, const SourceFrame& frame) {
        const Size source{static_cast<double>(frame.screen->size.width),
                          static_cast<double>(frame.screen->size.height)};
        const int longSide = longSideWithin(task.tile, task.settings.aspect, source);
        const LongSide side{static_cast<double>(longSide)};
        // The same for all Looks, also those that do not show it: renderers keep what depends on it.
        const auto picture = wallpaper.pictureFor(outputSize(task.settings.aspect, source, side));
        for (const Look& look : Look::all()) {
            if (task.stop.stop_requested()) return false;
            const ProjectSettings settings = look.applied(task.settings);
            const BgraImage tile = still->draw(frame, settings, longSide, picture, Framing::fit);
            task.ready(QString::fromStdString(look.name), toImage(tile));
        }
        return true;
    }

    const Project project;
    WallpaperMemo wallpaper;
    std::unique_ptr<StillSource> still; // null until it could be opened
};

LookPreviews::LookPreviews(Project project, WallpaperSource wallpaper, QObject* parent)
    : QObject(parent),
      worker_(std::make_shared<Worker>(std::move(project), std::move(wallpaper))),
      post_(std::make_shared<MainThreadPost>(*this)) {
    delay_.setSingleShot(true);
    delay_.setTimerType(Qt::PreciseTimer);
    connect(&delay_, &QTimer::timeout, this, &LookPreviews::start);
}

LookPreviews::~LookPreviews() {
    post_->close();
    cancel();
    (void)queue_.waitUntilIdle(kStopTimeout);
}

void LookPreviews::refresh(const ProjectSettings& settings, Seconds playhead, Seconds delay) {
    cancel();
    settings_ = settings;
    playhead_ = playhead;
    delay_.start(std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(delay)));
}

void LookPreviews::cancel() {
    delay_.stop();
    running_.request_stop();
}

void LookPreviews::start() {
    running_ = std::stop_source();
    const auto stop = running_.get_token();
    // What arrives late is dropped here, on the main thread, where the token was stopped.
    const auto publish = [post = post_, stop](std::function<void()> call) {
        (*post)([stop, call = std::move(call)] {
            if (!stop.stop_requested()) call();
        });
    };
    const auto ready = [this, publish](const QString& look, const QImage& picture) {
        publish([this, look, picture] { show(look, picture); });
    };
    const double ratio = std::clamp(pixelRatio_, 1.0, kLargestPixelRatio);
    const PixelSize tile{static_cast<int>(kTile.width * ratio), static_cast<int>(kTile.height * ratio)};
    queue_.post([this, publish, worker = worker_, task = Task{settings_, playhead_, tile, stop, ready}] {
        const bool isDone = !task.stop.stop_requested() && worker->run(task);
        publish([this, isDone] { isDone ? emit finished() : emit failed(); });
    });
}

void LookPreviews::show(const QString& look, const QImage& picture) {
    previews_[look] = picture;
    emit previewReady(look, picture);
}

} // namespace glintro
