// The driver's copy of the chip's network data, and how the daemon reads it.
#ifndef HI3861L_NET_RECORD_H
#define HI3861L_NET_RECORD_H

#include <stdint.h>

#include "hi3861l_protocol.h"
#include "mcu_wifi_texts.h"

using hi3861l_wifi_info = mcu_wifi_texts;

// Requests the chip's network record and stores it. `out` has room for kMcuReplyAreaSize bytes.
// Returns 0, or -1 after logging why.
int32_t hi3861l_get_ip_info(uint8_t* out);

// Stores the record; `updated` says whether it has been applied to the interface.
void hi3861l_keep_net_info(const hi3861l_net_info& info, bool updated);

// The MAC that slot 15 prefers to that of the network record; six octets.
void hi3861l_keep_second_mac(const uint8_t* mac);

#endif
