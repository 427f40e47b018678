#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "core/base/Failure.h"

namespace glintro::test {

// What a microphone or a camera tells on its thread, waited for on the test's. The members may be read inside
// until() and after the stop.
class DeviceWatch {
  public:
    std::vector<Failure> losses;

    std::function<void(Failure)> lost() {
        return [this](Failure failure) { note([&] { losses.push_back(std::move(failure)); }); };
    }

    bool until(const std::function<bool()>& condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), condition);
    }
    bool untilLost() {
        return until([&] { return !losses.empty(); });
    }

  protected:
    template <class Change>
    void note(const Change& change) {
        const std::lock_guard lock(mutex_);
        change();
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
};

} // namespace glintro::test
