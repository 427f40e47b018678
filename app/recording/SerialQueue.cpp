#include "app/recording/SerialQueue.h"

#include <future>
#include <utility>

namespace glintro {

SerialQueue::SerialQueue(std::size_t sampleLimit) : sampleLimit_(sampleLimit), thread_([this] { work(); }) {}

SerialQueue::~SerialQueue() {
    const std::lock_guard guard(lock_);
    closed_ = true;
    changed_.notify_one();
}

bool SerialQueue::offer(Task task) {
    const std::lock_guard guard(lock_);
    if (waiting_.size() >= sampleLimit_) return false;
    waiting_.push_back(std::move(task));
    changed_.notify_one();
    return true;
}

void SerialQueue::post(Task task) {
    const std::lock_guard guard(lock_);
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
    std::unique_lock guard(lock_);
    while (true) {
        changed_.wait(guard, [this] { return closed_ || !waiting_.empty(); });
        if (waiting_.empty()) return;
        Task task = std::move(waiting_.front());
        waiting_.pop_front();
        guard.unlock();
        task();
        task = nullptr; // what it holds goes before the lock is taken again
        guard.lock();
    }
}

} // namespace glintro
