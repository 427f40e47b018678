#include "app/recording/TakeBackground.h"

#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr std::chrono::milliseconds kLookInterval{200};
constexpr std::chrono::milliseconds kWaitInterval{100};

std::int64_t progressOf(const std::shared_ptr<LiveTake>& take) {
    return take ? take->finishingProgress() : 0;
}

} // namespace

TakeBackground::TakeBackground(Seconds stallTimeout)
    : stallTimeout_(stallTimeout), mainThread_(std::make_shared<MainThreadPost>(*this)) {
    tick_.setInterval(kLookInterval);
    connect(&tick_, &QTimer::timeout, this, &TakeBackground::look);
}

void TakeBackground::run(std::function<std::function<void()>()> work) {
    queue_.post([post = mainThread_, work = std::move(work)] { (*post)(work()); });
}

void TakeBackground::release(TakePtr take) {
    if (take) queue_.post([take = std::move(take)]() mutable { take.reset(); });
}

void TakeBackground::watch(TakePtr take) {
    watched_ = std::move(take);
    progress_ = {};
    tick_.start();
}

void TakeBackground::endWatch() {
    tick_.stop();
    release(std::exchange(watched_, nullptr));
}

void TakeBackground::look() {
    if (progress_.stalledFor(progressOf(watched_), hostTime()) >= stallTimeout_) emit stalled();
}

bool TakeBackground::finish(const TakePtr& take) {
    ProgressWatch progress;
    while (!queue_.waitUntilIdle(kWaitInterval)) {
        if (progress.stalledFor(progressOf(take), hostTime()) < stallTimeout_) continue;
        if (take) take->letGo();
        abandon();
        return false;
    }
    return true;
}

} // namespace glintro
