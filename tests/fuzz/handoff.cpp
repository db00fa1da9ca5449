// Local peers of the hand-off thread and their requests, with a network whose connections come up,
// fail or take long as the input says. The thread is the real one and runs in lock step: it
// continues when it is allowed to select, and ends with the input.
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "harness.h"
#include "websocket.h"

extern "C" {
int __real_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
int __real_bind(int fd, const sockaddr* address, socklen_t size);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_accept4(int fd, sockaddr* address, socklen_t* size, int flags);
int __real_unlink(const char* path);
int __real_getsockopt(int fd, int level, int option, void* value, socklen_t* size);
int __real_clock_gettime(clockid_t clock, timespec* time);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
int __real_pthread_detach(pthread_t thread);
}

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a socket was handed over",
    "a peer came",
    "a peer was replaced",
    "a peer left",
    "a request was sent",
    "a connect failed",
    "a connect took long",
    "a peer has a long name",
    "the start wanted a connection",
};

constexpr int kMostSteps = 64;
constexpr socklen_t kLongestName = 111;  // the kernel's length for a path of 108 bytes

struct World {
    pthread_t thread{};
    sem_t may_select{};    // posted when the thread may continue
    sem_t is_selecting{};  // posted when it is about to select
    bool starts = false;
    bool ends = false;
    int listener = -1;
    int peer = -1;
    std::uint8_t connect_outcome = 0;
    std::uint8_t socket_error = 0;
    bool long_name = false;
    std::uint32_t later_ms = 0;
    int network_answers = 0;
};

World world;
thread_local bool is_handoff_thread = false;

int network_status(int* updated) {
    *updated = world.network_answers % 2;
    return world.network_answers % 3;
}

// Until the thread selects again.
void pass() {
    sem_post(&world.may_select);
    sem_wait(&world.is_selecting);
}

