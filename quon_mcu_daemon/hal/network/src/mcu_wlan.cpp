#include "mcu_wlan.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

constexpr size_t kCommandSize = 128;

__attribute__((format(printf, 2, 3))) bool run(const mcu_log_origin& origin, const char* format,
                                               ...) {
    char command[kCommandSize] = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(command, sizeof(command), format, arguments);
    va_end(arguments);
    MCU_LOG(origin, QN_LOG_INFO, "%s\n", command);
    if (system(command) == -1) {
        MCU_LOG(origin, QN_LOG_ERROR, "%s failed\n", command);
        return false;
    }
    return true;
}

}  // namespace

bool mcu_wlan_down(const mcu_log_origin& origin) {
    return run(origin, "ifconfig %s down", kMcuWlanInterface);
}

bool mcu_wlan_up(const mcu_log_origin& origin) {
    return run(origin, "ifconfig %s up", kMcuWlanInterface);
}

bool mcu_wlan_set_mac(const mcu_log_origin& origin, const uint8_t (&mac)[6]) {
    return run(origin, "ifconfig %s hw ether %x:%x:%x:%x:%x:%x", kMcuWlanInterface, mac[0], mac[1],
               mac[2], mac[3], mac[4], mac[5]);
}

bool mcu_wlan_set_address(const mcu_log_origin& origin, const uint8_t (&ip)[4],
                          const uint8_t (&netmask)[4]) {
    return run(origin, "ifconfig %s %d.%d.%d.%d netmask %d.%d.%d.%d", kMcuWlanInterface, ip[0],
               ip[1], ip[2], ip[3], netmask[0], netmask[1], netmask[2], netmask[3]);
}

bool mcu_wlan_set_gateway(const mcu_log_origin& origin, const uint8_t (&gateway)[4]) {
    return run(origin, "route add default gw %d.%d.%d.%d dev %s", gateway[0], gateway[1],
               gateway[2], gateway[3], kMcuWlanInterface);
}
