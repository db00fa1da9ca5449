// An accepted connection, as its thread and its message threads share it.
#ifndef DBUS_CONNECTION_H
#define DBUS_CONNECTION_H

#include <stdint.h>

#include "dbus_socket_common.h"

namespace quon::dbus {

// Its thread and each of its message threads use it; the last one to leave closes the socket, so
// that the number is not given to another peer while a late result may still be written to it.
struct Connection {
    int32_t fd;
    uint32_t users;  // atomic
};

// With its first user; null without memory.
Connection* make_connection(int32_t fd);
void join_connection(Connection* connection);
void leave_connection(Connection* connection);

// Waits until the peer has room for it.
void write_result(DbusInfo* info, int32_t fd, const DbusMsg* result);

}  // namespace quon::dbus

#endif
