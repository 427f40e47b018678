#pragma once

#include <QObject>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"

namespace glintro {

// Disk work in order, off the main thread, whose results come back to it. A disk that hangs is not waited
// for: after the timeout without progress the running task is left behind and those that wait are dropped,
// none of their results comes any more, and later tasks run on a new thread. Main thread.
class DiskQueue : public QObject {
    Q_OBJECT

  public:
    using Publish = std::function<void()>; // on the main thread
    using Work = std::move_only_function<Publish()>;

    explicit DiskQueue(std::chrono::milliseconds timeout, QObject* parent = nullptr);
    ~DiskQueue() override; // waits for nothing

    // What the work uses must be its own: it may outlive the queue.
    void post(Work work);
    // To be called by long work now and then, from any thread, also when the queue is gone.
    std::function<void()> progress() const;
    bool isBusy() const { return waiting_ > 0; }
    // Tasks were left behind twice, and not even those have made progress since.
    bool isStuck() const;
    // False when tasks still wait or run at the end of the timeout. Their results are not published yet.
    [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds timeout);

  signals:
    void hung(); // and left behind

  private:
    void finished(std::uint64_t generation, const Publish& publish);
    void watch();

    const std::chrono::milliseconds timeout_;
    const std::shared_ptr<std::atomic<std::uint64_t>> progress_;
    std::shared_ptr<MainThreadPost> mainThread_;
    BackgroundQueue background_;
    QTimer tick_; // while there is work
    std::uint64_t generation_ = 0;
    int waiting_ = 0; // and running
    int hangs_ = 0;   // since there was progress
    std::uint64_t seenProgress_ = 0;
    std::chrono::steady_clock::time_point seenAt_;
};

} // namespace glintro
