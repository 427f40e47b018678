#include "app/shell/SignalCancel.h"

#include <atomic>
#include <cassert>

namespace glintro {
namespace {

// All that a signal handler may touch: lock-free atomics.
std::atomic<ExportCancel*> cancelled = nullptr;
static_assert(std::atomic<ExportCancel*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void cancelOnSignal(int) {
    if (ExportCancel* work = cancelled.load()) work->cancel();
}

} // namespace

SignalCancel::SignalCancel(std::shared_ptr<ExportCancel> cancel) : cancel_(std::move(cancel)) {
    assert(cancelled.load() == nullptr);
    cancelled.store(cancel_.get());
    struct sigaction action {};
    action.sa_handler = cancelOnSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], nullptr, &previous_[i]);
        // Whoever started the process with a signal ignored (nohup) wants it to stay so.
        if (previous_[i].sa_handler != SIG_IGN) ::sigaction(kSignals[i], &action, nullptr);
    }
}

SignalCancel::~SignalCancel() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &previous_[i], nullptr);
    cancelled.store(nullptr);
}

} // namespace glintro
