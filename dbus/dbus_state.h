// What the library keeps about a registration beside its record, DbusInfo.
//
// Each thread of the library that looks at the record is a user of its state, and so is a
// registration until Dbus_UnRegister. The last user releases what nobody else may touch any more:
// the record's mutex after Dbus_UnRegister, and the record itself after DbusInfo_Free.
#ifndef DBUS_STATE_H
#define DBUS_STATE_H

#include <pthread.h>
#include <stdint.h>

#include "dbus_aside.h"
#include "dbus_socket_common.h"

namespace quon::dbus {

// Of the client role.
enum ClientPhase : int32_t {
    kClientIdle = 0,
    kClientReading = 1,
    kClientReconnecting = 2,  // from before the registration's mutex is taken for it until after
    kClientEnded = 3,         // the method thread is ending: no result can come
    kClientGone = 4,          // it touches the registration no more
};

struct State {
    Aside aside;
    DbusInfo* info;

    // Atomic.
    bool registered;            // the registration itself is a user
    bool unregistered;          // the last user destroys the mutex
    bool released;              // the last user frees the record
    bool listener_started;      // a use is waiting for the listen thread
    bool method_started;        // a use is waiting for the method thread
    int32_t phase;              // ClientPhase; changes under `lock`
    int32_t stop;               // not 0: the method thread is to end
    int32_t entering;           // callers on their way to the registration's mutex
    int32_t room_waiters;       // callers that wait for their turn to write
    uint32_t connections;       // that the client role has had until now, by their ends
    DbusMethodNode* abandoned;  // ended calls that could not leave method_list in time

    // A leaf, held for moments only.
    pthread_mutex_t lock;
    pthread_cond_t changed;  // `phase` or `healing`
    pthread_cond_t room;     // the next caller may try to write
    bool heals;              // made by Dbus_Client_Connect
    bool healing;            // a caller is connecting anew
    bool looking_for_room;   // a caller polls the connection
    bool left_open;          // the method thread closes client_fd, nobody else may
};

// The state of a record, with one user more; made when there is none. Null without memory.
State* enter_state(DbusInfo* info);

// For a thread of the library that has been started with the record: takes over the use that
// waits for it, or enters.
State* adopt_state(DbusInfo* info, bool State::*started);

// One user more of a state that the caller uses.
void join_state(State* state);
void leave_state(State* state);

// The two halves of leave_state, for who leaves under the state's lock. After true the record is
// not to be touched, and the caller is to dispose of the state.
bool is_last_to_leave(State* state);
void dispose_state(State* state);

// With one user more; null when nobody uses one.
State* use_state(const DbusInfo* info);

// Frees the record and its entries, at once or by the last user of its state.
void release_record(DbusInfo* info);

bool get_flag(const bool* flag);
void set_flag(bool* flag, bool value);
bool swap_flag(bool* flag, bool value);  // what it was

}  // namespace quon::dbus

#endif
