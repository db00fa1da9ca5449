// The local socket and the one peer on it, who gets the connection to the server.
#ifndef LOCAL_PEER_H
#define LOCAL_PEER_H

#include "handoff.h"

namespace quon::handoff {

enum class next_step { remote_check, next_pass };

// Binds and listens. Returns the socket, or -1 with a line.
int open_local_server();

// Waits for nothing: a new peer is accepted, or a request read and acted on.
next_step serve_local_sockets(handoff& ws);

// Passes the remote socket to the peer and closes this side's copy, whether or not the peer took
// it. `step` goes into the line.
void hand_over(handoff& ws, const char* step);

}  // namespace quon::handoff

#endif
