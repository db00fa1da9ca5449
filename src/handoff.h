// The record shared by the files of the hand-off; only the hand-off thread uses it.
#ifndef HANDOFF_H
#define HANDOFF_H

#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quon::handoff {

inline constexpr size_t kReceiveSize = 128;

enum class connection_state {
    idle = 0,
    requested = 1,
    connecting = 2,
    connected = 3,
};

struct target_address {
    uint32_t ip;    // network byte order
    uint16_t port;  // host byte order
};

struct handoff {
    int listen_fd;
    int client_fd;  // the local peer, -1: none
    int remote_fd;  // -1: none
    target_address target;
    connection_state state;
    uint32_t connect_start_ms;
    bool pending;  // hand the remote socket over once it is connected
    socklen_t accept_length;
    uint8_t request[kReceiveSize];  // never cleared between receives: intended

    // The sets given to select in one pass, and its results.
    fd_set readable;
    fd_set writable;
    int highest_fd;
};

// A descriptor too large for a select set is closed and treated as a failure. Returns fd or -1.
inline int fit_for_select(int fd) {
    if (fd >= FD_SETSIZE) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace quon::handoff

#endif
