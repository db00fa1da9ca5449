// The chip's state at start-up, read once: the wake-up context of kMcuWakeupContextSize bytes.
#ifndef STARTUP_SNAPSHOT_H
#define STARTUP_SNAPSHOT_H

#include <stdint.h>

#include "mcu_records.h"

struct wakeup_context {
    uint8_t bytes[kMcuWakeupContextSize];
};

// Milliseconds of the monotonic clock; wraps after about 49.7 days.
uint32_t quon_mcu_monotonic_ms();

// Fills the context and starts the remote wake-up hand-off. A field whose query failed keeps what
// the failed operation left in it; an answer longer than its field is cut. Called once, by main;
// blocks for up to six chip exchanges.
void quon_mcu_startup_snapshot();

// The context as far as it is filled: zeros before the snapshot, part of it meanwhile. Any thread.
wakeup_context quon_mcu_wakeup_context();

#endif
