#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

#include "platform/PointerSource.h"
#include "platform/ScreenStream.h"
#include "platform/linux/WakeUp.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11FramePool.h"
#include "platform/linux/x11/X11Subject.h"

namespace glintro {

// Turns the changes of a subject into frames, on a thread of its own that sleeps while nothing changes. It
// looks at the subject at multiples of 1/fps after the start only, so that one picture is made of all that a
// program draws together.
class X11Stream final : public ScreenStream {
  public:
    // The connection is the one that the subject uses, and nobody else.
    X11Stream(std::unique_ptr<X11Connection> connection, std::unique_ptr<X11Subject> subject, double scale);
    ~X11Stream() override;

    PixelSize pixelSize() const override { return pixelSize_; }
    Rect frame() const override { return subject_->frame(pixelSize_); }
    PointerSource& pointer() override { return *pointer_; }
    [[nodiscard]] Result<void> start(const StreamConfiguration& configuration,
                                     StreamHandlers handlers) override;
    void stop() override;

  private:
    void run(const std::stop_token& stop);
    [[nodiscard]] Result<void> step();
    [[nodiscard]] Result<void> handleEvents();
    bool handleQueuedEvents();
    void deliver();
    void deliverFrom(X11FramePool& pool, X11FrameBuffer& buffer);
    void repeatWhenDue();
    void sleep() const;
    Seconds nextTick(Seconds now) const;

    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<X11Subject> subject_;
    PixelSize pixelSize_;
    std::unique_ptr<PointerSource> pointer_;
    StreamConfiguration configuration_;
    StreamHandlers handlers_;

    // Of the thread.
    std::optional<X11FramePool> pool_;
    Seconds begin_ = 0;     // of the ticks
    Seconds dueTick_ = 0;   // no frame before
    Seconds shownTime_ = 0; // of the latest frame

    WakeUp wakeUp_; // of the thread, when it is to end
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isRunning_ = false; // the thread, under the mutex
    std::jthread thread_;
};

} // namespace glintro
