#include "dbus_clock.h"

#include <errno.h>
#include <time.h>

namespace quon::dbus {

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;

}  // namespace

int64_t now_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

void init_condition(pthread_cond_t* condition) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

bool wait_until(pthread_cond_t* condition, pthread_mutex_t* lock, int64_t deadline) {
    timespec until;
    until.tv_sec = static_cast<time_t>(deadline / kNsPerSecond);
    until.tv_nsec = static_cast<decltype(until.tv_nsec)>(deadline % kNsPerSecond);
    return pthread_cond_timedwait(condition, lock, &until) != ETIMEDOUT;
}

}  // namespace quon::dbus
