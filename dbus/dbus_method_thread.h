// The thread that reads a client's results and reconnects when the server closes.
#ifndef DBUS_METHOD_THREAD_H
#define DBUS_METHOD_THREAD_H

#include <stdint.h>

#include "dbus_socket_common.h"
#include "dbus_state.h"

namespace quon::dbus {

ClientPhase client_phase(const State* state);
bool can_bring_results(const State* state);

// Starts Dbus_Method_Thread on the connection in client_fd. If no thread can be created, the phase
// becomes kClientGone.
void start_method_thread(State* state);

// Asks it to end and waits at most a second (it may be blocked in a print). False: it is still
// running and will close client_fd itself; nobody else may.
bool stop_method_thread(State* state);

}  // namespace quon::dbus

extern "C" {

// Delivers one result to the call that is waiting for it.
void Dbus_Method_Msg_Result(DbusInfo* info, const DbusMsg* result);

// Reconnects client_fd, holding the registration's mutex for up to about 5 s. Returns 0, or -1 when
// the method thread must end. If cancelled between two attempts it releases the mutex.
int32_t Dbus_Method_Reconnect_Daemon(DbusInfo* info);
}

#endif
