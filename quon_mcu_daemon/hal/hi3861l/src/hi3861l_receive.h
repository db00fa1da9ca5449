// Handles what the chip sends: events, network data and answers. Runs on the channel's receive
// thread.
#ifndef HI3861L_RECEIVE_H
#define HI3861L_RECEIVE_H

#include <stdint.h>

#include "hi3861l_msg.h"

// The channel's callback. Returns 0.
int32_t hi3861l_rx_callback(const uint8_t* data, int32_t len);
void hi3861l_msg_dispatch(const uint8_t* data, int32_t len);

// Reads a frame of any length. The declared length is limited to the payload's size; bytes missing
// from the frame, including its header, read as zero.
hi3861l_msg hi3861l_decode(const uint8_t* data, int32_t len);

#endif
