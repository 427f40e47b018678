#include "app/base/BackgroundQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace glintro {

struct BackgroundQueue::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Task> waiting; // guarded by mutex, as all that follow
    bool isBusy = false;
    bool isClosed = false;
};

BackgroundQueue::BackgroundQueue() : state_(std::make_shared<State>()) {
    std::thread([state = state_] { work(state); }).detach();
}

BackgroundQueue::~BackgroundQueue() {
    const std::scoped_lock lock(state_->mutex);
    state_->isClosed = true;
    state_->changed.notify_all();
}

void BackgroundQueue::post(Task task) {
    const std::scoped_lock lock(state_->mutex);
    state_->waiting.push_back(std::move(task));
    state_->changed.notify_all();
}

bool BackgroundQueue::waitUntilIdle(std::chrono::milliseconds timeout) {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, timeout,
                                    [this] { return !state_->isBusy && state_->waiting.empty(); });
}

void BackgroundQueue::abandon() {
    BackgroundQueue next;
    std::swap(state_, next.state_);
}

void BackgroundQueue::work(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    while (true) {
        state->changed.wait(lock, [&] { return state->isClosed || !state->waiting.empty(); });
        if (state->isClosed) break;
        Task task = std::move(state->waiting.front());
        state->waiting.pop_front();
        state->isBusy = true;
        lock.unlock();
        task();
        task = nullptr; // what it holds is released outside the lock
        lock.lock();
        state->isBusy = false;
        state->changed.notify_all();
    }
    // Dropped here, for what they hold may block as well.
    const std::deque<Task> dropped = std::exchange(state->waiting, {});
    lock.unlock();
}

} // namespace glintro
