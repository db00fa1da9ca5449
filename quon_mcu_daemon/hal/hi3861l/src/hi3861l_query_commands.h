// The query families: one exchange each, with the answer copied to the caller's area of
// kMcuReplyAreaSize bytes. `name` is the operation's name for log lines. Each returns 0, or -1
// after logging why.
#ifndef HI3861L_QUERY_COMMANDS_H
#define HI3861L_QUERY_COMMANDS_H

#include <stdint.h>

#include "hi3861l_msg.h"

// Copies by the answer's own length: an empty answer leaves the area unchanged.
int32_t hi3861l_run_query(hi3861l_msg_type type, const char* name, uint8_t* record);

// Copies a zero-terminated text.
int32_t hi3861l_run_text_query(hi3861l_msg_type type, const char* name, char* text);

// Copies a count and that many entries, as far as the payload reaches.
int32_t hi3861l_run_list_query(hi3861l_msg_type type, const char* name, uint32_t entry_size,
                               uint8_t* list);

// One exchange with a body of `size` bytes, at most kHi3861lPayloadSize; `body` may be null when
// `size` is 0. Fills `reply`.
int32_t hi3861l_exchange(hi3861l_msg_type type, const char* name, const void* body, uint32_t size,
                         hi3861l_msg* reply);

// Copies the answer to `area`, of kMcuReplyAreaSize bytes.
void hi3861l_copy_answer(uint8_t* area, const hi3861l_msg& reply);

#endif
