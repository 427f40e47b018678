#pragma once

#include <sys/eventfd.h>

#include "core/base/FileDescriptor.h"

namespace glintro {

// Ends the sleep of a thread that waits for file descriptors: it waits for this one too. Stays rung.
class WakeUp {
  public:
    WakeUp() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    bool isUsable() const { return event_.isOpen(); }         // else the process has too many files open
    int descriptor() const { return event_.value(); }         // readable once it was rung
    void ring() const { ::eventfd_write(event_.value(), 1); } // from any thread

  private:
    FileDescriptor event_;
};

} // namespace glintro
