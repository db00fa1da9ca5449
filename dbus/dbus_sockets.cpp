#include "dbus_sockets.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "dbus_socket_common.h"
#include "quon_descriptor.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr int kConnectAttempts = 100;
constexpr useconds_t kConnectPauseUs = 50'000;
// How long one attempt waits for a listening server whose queue is full. Without a limit such a
// server (a stopped process) would block the caller for ever.
constexpr suseconds_t kFullQueueUs = 1'000;

// Buffer space for a record; the kernel doubles the value. A write of up to half the doubled size
// goes into one kernel buffer, so a record is taken whole or (EAGAIN) not at all, however much is
// already queued. The socket becomes writable once less than a quarter is in use.
constexpr int kLeastSendBuffer = 64 * 1024;

int with_room_for_records(int fd) {
    int size = 0;
    socklen_t length = sizeof(size);
    if (fd >= 0 && getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length) == 0 &&
        size < 2 * kLeastSendBuffer) {
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kLeastSendBuffer, sizeof(kLeastSendBuffer));
    }
    return fd;
}

bool attempt(int fd, const sockaddr_un& address) {
    const timeval bound{0, kFullQueueUs};
    const timeval none{0, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof(bound));
    const bool connected =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    const int error = errno;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &none, sizeof(none));
    errno = error;
    return connected;
}

}  // namespace

int open_socket() {
    return with_room_for_records(quon_socket(AF_UNIX, SOCK_STREAM, 0));
}

int accept_socket(int listener) {
    sockaddr_un peer;
    socklen_t length = sizeof(peer);
    return with_room_for_records(
        quon_accept(listener, reinterpret_cast<sockaddr*>(&peer), &length, 0));
}

void set_address(sockaddr_un* address, const char* path) {
    memset_s(address, sizeof(*address), 0, sizeof(*address));
    address->sun_family = AF_UNIX;
    snprintf_s(address->sun_path, sizeof(address->sun_path), sizeof(address->sun_path) - 1, "%s",
               path);
}

void set_address_of(sockaddr_un* address, const char* name) {
    char path[DBUS_PATH_SIZE];
    snprintf_s(path, sizeof(path), sizeof(path) - 1, DBUS_SOCKET_PATH_FORMAT, name);
    set_address(address, path);
}

bool connect_patiently(int fd, const sockaddr_un& address, PauseFunction pause, void* context) {
    for (int i = 0; i < kConnectAttempts; i++) {
        if (attempt(fd, address)) {
            return true;
        }
        if (!pause(context)) {
            break;
        }
    }
    return false;
}

bool connect_once(int fd, const sockaddr_un& address) {
    return attempt(fd, address);
}

bool connect_pause(void* /*context*/) {
    usleep(kConnectPauseUs);
    return true;
}

void wait_for_room(int fd, int bound_ms) {
    pollfd ready{fd, POLLOUT, 0};
    poll(&ready, 1, bound_ms);
}

}  // namespace quon::dbus
