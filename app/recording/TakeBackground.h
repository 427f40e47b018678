#pragma once

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/recording/LiveTake.h"
#include "app/recording/TakeHealth.h"

namespace glintro {

// The thread on which takes block, behind a main thread that never waits for it without an end. Lives on the
// main thread.
class TakeBackground : public QObject {
    Q_OBJECT

  public:
    using TakePtr = std::shared_ptr<LiveTake>;

    // `stallTimeout`: for so long, in seconds, nothing gets on before the thread counts as hanging.
    explicit TakeBackground(Seconds stallTimeout);

    // The work hands back what to do about it on the main thread, which is dropped after close(). The work
    // itself may outlive this object.
    void run(std::function<std::function<void()>()> work);
    // For calls that takes make on threads of their own.
    const std::shared_ptr<MainThreadPost>& mainThread() const { return mainThread_; }
    // Gives a take away, whose end closes files and devices. May be null.
    void release(TakePtr take);

    // Emits stalled(), again and again, while the work does not get on. The take is the one that is worked
    // for; null where it is not made yet.
    void watch(TakePtr take);
    void endWatch();
    // Leaves the work behind on its thread; later work runs on a new one.
    void abandon() { queue_.abandon(); }

    // For the program's end: waits until all is done; false when it stalled. `take`: as for watch().
    [[nodiscard]] bool finish(const TakePtr& take);
    void close() { mainThread_->close(); }

  signals:
    void stalled();

  private:
    void look();

    const Seconds stallTimeout_;
    QTimer tick_;
    TakePtr watched_;
    ProgressWatch progress_;
    std::shared_ptr<MainThreadPost> mainThread_;
    BackgroundQueue queue_;
};

} // namespace glintro
