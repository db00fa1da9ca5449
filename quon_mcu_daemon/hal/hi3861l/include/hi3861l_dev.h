// The Hi3861L driver's only public function: its operations table (see mcu_ops_table.h for its
// use).
#ifndef HI3861L_DEV_H
#define HI3861L_DEV_H

#include "mcu_ops_table.h"

// Never null; constant. Slots 44 to 46 are null: the chip has no log profile and no bit error rate.
// The other slots fail, as on a closed channel, until slot 0 has run and again after slot 1. No
// other slot may be in progress while slot 1 runs.
const mcu_ops* hi3861l_get_ops_handle();

#endif
