#include "app/shell/SignalCancel.h"

#include <atomic>
#include <cassert>
#include <cstdint>
#include <ctime>

namespace glintro {
namespace {

// All that a signal handler may touch: lock-free atomics.
std::atomic<ExportCancel*> cancelled = nullptr;
std::atomic<std::int64_t> firstSignal = 0; // host time in nanoseconds, 0 for none yet
static_assert(std::atomic<ExportCancel*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free
              && std::atomic<std::int64_t>::is_always_lock_free);

// One key press may reach the process twice: from the terminal and from whoever started it.
constexpr std::int64_t kSamePress = 1'000'000'000;

std::int64_t hostNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

extern "C" void cancelOnSignal(int signal) {
    const std::int64_t now = hostNanoseconds();
    std::int64_t first = 0;
    if (!firstSignal.compare_exchange_strong(first, now) && now - first > kSamePress) {
        ::signal(signal, SIG_DFL);
        ::raise(signal);
    }
    if (ExportCancel* work = cancelled.load()) work->cancel();
}

} // namespace

SignalCancel::SignalCancel(std::shared_ptr<ExportCancel> cancel) : cancel_(std::move(cancel)) {
    assert(cancelled.load() == nullptr);
    cancelled.store(cancel_.get());
    firstSignal.store(0);
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
