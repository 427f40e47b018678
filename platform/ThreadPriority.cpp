#include "platform/ThreadPriority.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <mutex>
#include <utility>

#include <sys/resource.h>
#include <unistd.h>

namespace glintro {
namespace {

// Five steps give a thread three times the share of the processor. Grabbing needs little of it, but at once;
// encoding has a queue and must leave the recorded program its share.
int stepsFor(ThreadUrgency urgency) {
    return urgency == ThreadUrgency::grabbing ? 12 : 4;
}

// The least nice value that this user may give a thread; 20 when the system grants none.
int leastNice() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NICE, &limit) != 0) return 20;
    return 20 - static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 40));
}

struct Service {
    std::mutex mutex;
    std::shared_ptr<const ThreadPriorityService> ask; // guarded by mutex
};

Service& service() {
    static Service only;
    return only;
}

void askService(int nice) {
    std::shared_ptr<const ThreadPriorityService> ask;
    {
        const std::scoped_lock lock(service().mutex);
        ask = service().ask;
    }
    if (ask && *ask) (*ask)(::gettid(), nice);
}

} // namespace

void setThreadPriorityService(ThreadPriorityService ask) {
    auto next = std::make_shared<const ThreadPriorityService>(std::move(ask));
    const std::scoped_lock lock(service().mutex);
    service().ask.swap(next);
}

void raiseThreadPriority(ThreadUrgency urgency) {
    // 0 is the calling thread on Linux, for priorities are each thread's own there.
    errno = 0;
    const int current = ::getpriority(PRIO_PROCESS, 0);
    if (errno != 0) return;
    const int wanted = current - stepsFor(urgency);
    if (::setpriority(PRIO_PROCESS, 0, wanted) == 0) return;
    if (const int granted = std::max(wanted, leastNice()); granted < current)
        ::setpriority(PRIO_PROCESS, 0, granted);
    askService(wanted);
}

} // namespace glintro
