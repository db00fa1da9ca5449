// The reply of "get.wifi.info": a chip's network data as text.
#ifndef MCU_WIFI_TEXTS_H
#define MCU_WIFI_TEXTS_H

#include "mcu_records.h"

// Every field is zero-terminated.
struct mcu_wifi_texts {
    char mac[kMcuWifiInfoTextSize];
    char ip[kMcuWifiInfoTextSize];
    char gateway[kMcuWifiInfoTextSize];
    char dns1[kMcuWifiInfoTextSize];
    char dns2[kMcuWifiInfoTextSize];
};
static_assert(sizeof(mcu_wifi_texts) == kMcuWifiInfoSize);

// The MAC comes from `mac`, not from `net`. A name server of zeros is an empty text and its whole
// field is cleared; in the other fields the bytes after the text are unchanged.
void mcu_write_wifi_texts(mcu_wifi_texts* texts, const mcu_net_info& net, const uint8_t (&mac)[6]);

#endif
