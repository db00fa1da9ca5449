#include "dbus_connection.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "dbus_calm.h"
#include "dbus_records.h"
#include "dbus_sockets.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr uint32_t kMaxWaiting = 1024;

static_assert(offsetof(Connection, aside) == 0);

// One write, with the registration's mutex held.
Sent try_to_send(int32_t fd, const DbusMsg* result) {
    const Sent sent = send_record(fd, result);
    if (sent == Sent::kFailed) {
        printf("%s Write result failed\n", "Dbus_ReadWrite_Process");
    }
    return sent;
}

void append(Connection* connection, const DbusMsg* result, WaitingResult* place) {
    memcpy_s(place->record, sizeof(*place->record), result, sizeof(*result));
    place->next = nullptr;
    *connection->last = place;
    connection->last = &place->next;
    __atomic_add_fetch(&connection->waiting, 1U, __ATOMIC_RELAXED);
}

void remove_first(Connection* connection) {
    WaitingResult* first = connection->first;
    connection->first = first->next;
    if (connection->first == nullptr) {
        connection->last = &connection->first;
    }
    __atomic_sub_fetch(&connection->waiting, 1U, __ATOMIC_RELAXED);
    pthread_cond_signal(&connection->gone);
    free(first);
    load_ends();
}

// Sends as many as there is room for. True: none is left.
bool send_first_ones(Connection* connection) {
    while (connection->first != nullptr) {
        if (try_to_send(connection->fd, connection->first->record) == Sent::kNoRoom) {
            return false;
        }
        remove_first(connection);
    }
    return true;
}

bool is_full(const Connection* connection) {
    return __atomic_load_n(&connection->waiting, __ATOMIC_RELAXED) >= kMaxWaiting;
}

}  // namespace

Connection* make_connection(State* state, int32_t fd) {
    auto* connection = static_cast<Connection*>(malloc(sizeof(Connection)));
    if (connection == nullptr) {
        return nullptr;
    }
    memset_s(connection, sizeof(*connection), 0, sizeof(*connection));
    join_state(state);
    connection->state = state;
    connection->fd = fd;
    connection->users = 1;
    connection->last = &connection->first;
    pthread_cond_init(&connection->gone, nullptr);
    load_begins();
    return connection;
}

void join_connection(Connection* connection) {
    __atomic_add_fetch(&connection->users, 1U, __ATOMIC_RELAXED);
}

void leave_connection(Connection* connection) {
    if (__atomic_sub_fetch(&connection->users, 1U, __ATOMIC_ACQ_REL) != 0) {
        return;
    }
    close(connection->fd);
    leave_state(connection->state);
    pthread_cond_destroy(&connection->gone);
    free(connection);
    load_ends();
}

Delivery deliver_result(Connection* connection, const DbusMsg* result, WaitingResult* place) {
    pthread_mutex_t* mutex = &connection->state->info->mutex;
    Delivery delivery = Delivery::kDone;
    pthread_mutex_lock(mutex);
    if (!send_first_ones(connection) || try_to_send(connection->fd, result) == Sent::kNoRoom) {
        append(connection, result, place);
        delivery = connection->has_waiter ? Delivery::kWaits : Delivery::kWaitsFor;
        connection->has_waiter = true;
    }
    pthread_mutex_unlock(mutex);
    return delivery;
}

// Writability is reported late (once less than a quarter of the socket's buffer is in use), so one
// wake-up sends many results.
void send_waiting_results(Connection* connection) {
    pthread_mutex_t* mutex = &connection->state->info->mutex;
    bool done = false;
    while (!done) {
        wait_for_room(connection->fd, -1);
        pthread_mutex_lock(mutex);
        done = send_first_ones(connection);
        connection->has_waiter = !done;
        pthread_mutex_unlock(mutex);
    }
}

void wait_for_few_waiting(Connection* connection) {
    if (!is_full(connection)) {
        return;
    }
    pthread_mutex_t* mutex = &connection->state->info->mutex;
    pthread_mutex_lock(mutex);
    while (is_full(connection)) {
        pthread_cond_wait(&connection->gone, mutex);
    }
    pthread_mutex_unlock(mutex);
}

void write_result(DbusInfo* info, int32_t fd, const DbusMsg* result) {
    Sent sent;
    do {
        pthread_mutex_lock(&info->mutex);
        sent = try_to_send(fd, result);
        pthread_mutex_unlock(&info->mutex);
        if (sent == Sent::kNoRoom) {
            wait_for_room(fd, -1);
        }
    } while (sent == Sent::kNoRoom);
}

}  // namespace quon::dbus
