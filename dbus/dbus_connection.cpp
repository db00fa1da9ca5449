#include "dbus_connection.h"

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "dbus_records.h"
#include "dbus_sockets.h"

namespace quon::dbus {

Connection* make_connection(int32_t fd) {
    auto* connection = static_cast<Connection*>(malloc(sizeof(Connection)));
    if (connection != nullptr) {
        *connection = {fd, 1};
    }
    return connection;
}

void join_connection(Connection* connection) {
    __atomic_add_fetch(&connection->users, 1U, __ATOMIC_RELAXED);
}

void leave_connection(Connection* connection) {
    if (__atomic_sub_fetch(&connection->users, 1U, __ATOMIC_ACQ_REL) == 0) {
        close(connection->fd);
        free(connection);
    }
}

// A peer that does not read must not hold up the others: the wait for room is outside the mutex,
// and a write that finds the room gone (taken by another result) goes back to waiting.
void write_result(DbusInfo* info, int32_t fd, const DbusMsg* result) {
    Sent sent;
    do {
        wait_for_room(fd, -1);
        pthread_mutex_lock(&info->mutex);
        sent = send_record(fd, result);
        if (sent == Sent::kFailed) {
            printf("%s Write result failed\n", "Dbus_ReadWrite_Process");
        }
        pthread_mutex_unlock(&info->mutex);
    } while (sent == Sent::kNoRoom);
}

}  // namespace quon::dbus
