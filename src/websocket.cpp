#include "websocket.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "quon_clock.h"
#include "quon_descriptor.h"

namespace {

constexpr char THREAD_NAME[] = "webpreinit";
// Printed in place of the remote address when a connection is up: intended.
constexpr char SOURCE_NAME[] = "src/websocket.c";
constexpr int SOURCE_NUMBER = 2484;

constexpr int IP_WAIT_ATTEMPTS = 300;
constexpr useconds_t IP_WAIT_PAUSE_US = 10'000;
constexpr suseconds_t POLL_TIMEOUT_US = 20'000;
constexpr uint32_t CONNECT_TIMEOUT_MS = 6000;
constexpr int LISTEN_BACKLOG = 5;
constexpr size_t RECEIVE_SIZE = 128;

static_assert(sizeof(sockaddr_un) == 110);

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

// All that the thread knows; no other thread sees it.
struct handoff {
    int listen_fd;
    int client_fd;  // the local peer, -1: none
    int remote_fd;  // -1: none
    target_address target;
    connection_state state;
    uint32_t connect_start_ms;
    bool pending;  // hand the remote socket over as soon as it is connected
    socklen_t accept_length;
    uint8_t request[RECEIVE_SIZE];  // never cleared between receives: intended

    // What select is asked, and what it answers, in one pass.
    fd_set readable;
    fd_set writable;
    int highest_fd;
};

enum class next_step { remote_check, next_pass };

ws_preinit_param start_record;

// A descriptor that a select set has no room for counts as one that could not be had.
int fit_for_select(int fd) {
    if (fd >= FD_SETSIZE) {
        close(fd);
        return -1;
    }
    return fd;
}

void drop_remote(handoff& ws) {
    close(ws.remote_fd);
    ws.remote_fd = -1;
}

int open_local_server() {
    const int fd = fit_for_select(quon_socket(AF_UNIX, SOCK_STREAM, 0));
    if (fd < 0) {
        puts("socket failed.");
        return -1;
    }
    unlink(WS_SOCKET_PATH);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, WS_SOCKET_PATH, sizeof(WS_SOCKET_PATH));
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0) {
        printf("bind failed. errno = %d.\n", errno);
        close(fd);
        return -1;
    }
    (void)listen(fd, LISTEN_BACKLOG);
    return fd;
}

int open_remote_socket() {
    const int fd = fit_for_select(quon_socket(AF_INET, SOCK_STREAM, 0));
    if (fd < 0) {
        puts("socket failed.");
        return -1;
    }
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0) {
        puts("fcntl F_GETFL failed");
    }
    if (fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
        puts("fcntl F_SETFL failed");
    }
    return fd;
}

bool network_is_up(const ws_preinit_param& param) {
    int updated = 0;
    return param.get_ip_update_status(&updated) >= 1 && updated != 0;
}

bool wait_for_network(const ws_preinit_param& param) {
    for (int attempt = 1;; attempt++) {
        if (network_is_up(param)) {
            return true;
        }
        if (attempt == IP_WAIT_ATTEMPTS) {
            puts("websocket remote wakeup wait ip update timeout!");
            return false;
        }
        usleep(IP_WAIT_PAUSE_US);
    }
}

bool wants_connection(const ws_preinit_param& param) {
    return param.remote_wakeup != 0 && param.server_ip != 0 && param.server_port != 0 &&
           param.get_ip_update_status != nullptr;
}

void take_start_record(handoff& ws, const ws_preinit_param& param) {
    if (wants_connection(param) && wait_for_network(param)) {
        ws.target = {param.server_ip, param.server_port};
        ws.state = connection_state::requested;
    }
}

void collect_local_sockets(handoff& ws) {
    FD_ZERO(&ws.readable);
    FD_ZERO(&ws.writable);
    FD_SET(ws.listen_fd, &ws.readable);
    if (ws.client_fd > 0) {
        FD_SET(ws.client_fd, &ws.readable);
    }
    ws.highest_fd = std::max(ws.listen_fd, ws.client_fd);
}

// Returns 0 and sets `error`, or -1. Reading a socket's error clears it: a refused connection
// counts as up at its next check, and whoever gets the dead socket learns at once. Intended.
int take_socket_error(int fd, int* error) {
    socklen_t length = sizeof(*error);
    *error = 0;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, error, &length);
}

bool is_in_progress(int fd) {
    int error = 0;
    const int result = take_socket_error(fd, &error);
    return errno == EINPROGRESS || (result == 0 && error == EINPROGRESS);
}

void print_connect_failure(const target_address& target) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &target.ip, text, sizeof(text));
    printf("ws ls connect server %s:%d failed!\n", text, target.port);
}

