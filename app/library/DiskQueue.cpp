#include "app/library/DiskQueue.h"

#include <algorithm>
#include <utility>

namespace glintro {
namespace {

using std::chrono::milliseconds;

constexpr int kLooks = 8; // for progress, within the timeout

} // namespace

DiskQueue::DiskQueue(milliseconds timeout, QObject* parent)
    : QObject(parent),
      timeout_(timeout),
      progress_(std::make_shared<std::atomic<std::uint64_t>>()),
      mainThread_(std::make_shared<MainThreadPost>(*this)) {
    tick_.setInterval(std::max(timeout / kLooks, milliseconds(1)));
    connect(&tick_, &QTimer::timeout, this, &DiskQueue::watch);
}

DiskQueue::~DiskQueue() {
    mainThread_->close();
}

std::function<void()> DiskQueue::progress() const {
    return [progress = progress_] { progress->fetch_add(1, std::memory_order_relaxed); };
}

bool DiskQueue::waitUntilIdle(milliseconds timeout) {
    return background_.waitUntilIdle(timeout);
}

bool DiskQueue::isStuck() const {
    return hangs_ > 1 && progress_->load(std::memory_order_relaxed) == seenProgress_;
}

void DiskQueue::post(Work work) {
    if (waiting_++ == 0) {
        seenAt_ = std::chrono::steady_clock::now();
        tick_.start();
    }
    background_.post([this, mainThread = mainThread_, progress = progress_, generation = generation_,
                      task = std::move(work)]() mutable {
        Publish publish = task();
        task = nullptr;
        ++*progress;
        (*mainThread)([this, generation, publish = std::move(publish)] { finished(generation, publish); });
    });
}

void DiskQueue::finished(std::uint64_t generation, const Publish& publish) {
    if (generation != generation_) return;
    if (--waiting_ == 0) tick_.stop();
    if (publish) publish();
}

void DiskQueue::watch() {
    const auto now = std::chrono::steady_clock::now();
    const std::uint64_t progress = progress_->load(std::memory_order_relaxed);
    if (progress != seenProgress_) {
        seenProgress_ = progress;
        seenAt_ = now;
        hangs_ = 0;
        return;
    }
    if (now - seenAt_ < timeout_) return;
    background_.abandon();
    ++generation_;
    ++hangs_;
    waiting_ = 0;
    tick_.stop();
    emit hung();
}

} // namespace glintro
