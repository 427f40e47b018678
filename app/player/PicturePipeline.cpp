#include "app/player/PicturePipeline.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "app/base/BackgroundQueue.h"
#include "app/base/NewestOrder.h"
#include "app/player/PictureDrawer.h"
#include "platform/ThreadPriority.h"

namespace glintro {

// Counts the threads that run.
class PicturePipeline::Threads {
  public:
    void begin() {
        const std::scoped_lock lock(mutex_);
        ++running_;
    }
    void end() {
        const std::scoped_lock lock(mutex_);
        --running_;
        changed_.notify_all();
    }
    void await(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, limit, [this] { return running_ == 0; });
    }

  private:
    std::mutex mutex_; // guards running_
    std::condition_variable changed_;
    int running_ = 0;
};

namespace {

using SchedulePtr = std::shared_ptr<PictureSchedule>;
using Handlers = PicturePipeline::Handlers;

// The first picture of a reel rather comes a little later than with another backdrop.
constexpr std::chrono::milliseconds kWallpaperWait{200};

// Runs a thread of its own. What `work` throws, for want of memory, is a failure.
void startThread(const std::shared_ptr<PicturePipeline::Threads>& threads, std::function<void()> work,
                 const Handlers& handlers) {
    threads->begin();
    std::thread([threads, work = std::move(work), failed = handlers.failed]() mutable {
        try {
            work();
        } catch (const std::exception& error) {
            failed({"There is not enough memory to play this reel.", error.what()});
        }
        work = nullptr; // what it holds is released before its end is told
        threads->end();
    }).detach();
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

// Loads the wallpaper of each canvas size once, in the background. While the view is resized, only the newest
// size waits for its wallpaper.
class WallpaperLoading {
  public:
    WallpaperLoading(SchedulePtr schedule, LoadWallpaper load)
        : schedule_(std::move(schedule)), load_(std::move(load)) {}

    // Whether the picture may be drawn now: false where another wallpaper has come meanwhile.
    bool prepare(const PictureLook& look, PixelSize canvas) {
        if (!load_ || look.settings->background != BackgroundKind::wallpaper || canvas.width == 0)
            return true;
        if (std::exchange(asked_, canvas) != canvas) loadFor(canvas);
        if (look.isWallpaperKnown || std::exchange(hasWaited_, true)) return true;
        return !schedule_->awaitWallpaper(kWallpaperWait);
    }

  private:
    void loadFor(PixelSize canvas) {
        if (canvases_->put(canvas)) return;
        queue_.post([schedule = schedule_, load = load_, canvases = canvases_] {
            while (const auto next = canvases->next()) schedule->setWallpaper(load(*next));
        });
    }

    SchedulePtr schedule_;
    LoadWallpaper load_;
    PixelSize asked_;
    bool hasWaited_ = false;
    std::shared_ptr<NewestOrder<PixelSize>> canvases_ = std::make_shared<NewestOrder<PixelSize>>();
    BackgroundQueue queue_;
};

void drawPictures(const SchedulePtr& schedule, const Project& project, const LoadWallpaper& load) {
    // It needs little, but when a picture is due.
    raiseThreadPriority(ThreadUrgency::encoding);
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
    : schedule_(std::make_shared<PictureSchedule>(parts.hostTime, parts.mailbox, handlers.shown)),
      threads_(std::make_shared<Threads>()) {
    const auto decode = [schedule = schedule_, project, open = parts.openPictures, handlers] {
        decodePictures(*schedule, project, open, handlers);
    };
    const auto draw = [schedule = schedule_, project, load = parts.loadWallpaper] {
        drawPictures(schedule, project, load);
    };
    startThread(threads_, decode, handlers);
    startThread(threads_, draw, handlers);
}

void PicturePipeline::stop(std::chrono::milliseconds limit) {
    schedule_->stop();
    threads_->await(limit);
}

} // namespace glintro
