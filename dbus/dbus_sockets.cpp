#include "dbus_sockets.h"

#include <fcntl.h>
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
// How long one attempt waits for a server that listens but whose queue is full. Without a bound
// such a server (a stopped process) would hold the caller for ever.
constexpr suseconds_t kBriefWaitUs = 1'000;
constexpr suseconds_t kPatientWaitUs = 999'999;

// Room for a record: the kernel doubles the value. A write of up to half of the doubled size goes
// into one kernel buffer, so that a record is taken whole or (EAGAIN) not at all, whatever is
// queued already. Readiness for writing is reported once less than a quarter is in use.
constexpr int kSendBuffer = 64 * 1024;

bool attempt(int fd, const sockaddr_un& address, suseconds_t wait_us) {
    const timeval bound{0, wait_us};
    const timeval none{0, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof(bound));
    const bool connected =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &none, sizeof(none));
    return connected;
}

}  // namespace

int open_socket() {
    return prepare_socket(quon_socket(AF_UNIX, SOCK_STREAM, 0));
}

int prepare_socket(int fd) {
    if (fd >= 0) {
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
    }
    return fd;
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
        if (attempt(fd, address, kBriefWaitUs)) {
            return true;
        }
        if (!pause(context)) {
            break;
        }
    }
    return false;
}

bool connect_once(int fd, const sockaddr_un& address) {
    return attempt(fd, address, kPatientWaitUs);
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
