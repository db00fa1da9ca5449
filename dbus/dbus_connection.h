// An accepted connection, as its thread and its message threads share it, and the results on their
// way to its peer.
#ifndef DBUS_CONNECTION_H
#define DBUS_CONNECTION_H

#include <pthread.h>
#include <stdint.h>

#include "dbus_aside.h"
#include "dbus_socket_common.h"
#include "dbus_state.h"

namespace quon::dbus {

// A result that found no room. Begins an allocation of its own, which is freed when it has gone.
struct WaitingResult {
    WaitingResult* next;
    DbusMsg* record;  // in the same allocation
};

// Its thread and each of its message threads use it; the last one to leave closes the socket, so
// that the number is not given to another peer while a late result may still be written to it.
struct Connection {
    Aside aside;  // of its ListenArgs, until its thread has taken it over
    State* state;
    int32_t fd;
    uint32_t users;    // atomic
    uint32_t waiting;  // results in the list; atomic, changes under the registration's mutex
    // Under the registration's mutex: results in the order in which their handlers finished.
    WaitingResult* first;
    WaitingResult** last;
    bool has_waiter;      // a thread is in send_waiting_results
    pthread_cond_t gone;  // one of them has gone
};

// With its first user; uses `state` as long as it lives. Null without memory.
Connection* make_connection(State* state, int32_t fd);
void join_connection(Connection* connection);
void leave_connection(Connection* connection);

enum class Delivery {
    kDone,      // sent or lost; `place` is the caller's
    kWaits,     // `place` holds a copy and waits behind others
    kWaitsFor,  // the same, and the caller is the one to run send_waiting_results
};

// Tries to send a result, behind those that wait. Never waits for the peer.
Delivery deliver_result(Connection* connection, const DbusMsg* result, WaitingResult* place);

// Sends what waits, as the peer makes room; returns when nothing is left, or the peer has gone.
void send_waiting_results(Connection* connection);

// Returns when fewer than 1024 results wait.
void wait_for_few_waiting(Connection* connection);

// For a message of nobody's connection: waits until the peer has room.
void write_result(DbusInfo* info, int32_t fd, const DbusMsg* result);

}  // namespace quon::dbus

#endif
