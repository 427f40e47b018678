#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "core/base/Failure.h"

namespace glintro {

// Hands values from producing threads to consuming threads, first in, first out. It holds at most `capacity`
// values (at least 1): producers wait while it is full, consumers while it is empty. Either end may close it.
// close() means "no more is coming": what is in the queue is still handed out. abort() means "stop": both
// ends return at once, what is in the queue is dropped, and the first failure given is kept. Any thread may
// call all.
template <class T>
class BoundedQueue {
  public:
    explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

    // Waits for room; false when the queue was closed or aborted; the value is dropped then.
    [[nodiscard]] bool push(T value) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return closed_ || values_.size() < capacity_; });
        if (closed_) return false;
        values_.push_back(std::move(value));
        changed_.notify_all();
        return true;
    }

    // Waits for a value; nullopt when the queue is closed and empty, or aborted.
    std::optional<T> pop() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return closed_ || !values_.empty(); });
        if (values_.empty()) return std::nullopt;
        T value = std::move(values_.front());
        values_.pop_front();
        changed_.notify_all();
        return value;
    }

    void close() {
        const std::scoped_lock lock(mutex_);
        closed_ = true;
        changed_.notify_all();
    }

    void abort(Failure why) {
        const std::scoped_lock lock(mutex_);
        if (!failure_) failure_ = std::move(why);
        closed_ = true;
        values_.clear();
        changed_.notify_all();
    }

    std::optional<Failure> failure() const {
        const std::scoped_lock lock(mutex_);
        return failure_;
    }

  private:
    const std::size_t capacity_;
    mutable std::mutex mutex_; // guards all below
    std::condition_variable changed_;
    std::deque<T> values_;
    bool closed_ = false;
    std::optional<Failure> failure_;
};

} // namespace glintro
