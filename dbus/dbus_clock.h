// Deadlines on the monotonic clock, in nanoseconds: the other clock jumps when the camera learns
// the time.
#ifndef DBUS_CLOCK_H
#define DBUS_CLOCK_H

#include <pthread.h>
#include <stdint.h>

namespace quon::dbus {

inline constexpr int64_t kNsPerMs = 1'000'000;

int64_t now_ns();

// A condition for wait_until.
void init_condition(pthread_cond_t* condition);

// Waits for `condition` with its lock held. False once the deadline has passed.
bool wait_until(pthread_cond_t* condition, pthread_mutex_t* lock, int64_t deadline);

}  // namespace quon::dbus

#endif
