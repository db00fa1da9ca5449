// Calls by the row of a service, with its structures.
#ifndef CLIENT_CALLS_H
#define CLIENT_CALLS_H

#include <time.h>

#include "client_records.h"
#include "quon_mcu_client.h"

namespace quon::typed {

inline int64_t now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// `request` is null where the service has none; `reply` may be null.
quon_mcu_status ask(quon_mcu_client* client, const Service& service, const void* request,
                    void* reply, int32_t timeout_ms);
quon_mcu_status tell(quon_mcu_client* client, const Service& service, const void* request,
                     int32_t timeout_ms);

// The answer to a call that ended well.
quon_mcu_status take(const Service& service, const DbusReply& answer, void* reply);

}  // namespace quon::typed

#endif
