#pragma once

namespace glintro {

// How soon a thread of a take must run when the machine is loaded, the more urgent one last. A picture that
// is not grabbed in time is lost; one that is encoded late only waits in a queue.
enum class ThreadUrgency { encoding, grabbing };

// Raises the calling thread above ordinary ones, as far as the system lets this user; threads that it starts
// inherit that. Where the system allows nothing, the thread stays as it is: a take goes on without. Call once
// in a thread, at its beginning.
void raiseThreadPriority(ThreadUrgency urgency);

} // namespace glintro
