// The chip's state at start, taken once: the wake-up context of MCU_WAKEUP_CONTEXT_SIZE bytes, and
// the decision whether this start is a remote wake-up.
#ifndef STARTUP_SNAPSHOT_H
#define STARTUP_SNAPSHOT_H

#include "bus_handler.h"

// Milliseconds of the monotonic clock; wraps after about 49.7 days.
uint32_t quon_mcu_monotonic_ms();

// Fills the context and starts the remote wake-up hand-off. A field whose query failed keeps what
// the failed operation left in it. Called once, by main; blocks for up to six chip exchanges.
void quon_mcu_startup_snapshot();

// Reply: the context as far as it is filled. Cannot fail.
method_handler quon_mcu_get_allwakeup_info;

// Reply: two words of the wake-up record and the milliseconds since the snapshot. Cannot fail.
method_handler quon_mcu_get_socup_time;

// Asks the chip's driver whether network data has arrived; `value` is the driver's unsigned 32-bit
// flag. Returns the flag's size, or -1 after logging why. Called from the hand-off's thread.
int quon_mcu_get_ipaddr_update_status(int* value);

#endif
