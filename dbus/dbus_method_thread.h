// The thread that reads a client's results and connects anew when its server has gone.
#ifndef DBUS_METHOD_THREAD_H
#define DBUS_METHOD_THREAD_H

#include <stdint.h>

#include "dbus_socket_common.h"

namespace quon::dbus {

enum ClientState : int32_t {
    kClientIdle = 0,
    kClientReading = 1,
    kClientReconnecting = 2,  // set while the registration's mutex is held for a reconnection
    kClientEnded = 3,         // the method thread is ending: no result can come
    kClientGone = 4,          // it touches the registration no more
};

ClientState client_state(DbusInfo* info);
bool can_bring_results(DbusInfo* info);

// Starts Dbus_Method_Thread on the connection in client_fd.
void start_method_thread(DbusInfo* info);

// Ends it, and waits until it has left the registration. It is not joined.
void stop_method_thread(DbusInfo* info);

}  // namespace quon::dbus

extern "C" {

// Delivers one result to the call that waits for it.
void Dbus_Method_Msg_Result(DbusInfo* info, const DbusMsg* result);

// Connects client_fd anew, holding the registration's mutex for up to about 5 s. Returns 0, or -1
// when the method thread has to end. A cancellation between two attempts releases the mutex.
int32_t Dbus_Method_Reconnect_Daemon(DbusInfo* info);
}

#endif
