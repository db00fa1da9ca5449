// The Hi3861L driver's only door: its operations table (mcu_ops_table.h says how to call it).
#ifndef HI3861L_DEV_H
#define HI3861L_DEV_H

#include "mcu_ops_table.h"

// Never null; a constant of the driver. Slots 44 to 46 are null: the chip has no log profile and
// no bit error rate. Slot 0 must have run before the other slots can succeed; until then, and after
// slot 1, they fail as on a closed channel. Slot 1 wants nobody inside any slot.
const mcu_ops* hi3861l_get_ops_handle();

#endif
