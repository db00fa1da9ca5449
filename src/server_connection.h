// The TCP connection to the remote server, until it is handed over.
#ifndef SERVER_CONNECTION_H
#define SERVER_CONNECTION_H

#include "handoff.h"

namespace quon::handoff {

// Connects to the target with a new socket, in place of the one before; does not block. Leaves the
// state connected, connecting, or idle with a line.
void start_connect(handoff& ws);

// Puts a connection under way into the write set, or gives it up when its time is over.
void watch_connect(handoff& ws);

// Whether a socket that select found writable is connected. Reading a socket's error clears it: a
// refused connection counts as up at its next check, and whoever gets the dead socket learns at
// once. Intended.
bool connection_is_up(const handoff& ws);

// Closes this side's copy of the socket.
void drop_remote(handoff& ws);

}  // namespace quon::handoff

#endif
