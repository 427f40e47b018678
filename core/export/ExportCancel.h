#pragma once

#include <atomic>

namespace glintro {

// Tells an export to stop; shared by its requester and the export. Once cancelled it stays so. Any thread and
// any signal handler may call both: the flag is lock-free.
class ExportCancel {
  public:
    void cancel() { flag_.store(true, std::memory_order_release); }
    bool isCancelled() const { return flag_.load(std::memory_order_acquire); }

  private:
    std::atomic<bool> flag_ = false;
};

} // namespace glintro
