#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "tests/support/WaitUntil.h"

namespace glintro::test {

// What handlers are told on other threads, for the test's to look at.
template <class Entry>
class SharedLog {
  public:
    void add(Entry entry) {
        const std::scoped_lock lock(mutex_);
        entries_.push_back(std::move(entry));
    }
    std::vector<Entry> all() const {
        const std::scoped_lock lock(mutex_);
        return entries_;
    }
    bool becomes(const std::vector<Entry>& expected) const {
        return waitUntil([&] { return all() == expected; });
    }
    // Also fails when more than `count` have come.
    bool reaches(std::size_t count) const {
        return waitUntil([&] { return all().size() >= count; }) && all().size() == count;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

} // namespace glintro::test
