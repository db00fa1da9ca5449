// A request or a reply in memory.
#ifndef HI3861L_MSG_H
#define HI3861L_MSG_H

#include <stdint.h>

#include "hi3861l_protocol.h"

// Only the low 8 bits of `type` are sent.
struct hi3861l_msg {
    uint32_t type;
    uint8_t payload[kHi3861lPayloadSize];
    uint32_t len;
};
static_assert(sizeof(hi3861l_msg) == 392);

#endif
