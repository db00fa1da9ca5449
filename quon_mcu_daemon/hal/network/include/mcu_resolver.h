// Writes the resolver's file from a chip's network data.
#ifndef MCU_RESOLVER_H
#define MCU_RESOLVER_H

#include "mcu_log_origin.h"
#include "mcu_records.h"

// Rewrites /etc/resolv.conf: each distinct name server once, and the gateway last. A file that
// cannot be opened is logged at level 1 and stays unchanged.
void mcu_resolver_write(const mcu_log_origin& origin, const mcu_net_info& info);

#endif
