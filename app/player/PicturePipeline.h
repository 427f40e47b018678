#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "app/player/PictureSchedule.h"
#include "core/reel/Project.h"

namespace glintro {

// The desktop picture in the size needed to cover a canvas, null where there is none. Called off the main
// thread, possibly after who handed it in is gone.
using LoadWallpaper = std::function<std::shared_ptr<const BgraImage>(PixelSize canvas)>;
using OpenPictures = std::function<Result<std::unique_ptr<PictureSource>>(const Project& project)>;

// The two threads that make the pictures of one opened reel: one opens its movies and decodes, the other
// reads its events and draws. The schedule tells them what to do.
//
// Neither is ever waited for without a deadline: where the disk does not answer, they are left behind and end
// when it does.
class PicturePipeline {
  public:
    struct Parts {
        HostTime hostTime;
        OpenPictures openPictures;
        LoadWallpaper loadWallpaper; // may be empty
        std::shared_ptr<FrameMailbox> mailbox;
    };
    class Threads;
    // Called on the pipeline's threads, possibly after its destruction.
    struct Handlers {
        std::function<void(const PictureSource::Properties&)> opened; // at most once, before all others
        std::function<void(const Failure&)> failed; // it could not be opened, or not be read somewhere
        std::function<void()> shown;                // a picture was put into the mailbox
    };

    PicturePipeline(const Project& project, const Parts& parts, const Handlers& handlers);
    // Nothing is shown any more when this returns; the threads end by themselves.
    ~PicturePipeline() { schedule_->stop(); }
    PicturePipeline(const PicturePipeline&) = delete;
    PicturePipeline& operator=(const PicturePipeline&) = delete;

    PictureSchedule& schedule() { return *schedule_; }
    // Tells the threads to end, and waits for that.
    void stop(std::chrono::milliseconds limit);

  private:
    std::shared_ptr<PictureSchedule> schedule_;
    std::shared_ptr<Threads> threads_;
};

} // namespace glintro
