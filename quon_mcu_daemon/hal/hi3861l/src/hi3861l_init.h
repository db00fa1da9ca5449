// Steps of the driver's start.
#ifndef HI3861L_INIT_H
#define HI3861L_INIT_H

#include <stdint.h>

// Raises the interface. Returns 0, or -1 after printing why.
int32_t sample_wlan_init_up();

// Asks the chip for its network record and keeps it. Returns 0, or -1 after logging why.
int32_t hi3861l_wlan_init_mac();

#endif
