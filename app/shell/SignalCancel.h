#pragma once

#include <array>
#include <csignal>
#include <memory>

#include "core/export/ExportCancel.h"

namespace glintro {

// While it lives, Ctrl-C, a closed terminal and a request to end the process cancel a piece of work instead
// of killing it half-way, so that it can remove its files. Work that does not stop is killed by another such
// signal, a second later or more. At most one at a time.
class SignalCancel {
  public:
    explicit SignalCancel(std::shared_ptr<ExportCancel> cancel);
    ~SignalCancel();
    SignalCancel(const SignalCancel&) = delete;
    SignalCancel& operator=(const SignalCancel&) = delete;

  private:
    static constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

    std::shared_ptr<ExportCancel> cancel_;
    std::array<struct sigaction, kSignals.size()> previous_{};
};

} // namespace glintro
