// Applies the chip's network data to the interface and the resolver.
#ifndef HI3861L_NET_UPDATE_H
#define HI3861L_NET_UPDATE_H

#include "hi3861l_protocol.h"

// Runs the commands, blocks until they have ended, and stores a record that was applied completely.
// Receive thread only.
void hi3861l_update_ip_info(const hi3861l_net_info* info);

// The step that updates the resolver.
void hi3861l_update_dns(const hi3861l_net_info* info);

#endif
