// A driver without a chip, to begin another one from: it answers a handful of slots from memory.
#ifndef EXAMPLE_DEV_H
#define EXAMPLE_DEV_H

#include "mcu_ops_table.h"

// Never null; a constant of the driver. The slots that callers test are null where nothing stands
// behind them; of the others those that the example does not serve fail.
const mcu_ops* example_get_ops_handle();

#endif
