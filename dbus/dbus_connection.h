// An accepted connection, shared by its thread and its message threads, and the results waiting to
// be sent to its peer.
#ifndef DBUS_CONNECTION_H
#define DBUS_CONNECTION_H

#include <pthread.h>
#include <stdint.h>

#include "dbus_aside.h"
#include "dbus_socket_common.h"
#include "dbus_state.h"

namespace quon::dbus {

// A result that found no room. It begins an allocation that is freed once the result is gone.
struct WaitingResult {
    WaitingResult* next;
    DbusMsg* record;  // in the same allocation
};

// Shared by its thread and each of its message threads. The last to leave closes the socket, so the
// number cannot be reused for another peer while a late result may still be written to it.
struct Connection {
    Aside aside;  // for its ListenArgs, until its thread takes it over
    State* state;
    int32_t fd;
    uint32_t users;    // atomic
    uint32_t waiting;  // results in the list; atomic, changed under the registration's mutex
    // Under the registration's mutex: results in the order in which their handlers finished.
    WaitingResult* first;
    WaitingResult** last;
    bool has_waiter;      // a thread is in send_waiting_results
    pthread_cond_t gone;  // a result has left the list
};

// Created with one user; uses `state` throughout its life. Null when out of memory.
Connection* make_connection(State* state, int32_t fd);
void join_connection(Connection* connection);
void leave_connection(Connection* connection);

enum class Delivery {
    kDone,      // sent or lost; `place` is the caller's
    kWaits,     // `place` now belongs to the list and waits behind others
    kWaitsFor,  // as kWaits, and the caller must run send_waiting_results
};

// Tries to send a result after those that already wait. Never waits for the peer.
Delivery deliver_result(Connection* connection, const DbusMsg* result, WaitingResult* place);

// Sends waiting results as the peer makes room; returns when none is left or the peer is gone.
void send_waiting_results(Connection* connection);

// Returns once fewer than 1024 results are waiting.
void wait_for_few_waiting(Connection* connection);

// For a message without a connection: waits until the peer has room.
void write_result(DbusInfo* info, int32_t fd, const DbusMsg* result);

}  // namespace quon::dbus

#endif
