// The public header's records have exactly the fields that callers know. The library's own data
// about a record is kept in a table, under the record's address.
//
// Any thread may call these functions; the table's lock is a leaf, held for one lookup.
#ifndef DBUS_ASIDE_H
#define DBUS_ASIDE_H

#include <stdint.h>

namespace quon::dbus {

// Base of the data kept for a record.
struct Aside {
    const void* record;
    Aside* next;
    uint32_t users;
};

// Enters it for `record`, with one user.
void put_aside(Aside* aside, const void* record);

// Adds a user; null when the record has no entry.
Aside* join_aside(const void* record);

// Removes and returns an entry that has a single user.
Aside* take_aside(const void* record);

// Returns true for the last user, after removing the entry. `let_go` is called just before the
// removal and must take no lock: once the entry is gone, another thread may free the record.
bool leave_aside(Aside* aside, void (*let_go)(Aside*));

}  // namespace quon::dbus

#endif
