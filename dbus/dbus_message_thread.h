// One message: runs its handler and sends the result.
#ifndef DBUS_MESSAGE_THREAD_H
#define DBUS_MESSAGE_THREAD_H

#include "dbus_aside.h"
#include "dbus_connection.h"
#include "dbus_socket_common.h"

namespace quon::dbus {

// What a connection thread hands to a message thread, in one allocation. After the handler has run,
// the result can wait in it.
struct Message {
    WaitingResult waiting;
    Aside aside;  // of `args`
    Connection* connection;
    DbusProcessArgs args;
};

// Runs the message on the calling thread and takes ownership of the allocation. True: the caller
// must run send_waiting_results.
bool process_message(Message* message);

}  // namespace quon::dbus

#endif
