// The two kinds of service handlers. Handlers run concurrently on bus threads, keep no state and
// take no lock.
#ifndef BUS_HANDLER_H
#define BUS_HANDLER_H

#include <stdint.h>

// `request` is read at fixed offsets whatever `request_len` says: the bus passes its whole payload
// area. `reply` is zero-filled. Returns the reply's length, or -1 after logging why (except
// "get.event.info": having no event is not a failure).
using method_handler = int32_t(const uint8_t* request, int32_t request_len, uint8_t* reply,
                               int32_t reply_capacity);

// Failures are only logged: there is no caller to tell.
using signal_handler = void(const uint8_t* request, int32_t request_len);

#endif
