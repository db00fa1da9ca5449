// The local socket and its single peer, which receives the connection to the server.
#ifndef LOCAL_PEER_H
#define LOCAL_PEER_H

#include "handoff.h"

namespace quon::handoff {

enum class next_step { remote_check, next_pass };

// Binds and listens. Returns the socket, or -1 after logging why.
int open_local_server();

// Never blocks: accepts a new peer, or reads a request and acts on it.
next_step serve_local_sockets(handoff& ws);

// Passes the remote socket to the peer and closes the daemon's copy, whether or not the peer took
// it. `step` appears in the log line.
void hand_over(handoff& ws, const char* step);

}  // namespace quon::handoff

#endif
