#include "app/recording/SerialQueue.h"

#include <future>
#include <utility>

#include "platform/ThreadPriority.h"

namespace glintro {

SerialQueue::SerialQueue(std::size_t sampleLimit) : sampleLimit_(sampleLimit), thread_([this] { work(); }) {}

SerialQueue::~SerialQueue() {
    const std::scoped_lock lock(mutex_);
    closed_ = true;
    changed_.notify_one();
}

bool SerialQueue::offer(Task task) {
    const std::scoped_lock lock(mutex_);
    if (waiting_.size() >= sampleLimit_) return false;
    waiting_.push_back(std::move(task));
    changed_.notify_one();
    return true;
}

void SerialQueue::post(Task task) {
    const std::scoped_lock lock(mutex_);
    waiting_.push_back(std::move(task));
    changed_.notify_one();
}

void SerialQueue::run(Task task) {
    std::promise<void> done;
    post([&] {
        task();
        done.set_value();
    });
    done.get_future().wait();
}

void SerialQueue::work() {
    raiseThreadPriority(ThreadUrgency::grabbing);
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
        if (waiting_.empty()) return;
        Task task = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        task();
        task = nullptr; // what it holds is released outside the lock
        lock.lock();
    }
}

} // namespace glintro
