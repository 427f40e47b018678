#include "app/pictures/RequestStack.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <utility>
#include <vector>

namespace glintro {
namespace {

// A task looks at its token between two frames, so this is rarely used up.
constexpr std::chrono::milliseconds kStopTimeout{200};

} // namespace

struct RequestStack::State {
    struct Waiting {
        std::string name;
        std::uint64_t urgency = 0;
        Task task;
    };
    using Position = std::vector<Waiting>::iterator;

    // Called with the lock held.
    Position find(const std::string& name) { return std::ranges::find(waiting, name, &Waiting::name); }
    // What it held is to be released outside the lock.
    Task remove(Position position) {
        if (position == waiting.end()) return {};
        Task task = std::move(position->task);
        waiting.erase(position);
        return task;
    }

    Task drop(const std::string& name) {
        if (runningName == name) running.request_stop();
        return remove(find(name));
    }

    void runMostUrgent() {
        std::unique_lock lock(mutex);
        const auto next = std::ranges::max_element(waiting, {}, &Waiting::urgency);
        if (next == waiting.end()) return; // its task was dropped
        runningName = next->name;
        running = std::stop_source();
        const std::stop_token stop = running.get_token();
        Task task = remove(next);
        lock.unlock();
        task(stop);
        task = nullptr;
        lock.lock();
        runningName.clear();
    }

    std::mutex mutex;
    std::vector<Waiting> waiting; // guarded by mutex, as all that follow
    std::string runningName;      // empty while nothing runs
    std::stop_source running{std::nostopstate};
};

RequestStack::RequestStack() : state_(std::make_shared<State>()) {}

RequestStack::~RequestStack() {
    std::vector<State::Waiting> dropped;
    {
        const std::scoped_lock lock(state_->mutex);
        dropped.swap(state_->waiting);
        state_->running.request_stop();
    }
    (void)queue_.waitUntilIdle(kStopTimeout);
}

void RequestStack::push(const std::string& name, std::uint64_t urgency, Task task) {
    Task replaced;
    {
        const std::scoped_lock lock(state_->mutex);
        replaced = state_->drop(name);
        state_->waiting.push_back({name, urgency, std::move(task)});
    }
    queue_.post([state = state_] { state->runMostUrgent(); });
}

void RequestStack::raise(const std::string& name, std::uint64_t urgency) {
    const std::scoped_lock lock(state_->mutex);
    const auto position = state_->find(name);
    if (position != state_->waiting.end()) position->urgency = urgency;
}

void RequestStack::drop(const std::string& name) {
    Task dropped;
    const std::scoped_lock lock(state_->mutex);
    dropped = state_->drop(name);
}

} // namespace glintro
