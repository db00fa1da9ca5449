#include "local_peer.h"

#include <errno.h>
#include <stdio.h>
#include <sys/un.h>
#include <unistd.h>

#include "quon_descriptor.h"
#include "securec.h"
#include "server_connection.h"
#include "websocket.h"

namespace quon::handoff {

namespace {

constexpr int kListenBacklog = 5;
constexpr int kAddressOffset = 1;
constexpr int kPortOffset = 5;

static_assert(sizeof(sockaddr_un) == 110);

// A new peer always replaces the previous one. It cannot block the thread: a hand-over without room
// fails.
void accept_client(handoff& ws) {
    if (ws.client_fd > 0) {
        close(ws.client_fd);
    }
    sockaddr_storage address = {};  // the kernel may report a byte more than a sockaddr_un
    ws.client_fd = fit_for_select(quon_accept(ws.listen_fd, reinterpret_cast<sockaddr*>(&address),
                                              &ws.accept_length, SOCK_NONBLOCK));
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
    (void)memcpy_s(CMSG_DATA(header), sizeof(int), &ws.remote_fd, sizeof(int));
    return static_cast<int>(sendmsg(ws.client_fd, &message, 0));
}

void serve_connect_command(handoff& ws) {
    target_address wanted = {};
    (void)memcpy_s(&wanted.ip, sizeof(wanted.ip), ws.request + kAddressOffset, sizeof(wanted.ip));
    (void)memcpy_s(&wanted.port, sizeof(wanted.port), ws.request + kPortOffset,
                   sizeof(wanted.port));
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
    // The buffer is acted on whatever was received: a closing peer repeats its last request.
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

}  // namespace

int open_local_server() {
    const int fd = fit_for_select(quon_socket(AF_UNIX, SOCK_STREAM, 0));
    if (fd < 0) {
        puts("socket failed.");
        return -1;
    }
    unlink(WS_SOCKET_PATH);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (void)memcpy_s(address.sun_path, sizeof(address.sun_path), WS_SOCKET_PATH,
                   sizeof(WS_SOCKET_PATH));
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0) {
        printf("bind failed. errno = %d.\n", errno);
        close(fd);
        return -1;
    }
    (void)listen(fd, kListenBacklog);
    return fd;
}

void hand_over(handoff& ws, const char* step) {
    const int result = send_remote(ws);
    printf("ws ls %s ret = %d, fd:%d\n", step, result, ws.remote_fd);
    drop_remote(ws);
    ws.pending = false;
    ws.state = connection_state::idle;
}

// After a new peer is accepted, the readiness seen belongs to the old one, whose number the new one
// may have.
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

}  // namespace quon::handoff
