// Commands that await no answer.
#ifndef HI3861L_SET_COMMANDS_H
#define HI3861L_SET_COMMANDS_H

#include <stdint.h>

#include "hi3861l_protocol.h"

// `body` has `size` bytes, at most kHi3861lPayloadSize, and may be null when that is 0. Returns 0,
// or -1 after logging why, under the operation's `name`.
int32_t hi3861l_run_command(hi3861l_msg_type type, const char* name, const void* body,
                            uint32_t size);

#endif
