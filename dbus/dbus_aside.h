// The records of the public header have exactly the fields that callers know. What the library
// keeps for itself about one of them stands aside and is found by the record's address.
//
// Any thread may call these; the table's lock is a leaf, held for one look.
#ifndef DBUS_ASIDE_H
#define DBUS_ASIDE_H

#include <stdint.h>

namespace quon::dbus {

// First member of what stands aside.
struct Aside {
    const void* record;
    Aside* next;
    uint32_t users;
};

// With its first user.
void put_aside(Aside* aside, const void* record);

// With one user more; null when nothing stands aside for the record.
Aside* join_aside(const void* record);

// For what has one user, who takes it: it stands aside no more.
Aside* take_aside(const void* record);

// True for the last user: it stands aside no more. Before that, `let_go` is called, which takes no
// lock: whoever does not find it any more may free the record at once.
bool leave_aside(Aside* aside, void (*let_go)(Aside*));

}  // namespace quon::dbus

#endif
