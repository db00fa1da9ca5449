// Deadlines on the monotonic clock, because the real-time clock jumps when the camera learns the
// time. They keep the kernel's representation: a 64-bit division costs 2 KB of code on the target.
#ifndef DBUS_CLOCK_H
#define DBUS_CLOCK_H

#include <pthread.h>
#include <stdint.h>
#include <time.h>

namespace quon::dbus {

using Deadline = timespec;

// A negative duration gives a time in the past.
Deadline deadline_in(int32_t ms);

bool has_passed(const Deadline& deadline);

// Rounded up, within 0 (already passed) and `most`.
int32_t ms_until(const Deadline& deadline, int32_t most);

// Initialises a condition for wait_until.
void init_condition(pthread_cond_t* condition);

// Waits for `condition` with its mutex held. False once the deadline has passed.
bool wait_until(pthread_cond_t* condition, pthread_mutex_t* lock, const Deadline& deadline);

}  // namespace quon::dbus

#endif
