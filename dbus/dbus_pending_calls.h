// The pending calls of a registration in the client role: its method_list.
//
// The list is under the registration's mutex, a call's result under the call's own lock. The mutex
// is taken first.
#ifndef DBUS_PENDING_CALLS_H
#define DBUS_PENDING_CALLS_H

#include "dbus_socket_common.h"

namespace quon::dbus {

// A cleared call with `request_msg` in place, on no list; null without memory.
DbusMethodNode* make_call();

// Frees a call that is on no list, its request and its result.
void free_call(DbusMethodNode* call);

// Which of the registration's connections a call made by make_call went out on.
void note_connection(DbusMethodNode* call, uint32_t number);
uint32_t connection_of(const DbusMethodNode* call);

// Both with the mutex held. A call that is on no list is unlinked already.
void link_call(DbusInfo* info, DbusMethodNode* call);
void unlink_call(DbusInfo* info, const DbusMethodNode* call);

// Leaves a call that has ended, made by make_call, to the next holder of the mutex. Takes no lock.
void abandon_call(DbusMethodNode** abandoned, DbusMethodNode* call);

// Unlinks and frees what was abandoned. With the mutex held, or with nobody else using the
// registration.
void release_abandoned(DbusInfo* info, DbusMethodNode** abandoned);

// The first call from the head that `result` answers, or null. With the mutex held.
DbusMethodNode* find_call(DbusInfo* info, const DbusMsg* result);

// Lets the call's waiter look again. With the mutex held.
void wake_call(DbusMethodNode* call);
void wake_all_calls(DbusInfo* info);

}  // namespace quon::dbus

#endif
