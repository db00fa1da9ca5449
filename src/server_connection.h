// The TCP connection to the remote server, until it is handed over.
#ifndef SERVER_CONNECTION_H
#define SERVER_CONNECTION_H

#include "handoff.h"

namespace quon::handoff {

// Starts a non-blocking connect to the target with a new socket, replacing any earlier one. The
// resulting state is connected, connecting, or idle after logging why.
void start_connect(handoff& ws);

// Adds a pending connection to the write set, or gives it up when its time is over.
void watch_connect(handoff& ws);

// Whether a socket that select reports writable is connected. Reading a socket's error clears it,
// so a refused connection counts as connected at its next check, and the program that gets the dead
// socket notices at once. Intended.
bool connection_is_up(const handoff& ws);

// Closes the daemon's copy of the socket.
void drop_remote(handoff& ws);

}  // namespace quon::handoff

#endif
