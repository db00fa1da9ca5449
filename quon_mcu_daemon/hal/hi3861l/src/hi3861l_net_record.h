// The driver's copy of the chip's network data, and what the daemon reads back of it.
#ifndef HI3861L_NET_RECORD_H
#define HI3861L_NET_RECORD_H

#include <stdint.h>

#include "hi3861l_protocol.h"
#include "mcu_wifi_texts.h"

using hi3861l_wifi_info = mcu_wifi_texts;

// Asks the chip for its network record and keeps it. `out` has room for kMcuReplyAreaSize bytes.
// Returns 0, or -1 after logging why.
int32_t hi3861l_get_ip_info(uint8_t* out);

// Keeps the record; `updated` says that it has been applied to the interface.
void hi3861l_keep_net_info(const hi3861l_net_info& info, bool updated);

// The MAC that slot 15 reports before that of the network record; six octets.
void hi3861l_keep_second_mac(const uint8_t* mac);

#endif
