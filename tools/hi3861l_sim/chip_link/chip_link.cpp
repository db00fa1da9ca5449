#include "chip_link.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>

#include "chip_link_protocol.h"
#include "hichannel_host.h"

namespace {

constexpr int kSocketLimit = 16;
constexpr int kBufferSize = 4 * 1024 * 1024;
constexpr long kReconnectPauseMs = 50;

struct link_socket {
    std::atomic<int> fd_plus_one{0};  // 0: free
    std::atomic<uint32_t> port{0};    // 0: not bound
};

constinit link_socket sockets[kSocketLimit];
// Protects the table and the replacement of a descriptor's connection. Nothing blocks while it is
// held.
constinit pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

int fail(int error) {
    errno = error;
    return -1;
}

link_socket* find(int fd) {
    for (link_socket& entry : sockets) {
        if (fd >= 0 && entry.fd_plus_one.load(std::memory_order_acquire) == fd + 1) {
            return &entry;
        }
    }
    return nullptr;
}

const char* simulator_path() {
    const char* path = getenv(kChipLinkSocketVariable);
    return path != nullptr && *path != '\0' ? path : kChipLinkDefaultSocket;
}

// No thread may be cancelled while it holds the lock.
class uncancelled_lock {
  public:
    uncancelled_lock() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_);
        pthread_mutex_lock(&lock);
    }
    ~uncancelled_lock() {
        pthread_mutex_unlock(&lock);
        pthread_setcancelstate(state_, nullptr);
    }
    uncancelled_lock(const uncancelled_lock&) = delete;
    uncancelled_lock& operator=(const uncancelled_lock&) = delete;

  private:
    int state_ = 0;
};

// Opens a non-blocking connection to the simulator, or returns -1.
int connect_to_simulator() {
    const char* path = simulator_path();
    sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    const size_t length = strlen(path);
    if (length >= sizeof address.sun_path) {
        return fail(ENAMETOOLONG);
    }
    memcpy(address.sun_path, path, length);
    const int fd =
        chip_link_next()->socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        chip_link_next()->close(fd);
        return fail(error);
    }
    chip_link_next()->setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kBufferSize, sizeof kBufferSize);
    return fd;
}

int bind_port(int fd, uint32_t port) {
    sockaddr_un name;
    const socklen_t length = chip_link_port_name(&name, port, simulator_path());
    return chip_link_next()->bind(fd, reinterpret_cast<const sockaddr*>(&name), length);
}

// False once the simulator has gone and everything that it sent has been read.
bool connected(int fd) {
    char byte = 0;
    ssize_t size = -1;
    do {
        size = chip_link_next()->recvfrom(fd, &byte, sizeof byte,
                                          MSG_PEEK | MSG_DONTWAIT | MSG_TRUNC, nullptr, nullptr);
    } while (size < 0 && (errno == ECONNRESET || errno == EINTR));
    return size > 0 || (size < 0 && errno == EAGAIN);
}

void carry_over(int from, int to) {
    for (const int name : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        timeval value;
        socklen_t size = sizeof value;
        if (getsockopt(from, SOL_SOCKET, name, &value, &size) == 0) {
            chip_link_next()->setsockopt(to, SOL_SOCKET, name, &value, size);
        }
    }
    (void)fcntl(to, F_SETFL, fcntl(from, F_GETFL));
}

