// Decides whether this start is a remote wake-up, and starts the hand-off.
#ifndef REMOTE_WAKEUP_H
#define REMOTE_WAKEUP_H

#include <stdint.h>

// Starts the hand-off with what the wake-up context has so far: the wake-up reason and, if the chip
// answered the query for its store params (`has_store_params`), the server's address. A failed
// start has no effect.
void quon_mcu_start_remote_wakeup(const uint8_t* context, bool has_store_params);

// Asks the chip's driver whether network data has arrived; `value` is the driver's unsigned 32-bit
// flag. Returns the flag's size, or -1 after logging why. Called from the hand-off's thread.
int quon_mcu_get_ipaddr_update_status(int* value);

#endif
