// Calls by a service's table row, with its structures.
#ifndef CLIENT_CALLS_H
#define CLIENT_CALLS_H

#include "client_records.h"
#include "quon_mcu_client.h"

namespace quon::typed {

// `request` is null if the service has none; `reply` may be null. `result`, which may be null, is
// set on QUON_MCU_FAILED.
quon_mcu_status ask(quon_mcu_client* client, const Service& service, const void* request,
                    void* reply, int32_t timeout_ms, int32_t* result = nullptr);
quon_mcu_status tell(quon_mcu_client* client, const Service& service, const void* request,
                     int32_t timeout_ms);

// Decodes the answer to a successful call.
quon_mcu_status take(const Service& service, const DbusReply& answer, void* reply);

}  // namespace quon::typed

#endif
