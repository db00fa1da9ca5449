// The library's own data about a registration (DbusInfo).
//
// Each library thread that uses the record is a user of its state, and so is the registration until
// Dbus_UnRegister. The last user releases what is no longer needed: the record's mutex after
// Dbus_UnRegister, and the record itself after DbusInfo_Free.
#ifndef DBUS_STATE_H
#define DBUS_STATE_H

#include <pthread.h>
#include <stdint.h>

#include "dbus_aside.h"
#include "dbus_socket_common.h"

namespace quon::dbus {

// Phases of the client role.
enum ClientPhase : int32_t {
    kClientIdle = 0,
    kClientReading = 1,
    kClientReconnecting =
        2,             // from before the registration's mutex is taken until after its release
    kClientEnded = 3,  // the method thread is ending: no result can come
    kClientGone = 4,   // it no longer uses the registration
};

struct State {
    Aside aside;
    DbusInfo* info;

    // Atomic.
    bool registered;            // the registration itself is a user
    bool unregistered;          // the last user destroys the mutex
    bool released;              // the last user frees the record
    bool listener_started;      // a reference is reserved for the listen thread
    bool method_started;        // a reference is reserved for the method thread
    int32_t phase;              // ClientPhase; changes under `lock`
    int32_t stop;               // not 0: the method thread must end
    int32_t entering;           // callers on their way to the registration's mutex
    int32_t room_waiters;       // callers waiting for their turn to write
    uint32_t connections;       // connections of the client role that have ended
    DbusMethodNode* abandoned;  // ended calls that could not be unlinked in time

    // A leaf lock, held briefly.
    pthread_mutex_t lock;
    pthread_cond_t changed;  // `phase` or `healing`
    pthread_cond_t room;     // the next caller may try to write
    bool heals;              // made by Dbus_Client_Connect
    bool healing;            // a caller is reconnecting
    bool looking_for_room;   // a caller polls the connection
    bool left_open;          // the method thread will close client_fd; nobody else may
};

// Adds a user to the record's state, creating it if necessary. Null when out of memory.
State* enter_state(DbusInfo* info);

// For a library thread started with the record: takes over the reference reserved for it, or adds
// one.
State* adopt_state(DbusInfo* info, bool State::*started);

// Adds a user to a state that the caller already uses.
void join_state(State* state);
void leave_state(State* state);

// The two halves of leave_state, for callers that hold the state's lock. After true, the record
// must not be touched and the caller must dispose of the state.
bool is_last_to_leave(State* state);
void dispose_state(State* state);

// Adds a user; null when the record has no state.
State* use_state(const DbusInfo* info);

// Frees the record and its entries now, or when the last user of its state leaves.
void release_record(DbusInfo* info);

bool get_flag(const bool* flag);
void set_flag(bool* flag, bool value);
bool swap_flag(bool* flag, bool value);  // returns the old value

}  // namespace quon::dbus

#endif
