#include "core/export/FramePipeline.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <semaphore>
#include <thread>
#include <vector>

#include "core/export/BoundedQueue.h"

namespace glintro {
namespace {

// Recycles pictures. One that nobody holds any more goes back to the pool; an encoder may keep one longer
// than the pool lives.
class PicturePool {
  public:
    PicturePool(PixelLayout layout, PixelSize size) : layout_(layout), size_(size) {}

    std::shared_ptr<PictureBuffer> acquire() {
        std::unique_ptr<PictureBuffer> picture = free_->pop();
        if (!picture) picture = std::make_unique<PictureBuffer>(layout_, size_);
        return {picture.release(), [free = free_](PictureBuffer* used) { free->push(used); }};
    }

  private:
    struct FreeList {
        std::mutex mutex;
        std::vector<std::unique_ptr<PictureBuffer>> pictures; // guarded by mutex

        std::unique_ptr<PictureBuffer> pop() {
            const std::scoped_lock guard(mutex);
            if (pictures.empty()) return nullptr;
            auto picture = std::move(pictures.back());
            pictures.pop_back();
            return picture;
        }
        void push(PictureBuffer* picture) {
            const std::scoped_lock guard(mutex);
            pictures.emplace_back(picture);
        }
    };

    PixelLayout layout_;
    PixelSize size_;
    std::shared_ptr<FreeList> free_ = std::make_shared<FreeList>();
};

// One frame on its way: the reader fills in what to draw, a worker draws it and says so, the writer waits for
// that.
struct Slot {
    std::int64_t index = 0;
    FrameChange change = FrameChange::drawn;
    ReelFrame frame;
    std::shared_ptr<PictureBuffer> picture;
    std::binary_semaphore done{0};
};
using SlotPtr = std::shared_ptr<Slot>;

class Pump {
  public:
    Pump(const FrameJob& job, const ExportCancel& cancel)
        : job_(job),
          cancel_(cancel),
          pool_(job.layout, job.canvas),
          ordered_(static_cast<std::size_t>(job.workers) + 2),
          toDraw_(static_cast<std::size_t>(job.workers) + 2) {}

    Result<void> run(const std::function<Result<void>(const Picture&, std::int64_t, FrameChange)>& write) {
        std::vector<std::jthread> threads;
        threads.emplace_back([this] { read(); });
        for (int i = 0; i < job_.workers; ++i) threads.emplace_back([this] { draw(); });
        const Result<void> result = writeAll(write);
        if (!result) stop(result.error());
        return result;
    }

  private:
    // Every frame enters both queues: `ordered_` keeps the order and bounds how many are under way, `toDraw_`
    // hands the work out. Only the reader closes them in the ordinary course, so what the writer waits for
    // gets drawn.
    void read() {
        ReelCompositor compositor(job_.reel, job_.renderer, job_.canvas);
        std::optional<ReelFrame> last;
        for (std::int64_t i = 0; i < job_.total && !cancel_.isCancelled(); ++i) {
            auto frame = compositor.frameAt(static_cast<double>(i) / job_.fps);
            if (!frame) {
                ordered_.abort(frame.error());
                break;
            }
            auto slot = std::make_shared<Slot>();
            slot->index = i;
            slot->change = last == *frame ? FrameChange::repeated : FrameChange::drawn;
            last = *frame;
            slot->frame = *std::move(frame);
            if (!ordered_.push(slot)) break;
            if (slot->change == FrameChange::drawn && !toDraw_.push(slot)) break;
        }
        toDraw_.close();
        ordered_.close();
    }

    void draw() {
        DrawScratch scratch;
        while (const auto slot = toDraw_.pop()) {
            Slot& work = **slot;
            work.picture = pool_.acquire();
            job_.renderer.draw(work.frame.plan, work.frame.screen.get(), work.frame.webcam.get(),
                               *work.picture, scratch);
            work.frame = {};
            work.done.release();
        }
    }

    Result<void> writeAll(
        const std::function<Result<void>(const Picture&, std::int64_t, FrameChange)>& write) {
        Picture current;
        while (const auto slot = ordered_.pop()) {
            if (cancel_.isCancelled()) return std::unexpected(Failure::cancelled());
            if ((*slot)->change == FrameChange::drawn) {
                (*slot)->done.acquire();
                current = std::as_const(*(*slot)->picture).view();
                current.storage = std::move((*slot)->picture);
            }
            if (auto written = write(current, (*slot)->index, (*slot)->change); !written) return written;
        }
        if (cancel_.isCancelled()) return std::unexpected(Failure::cancelled());
        if (auto failed = ordered_.failure()) return std::unexpected(*std::move(failed));
        return {};
    }

    void stop(const Failure& why) {
        ordered_.abort(why);
        toDraw_.abort(why);
    }

    const FrameJob& job_;
    const ExportCancel& cancel_;
    PicturePool pool_;
    BoundedQueue<SlotPtr> ordered_;
    BoundedQueue<SlotPtr> toDraw_;
};

} // namespace

Result<void> pumpFrames(const FrameJob& job, const ExportCancel& cancel,
                        const std::function<Result<void>(const Picture&, std::int64_t, FrameChange)>& write) {
    return Pump(job, cancel).run(write);
}

int drawingThreads(int wanted) {
    if (wanted > 0) return wanted;
    return std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
}

std::int64_t frameCount(Seconds duration, int fps) {
    return std::max<std::int64_t>(static_cast<std::int64_t>(std::ceil(duration * fps - 1e-6)), 1);
}

} // namespace glintro
