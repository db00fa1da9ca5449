// The pending calls of a client role: its method_list.
//
// The registration's mutex protects the list, each call's own lock its result. The mutex is taken
// first.
#ifndef DBUS_PENDING_CALLS_H
#define DBUS_PENDING_CALLS_H

#include "dbus_socket_common.h"

namespace quon::dbus {

// Creates a zeroed call with `request_msg` set, on no list; null when out of memory.
DbusMethodNode* make_call();

// Frees a call that is on no list, with its request and its result.
void free_call(DbusMethodNode* call);

// The number of the connection that a call from make_call was sent on.
void note_connection(DbusMethodNode* call, uint32_t number);
uint32_t connection_of(const DbusMethodNode* call);

// Both with the mutex held. Unlinking a call that is on no list does nothing.
void link_call(DbusInfo* info, DbusMethodNode* call);
void unlink_call(DbusInfo* info, const DbusMethodNode* call);

// Leaves an ended call from make_call to the next holder of the mutex. Takes no lock.
void abandon_call(DbusMethodNode** abandoned, DbusMethodNode* call);

// Unlinks and frees abandoned calls. With the mutex held, or with no other user of the
// registration.
void release_abandoned(DbusInfo* info, DbusMethodNode** abandoned);

// The first call in the list that `result` answers, or null. With the mutex held.
DbusMethodNode* find_call(DbusInfo* info, const DbusMsg* result);

// Wakes the call's waiter. With the mutex held.
void wake_call(DbusMethodNode* call);
void wake_all_calls(DbusInfo* info);

}  // namespace quon::dbus

#endif
