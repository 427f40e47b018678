#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "core/base/Failure.h"

namespace glintro {

// Hands values from threads that make them to threads that use them, at most `capacity` at a time: who is
// faster waits. Either end may close it. close() means "no more is coming": what is in the queue is still
// handed out. abort() means "stop": both ends return at once, and the first failure given is kept.
template <class T>
class BoundedQueue {
  public:
    explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

    // Waits for room; false when the queue was closed or aborted and the value was not taken.
    [[nodiscard]] bool push(T value) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [&] { return closed_ || values_.size() < capacity_; });
        if (closed_) return false;
        values_.push_back(std::move(value));
        changed_.notify_all();
        return true;
    }

    // Waits for a value; nothing when the queue is closed and empty, or aborted.
    std::optional<T> pop() {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [&] { return closed_ || !values_.empty(); });
        if (values_.empty()) return std::nullopt;
        T value = std::move(values_.front());
        values_.pop_front();
        changed_.notify_all();
        return value;
    }

    void close() {
        const std::scoped_lock guard(lock_);
        closed_ = true;
        changed_.notify_all();
    }

    void abort(Failure why) {
        const std::scoped_lock guard(lock_);
        if (!failure_) failure_ = std::move(why);
        closed_ = true;
        values_.clear();
        changed_.notify_all();
    }

    std::optional<Failure> failure() const {
        const std::scoped_lock guard(lock_);
        return failure_;
    }

  private:
    const std::size_t capacity_;
    mutable std::mutex lock_; // guards all below
    std::condition_variable changed_;
    std::deque<T> values_;
    bool closed_ = false;
    std::optional<Failure> failure_;
};

} // namespace glintro
