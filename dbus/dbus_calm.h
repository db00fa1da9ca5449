// Gives memory back when a storm of peers or messages is over.
#ifndef DBUS_CALM_H
#define DBUS_CALM_H

namespace quon::dbus {

// Bracket the life of each connection, and of each message from its reading until its result is
// sent. Each of them takes a thread for a while.
// sent. Each means a thread for a while.
void load_begins();
void load_ends();

}  // namespace quon::dbus

#endif
