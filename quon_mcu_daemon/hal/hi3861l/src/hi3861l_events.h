// The queue of the chip's events, read by bus peers through slot 20.
#ifndef HI3861L_EVENTS_H
#define HI3861L_EVENTS_H

#include <stdint.h>

#include "mcu_records.h"

// A queued event: the first bytes of its payload, without the type.
struct hi3861l_event {
    uint8_t bytes[kMcuEventInfoSize];
};
static_assert(sizeof(hi3861l_event) == 33);

// Creates and frees the queue. While there is none, pushing and taking fail.
void hi3861l_event_init();
void hi3861l_event_deinit();

// Returns 0, or -1 after logging that the queue is full; the event is then lost.
int32_t hi3861l_event_push(const uint8_t* payload);

#endif
