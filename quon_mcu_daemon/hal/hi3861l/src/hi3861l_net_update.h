// The chip's network data, applied to the interface and to the resolver.
#ifndef HI3861L_NET_UPDATE_H
#define HI3861L_NET_UPDATE_H

#include "hi3861l_protocol.h"

// Runs the commands and blocks until they have ended; a record that was applied whole is kept.
// Receive thread only.
void hi3861l_update_ip_info(const hi3861l_net_info* info);

// The resolver's step of it.
void hi3861l_update_dns(const hi3861l_net_info* info);

#endif
