// The Wi-Fi interface of the main processor, whatever the chip: changed by shell commands.
#ifndef MCU_WLAN_H
#define MCU_WLAN_H

#include <stdint.h>

#include "mcu_log_origin.h"

inline constexpr char kMcuWlanInterface[] = "wlan0";

// Each runs one command, which it logs at level 3, and blocks until it has ended. Returns false,
// after logging it at level 1, when the command could not be run at all; its exit status does not
// matter.
bool mcu_wlan_down(const mcu_log_origin& origin);
bool mcu_wlan_up(const mcu_log_origin& origin);
bool mcu_wlan_set_mac(const mcu_log_origin& origin, const uint8_t (&mac)[6]);
bool mcu_wlan_set_address(const mcu_log_origin& origin, const uint8_t (&ip)[4],
                          const uint8_t (&netmask)[4]);
bool mcu_wlan_set_gateway(const mcu_log_origin& origin, const uint8_t (&gateway)[4]);

#endif
