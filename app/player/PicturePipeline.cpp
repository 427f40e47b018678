#include "app/player/PicturePipeline.h"

#include <exception>
#include <thread>
#include <utility>

#include "app/base/BackgroundQueue.h"
#include "app/player/PictureDrawer.h"

namespace glintro {
namespace {

using SchedulePtr = std::shared_ptr<PictureSchedule>;
using Handlers = PicturePipeline::Handlers;

// The first picture of a reel rather comes a little later than with another backdrop.
constexpr std::chrono::milliseconds kWallpaperWait{200};

// Runs a thread of its own whose end the future tells. What `work` throws, for want of memory, is a failure.
template <class Work>
std::future<void> startThread(Work work, const Handlers& handlers) {
    std::promise<void> ended;
    std::future<void> end = ended.get_future();
    std::thread([work = std::move(work), handlers, ended = std::move(ended)]() mutable {
        try {
            work();
        } catch (const std::exception& error) {
            handlers.failed({"There is not enough memory to play this reel.", error.what()});
        }
        // What the thread used is released before its end is told.
        const auto used = std::exchange(work, {});
        ended.set_value_at_thread_exit();
    }).detach();
    return end;
}

void decodePictures(PictureSchedule& schedule, const Project& project, const OpenPictures& open,
                    const Handlers& handlers) {
    schedule.startsWaiting();
    auto source = open(project);
    schedule.endsWaiting();
    if (!source) return handlers.failed(source.error());
    handlers.opened((*source)->properties());
    while (const auto wanted = schedule.nextWanted()) {
        auto pictures = (*source)->at(wanted->request);
        if (pictures)
            schedule.decoded(*wanted, *std::move(pictures));
        else if (schedule.failed(*wanted) && !pictures.error().isCancelled())
            handlers.failed(pictures.error());
    }
}

// Loads the wallpaper of each canvas size once, in the background.
class WallpaperLoading {
  public:
    WallpaperLoading(SchedulePtr schedule, LoadWallpaper load)
        : schedule_(std::move(schedule)), load_(std::move(load)) {}

    // Whether the picture may be drawn now: false where another wallpaper has come meanwhile.
    bool prepare(const PictureLook& look, PixelSize canvas) {
        if (!load_ || look.settings->background != BackgroundKind::wallpaper || canvas.width == 0)
            return true;
        if (std::exchange(asked_, canvas) != canvas)
            queue_.post(
                [schedule = schedule_, load = load_, canvas] { schedule->setWallpaper(load(canvas)); });
        if (look.isWallpaperKnown || std::exchange(hasWaited_, true)) return true;
        return !schedule_->awaitWallpaper(kWallpaperWait);
    }

  private:
    SchedulePtr schedule_;
    LoadWallpaper load_;
    PixelSize asked_;
    bool hasWaited_ = false;
    BackgroundQueue queue_;
};

void drawPictures(const SchedulePtr& schedule, const Project& project, const LoadWallpaper& load) {
    const auto events = std::make_shared<const RecordingEvents>(project.loadEvents());
    WallpaperLoading wallpaper(schedule, load);
    std::optional<PictureDrawer> drawer;
    while (auto picture = schedule->nextToDraw()) {
        const PixelSize size = picture->pictures.screen->size;
        if (!drawer)
            drawer.emplace(RenderSource{
                {static_cast<double>(size.width), static_cast<double>(size.height)}, events, nullptr});
        if (!wallpaper.prepare(picture->look, drawer->canvasOf(picture->look))) {
            schedule->putBack(*std::move(picture));
            continue;
        }
        auto image = drawer->draw(*picture);
        schedule->present(*std::move(picture), std::move(image));
    }
}

} // namespace

PicturePipeline::PicturePipeline(const Project& project, const Parts& parts, const Handlers& handlers)
    : schedule_(std::make_shared<PictureSchedule>(parts.hostTime, parts.mailbox, handlers.shown)) {
    decoding_ =
        startThread(std::function<void()>([schedule = schedule_, project, open = parts.openPictures,
                                           handlers] { decodePictures(*schedule, project, open, handlers); }),
                    handlers);
    drawing_ = startThread(std::function<void()>([schedule = schedule_, project, load = parts.loadWallpaper] {
                               drawPictures(schedule, project, load);
                           }),
                           handlers);
}

void PicturePipeline::stop(std::chrono::milliseconds limit) {
    schedule_->stop();
    const auto deadline = std::chrono::steady_clock::now() + limit;
    decoding_.wait_until(deadline);
    drawing_.wait_until(deadline);
}

} // namespace glintro
