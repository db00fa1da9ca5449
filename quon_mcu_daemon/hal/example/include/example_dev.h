// A driver without a chip, as a starting point for another one: it answers a few slots from memory.
#ifndef EXAMPLE_DEV_H
#define EXAMPLE_DEV_H

#include "mcu_ops_table.h"

// Never null; constant. Slots that callers check are null when unused; the remaining unused slots
// fail.
const mcu_ops* example_get_ops_handle();

#endif