// Replaces the connection under the same descriptor number.
bool replace_connection(int fd, uint32_t port) {
    const int fresh = connect_to_simulator();
    if (fresh < 0) {
        return false;
    }
    carry_over(fd, fresh);
    const int close_on_exec = (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0 ? O_CLOEXEC : 0;
    const bool replaced = dup3(fresh, fd, close_on_exec) == fd;
    chip_link_next()->close(fresh);
    if (replaced && port != 0 && bind_port(fd, port) != 0) {
        (void)shutdown(fd, SHUT_RDWR);  // another process has taken the port: stay unconnected
        return false;
    }
    return replaced;
}

bool reconnect(int fd) {
    const uncancelled_lock guard;
    const link_socket* entry = find(fd);
    if (entry == nullptr) {
        return false;
    }
    return connected(fd) || replace_connection(fd, entry->port.load(std::memory_order_relaxed));
}

bool remember(int fd) {
    const uncancelled_lock guard;
    for (link_socket& entry : sockets) {
        if (entry.fd_plus_one.load(std::memory_order_relaxed) == 0) {
            entry.port.store(0, std::memory_order_relaxed);
            entry.fd_plus_one.store(fd + 1, std::memory_order_release);
            return true;
        }
    }
    return false;
}

void forget(int fd) {
    const uncancelled_lock guard;
    link_socket* entry = find(fd);
    if (entry != nullptr) {
        entry->fd_plus_one.store(0, std::memory_order_release);
    }
}

void clear_flag(int fd, int get, int set, int flag) {
    (void)fcntl(fd, set, fcntl(fd, get) & ~flag);
}

void write_address(uint32_t port, sockaddr* address, socklen_t* length) {
    if (address == nullptr || length == nullptr) {
        return;
    }
    sockaddr_nl source;
    memset(&source, 0, sizeof source);
    source.nl_family = AF_NETLINK;
    source.nl_pid = port;
    memcpy(address, &source, *length < sizeof source ? *length : sizeof source);
    *length = sizeof source;
}

// 0, or the error that the kernel would give for this destination.
int destination_error(const sockaddr* to, socklen_t length) {
    if (to == nullptr) {
        return 0;
    }
    sockaddr_nl address;
    if (length < sizeof address) {
        return EINVAL;
    }
    memcpy(&address, to, sizeof address);
    if (address.nl_family != AF_NETLINK) {
        return EINVAL;
    }
    return address.nl_pid == HI_CHANNEL_KERNEL_PORT ? 0 : ECONNREFUSED;
}

bool is_lost_connection(int error) {
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN || error == ECONNREFUSED;
}

void pause_ms(long ms) {
    const timespec pause = {0, ms * 1000000};
    (void)nanosleep(&pause, nullptr);  // a cancellation point
}

long receive_timeout_ms(int fd) {
    timeval value = {};
    socklen_t size = sizeof value;
    if (getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &value, &size) != 0) {
        return 0;
    }
    return static_cast<long>(value.tv_sec * 1000 + value.tv_usec / 1000);
}

// Waits for the simulator to return. Returns false if the caller's time-out passes first.
bool wait_for_simulator(int fd, int flags) {
    const bool wait = (flags & MSG_DONTWAIT) == 0 && (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0;
    const long limit = receive_timeout_ms(fd);
    for (long waited = 0; !reconnect(fd); waited += kReconnectPauseMs) {
        if (waited != 0 && (!wait || (limit > 0 && waited >= limit))) {
            return false;
        }
        pause_ms(kReconnectPauseMs);
    }
    return true;
}

}  // namespace

bool chip_link_owns(int fd) {
    return find(fd) != nullptr;
}

