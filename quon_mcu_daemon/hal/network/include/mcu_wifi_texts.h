// The reply of "get.wifi.info": a chip's network data as texts.
#ifndef MCU_WIFI_TEXTS_H
#define MCU_WIFI_TEXTS_H

#include "mcu_records.h"

// Every field is zero-terminated.
struct mcu_wifi_texts {
    char mac[MCU_WIFI_INFO_TEXT_SIZE];
    char ip[MCU_WIFI_INFO_TEXT_SIZE];
    char gateway[MCU_WIFI_INFO_TEXT_SIZE];
    char dns1[MCU_WIFI_INFO_TEXT_SIZE];
    char dns2[MCU_WIFI_INFO_TEXT_SIZE];
};
static_assert(sizeof(mcu_wifi_texts) == MCU_WIFI_INFO_SIZE);

// The MAC is `mac`, not that of `net`. A name server of zeros is an empty text, and its field is
// cleared; the bytes behind the other texts stay as they are.
void mcu_write_wifi_texts(mcu_wifi_texts* texts, const mcu_net_info& net, const uint8_t (&mac)[6]);

#endif
