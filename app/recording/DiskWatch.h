#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "core/base/Geometry.h"

namespace glintro {

// What a disk says of a take.
struct DiskState {
    std::optional<std::int64_t> freeSpace; // bytes that may still be written; absent when not known
    bool isInPlace = true;                 // the movie is where it was made
    Seconds unansweredFor = 0;             // since the question that the disk has not answered yet
};

// Asks a disk twice a second on a thread of its own, which is never waited for: when the disk hangs, latest()
// stays what it was but for unansweredFor.
class DiskWatch {
  public:
    using Probe = std::function<DiskState()>;

    // The probe may be called, and be destroyed, long after this object.
    explicit DiskWatch(Probe probe);
    ~DiskWatch();
    DiskWatch(const DiskWatch&) = delete;
    DiskWatch& operator=(const DiskWatch&) = delete;

    DiskState latest() const; // from any thread; never blocks

    static DiskState ask(const std::filesystem::path& movie); // may block

  private:
    struct State;
    std::shared_ptr<State> state_; // shared with the thread
};

} // namespace glintro
