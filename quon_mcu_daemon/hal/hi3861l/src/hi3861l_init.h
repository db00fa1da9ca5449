// Steps of the driver's initialisation.
#ifndef HI3861L_INIT_H
#define HI3861L_INIT_H

#include <stdint.h>

// Brings the interface up. Returns 0, or -1 after printing why.
int32_t sample_wlan_init_up();

// Requests the chip's network record and stores it. Returns 0, or -1 after logging why.
int32_t hi3861l_wlan_init_mac();

#endif
