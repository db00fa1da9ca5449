// The thread that reads a client's results and connects anew when its server has gone.
#ifndef DBUS_METHOD_THREAD_H
#define DBUS_METHOD_THREAD_H

#include <stdint.h>

#include "dbus_socket_common.h"
#include "dbus_state.h"

namespace quon::dbus {

ClientPhase client_phase(const State* state);
bool can_bring_results(const State* state);

// Starts Dbus_Method_Thread on the connection in client_fd. Without a thread the phase is
// kClientGone.
void start_method_thread(State* state);

// Asks it to end and waits for that, at most a second (it may be held up in a print). False: it has
// not ended; it closes client_fd when it does, and nobody else may.
bool stop_method_thread(State* state);

}  // namespace quon::dbus

extern "C" {

// Delivers one result to the call that waits for it.
void Dbus_Method_Msg_Result(DbusInfo* info, const DbusMsg* result);

// Connects client_fd anew, holding the registration's mutex for up to about 5 s. Returns 0, or -1
// when the method thread has to end. A cancellation between two attempts releases the mutex.
int32_t Dbus_Method_Reconnect_Daemon(DbusInfo* info);
}

#endif
