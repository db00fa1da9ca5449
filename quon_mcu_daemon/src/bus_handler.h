// The two kinds of function that serve the daemon's services. Handlers run on bus threads,
// concurrently; they keep no state and take no lock.
#ifndef BUS_HANDLER_H
#define BUS_HANDLER_H

#include <stdint.h>

// `request` is read at fixed positions whatever `request_len` says: the bus hands out its whole
// payload area. `reply` is zero-filled. Returns the reply's length, or -1 after logging why (but
// for "get.event.info": no event is no failure).
using method_handler = int32_t(const uint8_t* request, int32_t request_len, uint8_t* reply,
                               int32_t reply_capacity);

// Failures are only logged: there is nobody to tell.
using signal_handler = void(const uint8_t* request, int32_t request_len);

#endif