int chip_link_socket(int domain, int type, int protocol) {
    if (domain != AF_NETLINK || protocol != HI_CHANNEL_NETLINK_PROTOCOL) {
        return chip_link_next()->socket(domain, type, protocol);
    }
    const int kind = type & ~(SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (kind != SOCK_RAW && kind != SOCK_DGRAM) {
        return fail(ESOCKTNOSUPPORT);
    }
    const int fd = connect_to_simulator();
    if (fd < 0) {
        return fail(errno == EMFILE || errno == ENFILE ? errno : EPROTONOSUPPORT);
    }
    if (!remember(fd)) {
        chip_link_next()->close(fd);
        return fail(ENFILE);
    }
    if ((type & SOCK_NONBLOCK) == 0) {
        clear_flag(fd, F_GETFL, F_SETFL, O_NONBLOCK);
    }
    if ((type & SOCK_CLOEXEC) == 0) {
        clear_flag(fd, F_GETFD, F_SETFD, FD_CLOEXEC);
    }
    return fd;
}

int chip_link_bind(int fd, const sockaddr* address, socklen_t length) {
    link_socket* entry = find(fd);
    if (entry == nullptr) {
        return chip_link_next()->bind(fd, address, length);
    }
    sockaddr_nl wanted;
    if (address == nullptr || length < sizeof wanted) {
        return fail(EINVAL);
    }
    memcpy(&wanted, address, sizeof wanted);
    const uint32_t port = wanted.nl_pid != 0 ? wanted.nl_pid : static_cast<uint32_t>(getpid());
    if (wanted.nl_family != AF_NETLINK || entry->port.load(std::memory_order_relaxed) != 0) {
        return fail(EINVAL);
    }
    if (bind_port(fd, port) != 0) {
        return -1;
    }
    entry->port.store(port, std::memory_order_relaxed);
    return 0;
}

ssize_t chip_link_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* to,
                         socklen_t length) {
    if (find(fd) == nullptr) {
        return chip_link_next()->sendto(fd, data, size, flags, to, length);
    }
    const int error = destination_error(to, length);
    if (error != 0) {
        return fail(error);
    }
    // Tries again if the simulator has returned or another thread has reconnected.
    for (int attempt = 0; attempt < 2; attempt++) {
        const ssize_t sent =
            chip_link_next()->sendto(fd, data, size, flags | MSG_NOSIGNAL, nullptr, 0);
        if (sent >= 0 || !is_lost_connection(errno)) {
            return sent;
        }
        if (!connected(fd) && !reconnect(fd)) {
            break;
        }
    }
    return fail(ECONNREFUSED);
}

ssize_t chip_link_recvfrom(int fd, void* data, size_t size, int flags, sockaddr* from,
                           socklen_t* length) {
    if (find(fd) == nullptr) {
        return chip_link_next()->recvfrom(fd, data, size, flags, from, length);
    }
    for (;;) {
        // With MSG_TRUNC a message counts with its full length, so 0 can only mean a lost
        // connection.
        const ssize_t received =
            chip_link_next()->recvfrom(fd, data, size, flags | MSG_TRUNC, nullptr, nullptr);
        if (received > 0) {
            write_address(HI_CHANNEL_KERNEL_PORT, from, length);
            const bool whole = (flags & MSG_TRUNC) != 0 || static_cast<size_t>(received) <= size;
            return whole ? received : static_cast<ssize_t>(size);
        }
        const bool lost = received == 0 || errno == ENOTCONN;
        if (!lost && errno != ECONNRESET) {
            return received;
        }
        if (find(fd) == nullptr) {
            return fail(EBADF);
        }
        if (lost && !wait_for_simulator(fd, flags)) {
            return fail(EAGAIN);
        }
    }
}

int chip_link_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
    if (level != SOL_NETLINK || find(fd) == nullptr) {
        return chip_link_next()->setsockopt(fd, level, name, value, size);
    }
    if (value == nullptr || size < static_cast<socklen_t>(sizeof(int))) {
        return fail(EINVAL);
    }
    return name == NETLINK_NO_ENOBUFS || name == NETLINK_BROADCAST_ERROR || name == NETLINK_PKTINFO
               ? 0
               : fail(ENOPROTOOPT);
}

int chip_link_getsockname(int fd, sockaddr* address, socklen_t* length) {
    const link_socket* entry = find(fd);
    if (entry == nullptr) {
        return chip_link_next()->getsockname(fd, address, length);
    }
    write_address(entry->port.load(std::memory_order_relaxed), address, length);
    return 0;
}

int chip_link_close(int fd) {
    if (find(fd) != nullptr) {
        forget(fd);
    }
    return chip_link_next()->close(fd);
}
