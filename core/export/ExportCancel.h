#pragma once

#include <atomic>

namespace glintro {

// Shared by who asked for an export and the export itself. Once cancelled it stays so; every thread may call
// both.
class ExportCancel {
  public:
    void cancel() { flag_.store(true, std::memory_order_release); }
    bool isCancelled() const { return flag_.load(std::memory_order_acquire); }

  private:
    std::atomic<bool> flag_ = false;
};

} // namespace glintro
