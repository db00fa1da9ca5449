// Changes the main processor's Wi-Fi interface by shell commands, for any chip.
#ifndef MCU_WLAN_H
#define MCU_WLAN_H

#include <stdint.h>

#include "mcu_log_origin.h"

inline constexpr char kMcuWlanInterface[] = "wlan0";

// Each runs one command, logged at level 3, and blocks until it has ended. Returns false, after
// logging at level 1, if the command could not be run at all; its exit status is ignored.
bool mcu_wlan_down(const mcu_log_origin& origin);
bool mcu_wlan_up(const mcu_log_origin& origin);
bool mcu_wlan_set_mac(const mcu_log_origin& origin, const uint8_t (&mac)[6]);
bool mcu_wlan_set_address(const mcu_log_origin& origin, const uint8_t (&ip)[4],
                          const uint8_t (&netmask)[4]);
bool mcu_wlan_set_gateway(const mcu_log_origin& origin, const uint8_t (&gateway)[4]);

#endif