void connect_peer() {
    sockaddr_un address{};
    socklen_t size = sizeof(address);
    if (getsockname(world.listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return;
    }
    if (world.peer >= 0) {
        saw("a peer was replaced");
        close(world.peer);
    }
    world.peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(__real_connect(world.peer, reinterpret_cast<sockaddr*>(&address), size) == 0,
            "the hand-off listens");
    saw("a peer came");
}

// What the peer must have received: eight bytes, the first of them 1, with one descriptor.
void receive_all() {
    std::uint8_t data[64];
    alignas(cmsghdr) char control[CMSG_SPACE(4 * sizeof(int))];
    iovec block = {data, sizeof(data)};
    for (;;) {
        msghdr message{};
        message.msg_iov = &block;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        const ssize_t got = recvmsg(world.peer, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
        const cmsghdr* header = got > 0 ? CMSG_FIRSTHDR(&message) : nullptr;
        if (got <= 0) {
            return;
        }
        require(header != nullptr && header->cmsg_type == SCM_RIGHTS &&
                    header->cmsg_len == CMSG_LEN(sizeof(int)),
                "a hand-over has one descriptor");
        require(got == WS_HANDOVER_SIZE && data[0] == 1, "a hand-over has its eight bytes");
        int fd = -1;
        std::memcpy(&fd, CMSG_DATA(header), sizeof(fd));
        close(fd);
        saw("a socket was handed over");
    }
}

void send_request(Input& input) {
    const Bytes request = input.piece();
    if (world.peer >= 0 && !request.empty()) {
        (void)send(world.peer, request.data(), request.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        saw("a request was sent");
    }
}

void step(Input& input) {
    switch (input.byte() % 6) {
        case 0:
            world.long_name = (input.byte() & 1) != 0;
            connect_peer();
            break;
        case 1:
            send_request(input);
            break;
        case 2:
            if (world.peer >= 0) {
                close(world.peer);
                world.peer = -1;
                saw("a peer left");
            }
            break;
        case 3:
            world.connect_outcome = input.byte();
            world.socket_error = input.byte();
            break;
        case 4:
            world.later_ms += input.number(2);
            break;
        default:
            break;
    }
    pass();
    if (world.peer >= 0) {
        receive_all();
    }
}

ws_preinit_param start_record(Input& input) {
    ws_preinit_param param{};
    param.remote_wakeup = input.byte() & 1;
    param.server_ip = input.number(4);
    param.server_port = static_cast<std::uint16_t>(input.number(2));
    world.network_answers = input.byte();
    param.get_ip_update_status = network_status;
    if (param.remote_wakeup != 0 && param.server_ip != 0 && param.server_port != 0) {
        saw("the start wanted a connection");
    }
    return param;
}

// The thread closes nothing when it ends: intended, because its process ends too. It and its peers
// open only sockets; any other new descriptors belong to the fuzzer.
void close_sockets_above(int first) {
    DIR* const all = opendir("/proc/self/fd");
    require(all != nullptr, "descriptors can be listed");
    while (const dirent* entry = readdir(all)) {
        const int fd = std::atoi(entry->d_name);
        struct stat status {};
        if (fd > first && fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode)) {
            close(fd);
        }
    }
    closedir(all);
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    const int first = open("/dev/null", O_RDONLY | O_CLOEXEC);
    world = World{};
    sem_init(&world.may_select, 0, 0);
    sem_init(&world.is_selecting, 0, 0);
    const ws_preinit_param param = start_record(input);
    world.starts = true;
    require(websocket_local_server_init(&param) == 0, "the thread starts");
    world.starts = false;
    sem_wait(&world.is_selecting);
    for (int i = 0; i < kMostSteps && !input.empty(); i++) {
        step(input);
    }
    world.ends = true;
    sem_post(&world.may_select);
    pthread_join(world.thread, nullptr);
    sem_destroy(&world.may_select);
    sem_destroy(&world.is_selecting);
    close_sockets_above(first);
    close(first);
}

}  // namespace quon::fuzz

using quon::fuzz::is_handoff_thread;
using quon::fuzz::saw;
using quon::fuzz::world;

extern "C" {

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    const int result = __real_pthread_create(thread, attributes, function, argument);
    if (world.starts) {
        world.thread = *thread;
    }
    return result;
}

int __wrap_pthread_detach(pthread_t thread) {
    return pthread_equal(thread, world.thread) != 0 ? 0 : __real_pthread_detach(thread);
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed,
                  timeval* /*timeout*/) {
    is_handoff_thread = true;
    sem_post(&world.is_selecting);
    sem_wait(&world.may_select);
    if (world.ends) {
        return -1;
    }
    timeval none{0, 0};
    return __real_select(count, readable, writable, failed, &none);
}

// The kernel chooses an address that nobody else knows.
int __wrap_bind(int fd, const sockaddr* address, socklen_t /*size*/) {
    world.listener = fd;
    return __real_bind(fd, address, sizeof(address->sa_family));
}

int __wrap_unlink(const char* path) {
    return std::strcmp(path, WS_SOCKET_PATH) == 0 ? 0 : __real_unlink(path);
}

// As the kernel does for a peer bound to a path of 108 bytes.
int __wrap_accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    const socklen_t room = *size;
    const int result = __real_accept4(fd, address, size, flags);
    if (result >= 0 && world.long_name) {
        saw("a peer has a long name");
        std::memset(address, 'n', std::min(room, quon::fuzz::kLongestName));
        *size = quon::fuzz::kLongestName;
    }
    return result;
}

// No packet leaves the machine.
int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
    if (address->sa_family != AF_INET) {
        return __real_connect(fd, address, size);
    }
    if (fd < 0) {
        errno = EBADF;
        return -1;
    }
    constexpr int kErrors[] = {0, EINPROGRESS, ECONNREFUSED, ENETUNREACH};
    errno = kErrors[world.connect_outcome % std::size(kErrors)];
    if (errno == EINPROGRESS) {
        saw("a connect took long");
    } else if (errno != 0) {
        saw("a connect failed");
    }
    return errno == 0 ? 0 : -1;
}

int __wrap_getsockopt(int fd, int level, int option, void* value, socklen_t* size) {
    const int result = __real_getsockopt(fd, level, option, value, size);
    if (result == 0 && option == SO_ERROR && world.socket_error % 4 == 3) {
        const int error = world.socket_error;
        std::memcpy(value, &error, sizeof(error));
    }
    return result;
}

int __wrap_usleep(useconds_t /*microseconds*/) {
    return 0;
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    const int result = __real_clock_gettime(clock, time);
    if (is_handoff_thread) {
        time->tv_sec += world.later_ms / 1000;
    }
    return result;
}

void __wrap_perror(const char* /*text*/) {}
}
