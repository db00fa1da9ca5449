#include "server_connection.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>

#include "quon_clock.h"
#include "quon_descriptor.h"

namespace quon::handoff {

namespace {

constexpr uint32_t kConnectTimeoutMs = 6000;

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

// Returns 0 and sets `error`, or -1.
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

}  // namespace

void drop_remote(handoff& ws) {
    close(ws.remote_fd);
    ws.remote_fd = -1;
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
    if (quon_clock_ms() - ws.connect_start_ms >= kConnectTimeoutMs) {
        drop_remote(ws);
        ws.state = connection_state::idle;
    } else if (ws.remote_fd > 0) {
        FD_SET(ws.remote_fd, &ws.writable);
        ws.highest_fd = std::max(ws.highest_fd, ws.remote_fd);
    } else {
        ws.state = connection_state::idle;
    }
}

bool connection_is_up(const handoff& ws) {
    int error = 0;
    return take_socket_error(ws.remote_fd, &error) == 0 && error == 0;
}

}  // namespace quon::handoff
