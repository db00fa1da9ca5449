// The queue of the chip's events, which bus peers empty through slot 20.
#ifndef HI3861L_EVENTS_H
#define HI3861L_EVENTS_H

#include <stdint.h>

#include "mcu_records.h"

// A queued event: the head of its message's payload. The type is not kept.
struct hi3861l_event {
    uint8_t bytes[kMcuEventInfoSize];
};
static_assert(sizeof(hi3861l_event) == 33);

// Without a queue, before the one and after the other, pushing and taking fail.
void hi3861l_event_init();
void hi3861l_event_deinit();

// Returns 0, or -1 after logging why: the queue is full, and the event lost.
int32_t hi3861l_event_push(const uint8_t* payload);

#endif
