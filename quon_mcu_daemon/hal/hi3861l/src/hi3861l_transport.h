// Sends framed messages to the chip and waits for its answers.
#ifndef HI3861L_TRANSPORT_H
#define HI3861L_TRANSPORT_H

#include <stdint.h>
#include <time.h>

#include "hi3861l_msg.h"

// Each returns 0, or -1 after logging why (a time-out alone is not logged). May be called from any
// thread; exchanges are serialised, so each may also block for the time-outs of those ahead of it.
int32_t hi3861l_send_data(const hi3861l_msg* msg);
int32_t hi3861l_send_msg_async(const hi3861l_msg* msg);

// `reply` has only its type set. Returns 0 after any wake-up, even without a reply (its length is
// then 0), or -1 when sending failed or the time is over.
int32_t hi3861l_send_msg_sync(const hi3861l_msg* request, hi3861l_msg* reply, int32_t timeout_ms);

// The moment `timeout_ms` (not negative) after `now`, rounded down to whole microseconds.
timespec hi3861l_deadline(timespec now, int32_t timeout_ms);

#endif
