// The monotonic clock, which setting the date does not affect.
#ifndef QUON_CLOCK_H
#define QUON_CLOCK_H

#include <stdint.h>
#include <time.h>

// Milliseconds since an unspecified start; never wraps.
static inline int64_t quon_clock_ms64(void) {
    struct timespec now = {0, 0};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

// The same in 32 bits: it wraps after about 49.7 days, so only differences are meaningful.
static inline uint32_t quon_clock_ms(void) {
    return (uint32_t)quon_clock_ms64();
}

#endif
