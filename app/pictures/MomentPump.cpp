#include "app/pictures/MomentPump.h"

#include <algorithm>
#include <utility>

#include "app/base/Images.h"
#include "core/render/StillSource.h"

namespace glintro {

MomentPump::MomentPump(Project project, int longSide, Deliver deliver)
    : project_(std::move(project)), longSide_(longSide), deliver_(std::move(deliver)) {}

MomentPump::~MomentPump() = default;

bool MomentPump::replace(const std::vector<Moment>& moments) {
    const std::scoped_lock lock(mutex_);
    const auto isRunning = [this](const Moment& moment) { return moment.key == *running_; };
    if (running_ && std::ranges::none_of(moments, isRunning)) {
        stop_.request_stop();
        underway_.erase(*running_);
        running_.reset();
    }
    waiting_.clear();
    std::ranges::copy_if(moments, std::back_inserter(waiting_),
                         [this](const Moment& moment) { return !underway_.contains(moment.key); });
    return !waiting_.empty() && !std::exchange(isActive_, true);
}

void MomentPump::received(int key) {
    const std::scoped_lock lock(mutex_);
    underway_.erase(key);
}

void MomentPump::run() {
    while (const auto running = next()) {
        const QImage picture = grab(*running);
        deliver(*running, picture);
        if (!source_) failAll();
    }
}

std::optional<MomentPump::Running> MomentPump::next() {
    const std::scoped_lock lock(mutex_);
    isActive_ = !waiting_.empty();
    if (!isActive_) return std::nullopt;
    const Moment moment = waiting_.front();
    waiting_.pop_front();
    running_ = moment.key;
    underway_.insert(moment.key);
    stop_ = std::stop_source();
    return Running{moment, stop_.get_token()};
}

bool MomentPump::openSource() {
    if (source_) return true;
    auto source = StillSource::open(project_);
    if (source) source_ = *std::move(source);
    return source_ != nullptr;
}

// Null where the frame cannot be read, or is no longer wanted.
QImage MomentPump::grab(const Running& running) {
    if (!openSource()) return {};
    const auto frame = source_->grab({.at = running.moment.time, .maxSide = longSide_, .stop = running.stop});
    return frame ? toImage(plainImage(*frame->screen)) : QImage();
}

void MomentPump::deliver(const Running& running, const QImage& picture) {
    const std::scoped_lock lock(mutex_);
    if (running.stop.stop_requested()) return;
    running_.reset();
    deliver_(running.moment.key, picture);
}

// A recording that cannot be opened is tried once for each request, not for each moment.
void MomentPump::failAll() {
    const std::scoped_lock lock(mutex_);
    for (const Moment& moment : std::exchange(waiting_, {})) {
        underway_.insert(moment.key);
        deliver_(moment.key, QImage());
    }
}

} // namespace glintro
