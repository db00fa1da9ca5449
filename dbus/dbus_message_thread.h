// One message: the thread that runs its handler.
#ifndef DBUS_MESSAGE_THREAD_H
#define DBUS_MESSAGE_THREAD_H

#include <stdint.h>

#include "dbus_connection.h"
#include "dbus_socket_common.h"

namespace quon::dbus {

// What a connection thread hands to a message thread, which frees it.
struct DbusProcessArgs {
    DbusInfo* info;
    DbusMsg msg;
    int32_t fd;
    Connection* connection;
};

// Handles one message on the calling thread; leaves the connection and frees the record.
void process_message(DbusProcessArgs* args);

}  // namespace quon::dbus

#endif
