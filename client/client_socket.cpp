// Takes over the remote wake-up's connection from the daemon.
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "client_calls.h"
#include "quon_clock.h"
#include "quon_mcu_client.h"
#include "securec.h"
#include "websocket.h"

namespace quon::typed {

namespace {

constexpr uint8_t kHandedOver = 1;  // first byte of the message

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

  private:
    int fd_;
};

bool is_path(const char* path) {
    constexpr size_t kRoom = sizeof(sockaddr_un::sun_path);
    return path != nullptr && path[0] != '\0' && strnlen(path, kRoom) < kRoom;
}

bool connect_locally(int fd, const char* path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (void)memcpy_s(address.sun_path, sizeof(address.sun_path), path, strlen(path));
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

bool send_request(int fd, const in_addr& ip, uint16_t port) {
    uint8_t request[WS_REQUEST_SIZE] = {WS_COMMAND_CONNECT};
    (void)memcpy_s(request + 1, sizeof(ip), &ip, sizeof(ip));
    (void)memcpy_s(request + 1 + sizeof(ip), sizeof(port), &port, sizeof(port));
    return send(fd, request, sizeof(request), MSG_NOSIGNAL) == sizeof(request);
}

// The daemon repeats its peer's last request when the peer closes. Ending with a drop request keeps
// it from connecting again for nobody.
void send_drop(int fd) {
    const uint8_t request = WS_COMMAND_DROP;
    (void)!send(fd, &request, sizeof(request), MSG_NOSIGNAL);
}

bool wait_readable(int fd, int32_t timeout_ms) {
    const int64_t deadline = quon_clock_ms64() + timeout_ms;
    pollfd entry = {fd, POLLIN, 0};
    int ready = 0;
    do {
        const int64_t left = std::max(deadline - quon_clock_ms64(), int64_t{0});
        ready = poll(&entry, 1, static_cast<int>(left));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

int descriptor_in(const msghdr& message) {
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS ||
        header->cmsg_len != CMSG_LEN(sizeof(int))) {
        return -1;
    }
    int fd = -1;
    (void)memcpy_s(&fd, sizeof(fd), CMSG_DATA(header), sizeof(fd));
    return fd;
}

bool is_connected(int fd) {
    sockaddr_storage peer;
    socklen_t length = sizeof(peer);
    return getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0;
}

int receive_connection(int local) {
    uint8_t data[WS_HANDOVER_SIZE] = {};
    iovec block = {data, sizeof(data)};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const ssize_t got = recvmsg(local, &message, MSG_CMSG_CLOEXEC);
    if (got <= 0) {
        return QUON_MCU_NO_CONNECTION;
    }
    Descriptor remote(descriptor_in(message));
    if (got != sizeof(data) || data[0] != kHandedOver || remote.get() < 0) {
        return QUON_MCU_MALFORMED;
    }
    if (!is_connected(remote.get())) {
        return QUON_MCU_FAILED;
    }
    (void)fcntl(remote.get(), F_SETFL, 0);  // the daemon's descriptor is non-blocking
    return remote.release();
}

}  // namespace

}  // namespace quon::typed

using namespace quon::typed;

int quon_mcu_client_take_socket(const char* ip, uint16_t port, int32_t timeout_ms) {
    return quon_mcu_client_take_socket_at(WS_SOCKET_PATH, ip, port, timeout_ms);
}

int quon_mcu_client_take_socket_at(const char* path, const char* ip, uint16_t port,
                                   int32_t timeout_ms) {
    in_addr address = {};
    if (!is_path(path) || ip == nullptr || inet_pton(AF_INET, ip, &address) != 1 || port == 0 ||
        timeout_ms < 0) {
        return QUON_MCU_INVALID;
    }
    const Descriptor local(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (local.get() < 0) {
        return QUON_MCU_NO_MEMORY;
    }
    if (!connect_locally(local.get(), path) || !send_request(local.get(), address, port)) {
        return QUON_MCU_NO_CONNECTION;
    }
    const int taken =
        wait_readable(local.get(), timeout_ms) ? receive_connection(local.get()) : QUON_MCU_TIMEOUT;
    send_drop(local.get());
    return taken;
}
