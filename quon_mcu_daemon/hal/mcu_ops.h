// The only door from the daemon's handlers to a chip.
#ifndef MCU_OPS_H
#define MCU_OPS_H

#include "mcu_ops_table.h"

// The table of the configured chip. Never null; owned by its driver; callable before
// mcu_probe_init, when its operations fail as a closed channel does.
const mcu_ops* mcu_get_ops_handle();

// Brings the chip's driver up (slot 0). Returns slot 0's result.
int32_t mcu_probe_init();

#endif
