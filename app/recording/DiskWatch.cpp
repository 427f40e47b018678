#include "app/recording/DiskWatch.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(500);

} // namespace

struct DiskWatch::State {
    std::mutex mutex; // never held while the disk is asked
    std::condition_variable wake;
    DiskState latest;               // guarded by mutex, as all that follow
    std::optional<Seconds> askedAt; // host time, while the disk is asked
    bool isClosed = false;
};

DiskWatch::DiskWatch(Probe probe) : state_(std::make_shared<State>()) {
    std::thread([state = state_, ask = std::move(probe)] {
        std::unique_lock lock(state->mutex);
        while (!state->isClosed) {
            state->askedAt = hostTime();
            lock.unlock();
            const DiskState answer = ask();
            lock.lock();
            state->latest = answer;
            state->askedAt.reset();
            state->wake.wait_for(lock, kInterval, [&] { return state->isClosed; });
        }
    }).detach();
}

DiskWatch::~DiskWatch() {
    const std::scoped_lock lock(state_->mutex);
    state_->isClosed = true;
    state_->wake.notify_all();
}

DiskState DiskWatch::latest() const {
    const std::scoped_lock lock(state_->mutex);
    DiskState state = state_->latest;
    if (state_->askedAt) state.unansweredFor = hostTime() - *state_->askedAt;
    return state;
}

DiskState DiskWatch::ask(const std::filesystem::path& movie) {
    DiskState state;
    std::error_code error;
    const auto space = std::filesystem::space(movie.parent_path(), error);
    if (!error) state.freeSpace = static_cast<std::int64_t>(space.available);
    error.clear();
    state.isInPlace = std::filesystem::exists(movie, error) || error;
    return state;
}

} // namespace glintro