void start_connect(handoff& ws) {
    if (ws.remote_fd > 0) {
        close(ws.remote_fd);
    }
    ws.state = connection_state::connected;
    ws.connect_start_ms = quon_clock_ms();
    ws.remote_fd = open_remote_socket();
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(ws.target.port);
    address.sin_addr.s_addr = ws.target.ip;
    if (connect(ws.remote_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
        return;
    }
    if (is_in_progress(ws.remote_fd)) {
        ws.state = connection_state::connecting;
        return;
    }
    print_connect_failure(ws.target);
    ws.state = connection_state::idle;  // the socket stays until the next attempt: intended
}

void watch_connect(handoff& ws) {
    if (quon_clock_ms() - ws.connect_start_ms >= CONNECT_TIMEOUT_MS) {
        drop_remote(ws);
        ws.state = connection_state::idle;
    } else if (ws.remote_fd > 0) {
        FD_SET(ws.remote_fd, &ws.writable);
        ws.highest_fd = std::max(ws.highest_fd, ws.remote_fd);
    } else {
        ws.state = connection_state::idle;
    }
}

int wait_for_sockets(handoff& ws) {
    timeval timeout = {0, POLL_TIMEOUT_US};
    return select(ws.highest_fd + 1, &ws.readable, &ws.writable, nullptr, &timeout);
}

// A new peer always replaces the one before.
void accept_client(handoff& ws) {
    if (ws.client_fd > 0) {
        close(ws.client_fd);
    }
    sockaddr_un address = {};
    ws.client_fd = fit_for_select(
        quon_accept(ws.listen_fd, reinterpret_cast<sockaddr*>(&address), &ws.accept_length, 0));
    if (ws.client_fd > 0) {
        printf("===========client_sock:%d\n", ws.client_fd);
    }
}

// Sends the remote socket to the client. Returns what sendmsg returned.
int send_remote(const handoff& ws) {
    uint8_t data[WS_HANDOVER_SIZE] = {1};
    iovec block = {data, sizeof(data)};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = CMSG_LEN(sizeof(int));
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_len = CMSG_LEN(sizeof(int));
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    memcpy(CMSG_DATA(header), &ws.remote_fd, sizeof(int));
    return static_cast<int>(sendmsg(ws.client_fd, &message, 0));
}

// Whether or not the client took it, this side keeps no copy.
void hand_over(handoff& ws, const char* step) {
    const int result = send_remote(ws);
    printf("ws ls %s ret = %d, fd:%d\n", step, result, ws.remote_fd);
    drop_remote(ws);
    ws.pending = false;
    ws.state = connection_state::idle;
}

void serve_connect_command(handoff& ws) {
    target_address wanted = {};
    memcpy(&wanted.ip, ws.request + 1, sizeof(wanted.ip));
    memcpy(&wanted.port, ws.request + 5, sizeof(wanted.port));
    printf("ws ls recv websocketip, %x:%d, %d\n", wanted.ip, wanted.port,
           static_cast<int>(ws.state));
    const bool same = wanted.ip == ws.target.ip && wanted.port == ws.target.port;
    if (ws.remote_fd > 0 && same && ws.state == connection_state::connected) {
        hand_over(ws, "sendfd");
    } else if (ws.remote_fd != 0) {
        if (ws.remote_fd > 0) {
            drop_remote(ws);
        }
        ws.pending = true;
        ws.state = connection_state::requested;
    }
    ws.target = wanted;
}

void serve_drop_command(handoff& ws) {
    ws.state = connection_state::idle;
    if (ws.remote_fd > 0) {
        drop_remote(ws);
    }
}

next_step serve_client(handoff& ws) {
    const ssize_t length = recv(ws.client_fd, ws.request, sizeof(ws.request), 0);
    if (length == 0) {
        puts("client close");
        close(ws.client_fd);
        ws.client_fd = -1;
    }
    // Whatever was received, the buffer is acted on: a closing peer repeats its last request.
    // Intended.
    const auto command = static_cast<int8_t>(ws.request[0]);
    printf("ws ls recv[%d] ----> len:%d\n", command, static_cast<int>(length));
    switch (command) {
        case WS_COMMAND_CONNECT:
            serve_connect_command(ws);
            return next_step::next_pass;
        case WS_COMMAND_DROP:
            serve_drop_command(ws);
            return next_step::next_pass;
        default:
            return next_step::remote_check;
    }
}

// After a new peer came, the readiness seen belongs to the old one, whose number the new one may
// bear.
next_step serve_local_sockets(handoff& ws) {
    if (FD_ISSET(ws.listen_fd, &ws.readable)) {
        accept_client(ws);
        return next_step::remote_check;
    }
    if (ws.client_fd > 0 && FD_ISSET(ws.client_fd, &ws.readable)) {
        return serve_client(ws);
    }
    return next_step::remote_check;
}

void check_remote(handoff& ws) {
    if (ws.remote_fd <= 0 || !FD_ISSET(ws.remote_fd, &ws.writable)) {
        return;
    }
    int error = 0;
    if (take_socket_error(ws.remote_fd, &error) != 0 || error != 0) {
        return;
    }
    ws.state = connection_state::connected;
    printf("ws ls connected remote:%s-%d:%d\n", SOURCE_NAME, SOURCE_NUMBER,
           static_cast<int>(quon_clock_ms()));
    if (ws.pending) {
        hand_over(ws, "polling sendfd");
    }
}

// Returns false when select failed, which ends the thread.
bool run_pass(handoff& ws) {
    collect_local_sockets(ws);
    if (ws.state == connection_state::requested) {
        start_connect(ws);
    }
    if (ws.state == connection_state::connecting) {
        watch_connect(ws);
    }
    const int ready = wait_for_sockets(ws);
    if (ready < 0) {
        perror("select error \n");
        return false;
    }
    if (ready > 0 && serve_local_sockets(ws) == next_step::remote_check) {
        check_remote(ws);
    }
    return true;
}

void* webpreinit_thread(void* argument) {
    const auto& param = *static_cast<const ws_preinit_param*>(argument);
    prctl(PR_SET_NAME, THREAD_NAME);
    handoff ws = {};
    ws.client_fd = -1;
    ws.remote_fd = -1;
    ws.accept_length = sizeof(sockaddr_un);
    ws.listen_fd = open_local_server();
    if (ws.listen_fd < 0) {
        return nullptr;
    }
    take_start_record(ws, param);
    printf("ws init ip: %x-%d\n", ws.target.ip, ws.target.port);
    while (run_pass(ws)) {
    }
    return nullptr;
}

}  // namespace

int websocket_local_server_init(const ws_preinit_param* param) {
    start_record = *param;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, webpreinit_thread, &start_record) != 0) {
        return printf("create websocket preinit thread fail:%s\n", strerror(errno));
    }
    return pthread_detach(thread);
}
