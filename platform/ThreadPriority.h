#pragma once

#include <functional>

#include <sys/types.h>

namespace glintro {

// How soon a thread of a take must run when the machine is loaded, the more urgent one last. A picture that
// is not grabbed in time is lost; one that is encoded late only waits in a queue.
enum class ThreadUrgency { encoding, grabbing };

// Raises the calling thread above ordinary ones, as far as the system lets this user; threads that it starts
// inherit that. What the system does not allow the user, the service below is asked for, which may take a
// moment. Where nothing is allowed, the thread stays as it is: a take goes on without. Call once in a thread,
// at its beginning.
void raiseThreadPriority(ThreadUrgency urgency);

// Asks whoever may to give a thread of this process a nice value. Must not wait.
using ThreadPriorityService = std::function<void(pid_t thread, int nice)>;

// The process's one service; null for none. The platform sets it. From any thread.
void setThreadPriorityService(ThreadPriorityService service);

} // namespace glintro
