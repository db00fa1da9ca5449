// What the listener hands to the thread of a connection.
#ifndef DBUS_CONNECTION_THREAD_H
#define DBUS_CONNECTION_THREAD_H

#include <stdint.h>

#include "dbus_socket_common.h"

namespace quon::dbus {

// Freed by the connection thread as soon as it has read both fields.
struct ListenArgs {
    DbusInfo* info;
    int32_t fd;
};

}  // namespace quon::dbus

#endif
