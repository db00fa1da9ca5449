#include "dbus_clock.h"

#include <errno.h>

#include <algorithm>

namespace quon::dbus {

namespace {

constexpr int32_t kMsPerSecond = 1000;
constexpr long kNsPerMs = 1'000'000;
constexpr long kNsPerSecond = 1'000'000'000;

timespec now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

// `nanoseconds` ranges from -kNsPerSecond to twice kNsPerSecond.
timespec make_time(time_t seconds, long nanoseconds) {
    timespec time;
    const int carry = nanoseconds < 0 ? -1 : nanoseconds >= kNsPerSecond ? 1 : 0;
    time.tv_sec = seconds + carry;
    time.tv_nsec = nanoseconds - carry * kNsPerSecond;
    return time;
}

timespec time_until(const Deadline& deadline) {
    const timespec time = now();
    return make_time(deadline.tv_sec - time.tv_sec, deadline.tv_nsec - time.tv_nsec);
}

}  // namespace

Deadline deadline_in(int32_t ms) {
    const timespec time = now();
    return make_time(time.tv_sec + ms / kMsPerSecond, time.tv_nsec + ms % kMsPerSecond * kNsPerMs);
}

bool has_passed(const Deadline& deadline) {
    const timespec left = time_until(deadline);
    return left.tv_sec < 0 || (left.tv_sec == 0 && left.tv_nsec == 0);
}

int32_t ms_until(const Deadline& deadline, int32_t most) {
    const timespec left = time_until(deadline);
    if (left.tv_sec < 0 || left.tv_sec > most / kMsPerSecond) {
        return left.tv_sec < 0 ? 0 : most;
    }
    const int32_t ms = static_cast<int32_t>(left.tv_sec) * kMsPerSecond +
                       static_cast<int32_t>((left.tv_nsec + kNsPerMs - 1) / kNsPerMs);
    return std::min(ms, most);
}

void init_condition(pthread_cond_t* condition) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

bool wait_until(pthread_cond_t* condition, pthread_mutex_t* lock, const Deadline& deadline) {
    return pthread_cond_timedwait(condition, lock, &deadline) != ETIMEDOUT;
}

}  // namespace quon::dbus
