// The handlers' only access to a chip.
#ifndef MCU_OPS_H
#define MCU_OPS_H

#include "mcu_ops_table.h"

// The table of the configured chip. Never null; owned by its driver. Callable before
// mcu_probe_init, when its operations fail as on a closed channel.
const mcu_ops* mcu_get_ops_handle();

// Initialises the chip's driver (slot 0). Returns slot 0's result.
int32_t mcu_probe_init();

#endif
