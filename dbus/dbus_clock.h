// Deadlines on the monotonic clock: the other clock jumps when the camera learns the time. They
// stay in the kernel's own form: a 64-bit division takes 2 KB of code on the target.
#ifndef DBUS_CLOCK_H
#define DBUS_CLOCK_H

#include <pthread.h>
#include <stdint.h>
#include <time.h>

namespace quon::dbus {

using Deadline = timespec;

// A negative time lies in the past.
Deadline deadline_in(int32_t ms);

bool has_passed(const Deadline& deadline);

// Rounded up; from 0, when it has passed, to `most`.
int32_t ms_until(const Deadline& deadline, int32_t most);

// A condition for wait_until.
void init_condition(pthread_cond_t* condition);

// Waits for `condition` with its lock held. False once the deadline has passed.
bool wait_until(pthread_cond_t* condition, pthread_mutex_t* lock, const Deadline& deadline);

}  // namespace quon::dbus

#endif
