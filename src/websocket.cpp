#include "websocket.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "handoff.h"
#include "local_peer.h"
#include "quon_clock.h"
#include "server_connection.h"

namespace quon::handoff {

namespace {

constexpr char kThreadName[] = "webpreinit";
// Printed in place of the remote address when a connection is up: intended.
constexpr char kSourceName[] = "src/websocket.c";
constexpr int kSourceNumber = 2484;

constexpr int kIpWaitAttempts = 300;
constexpr useconds_t kIpWaitPauseUs = 10'000;
constexpr suseconds_t kPollTimeoutUs = 20'000;

ws_preinit_param start_record;

bool network_is_up(const ws_preinit_param& param) {
    int updated = 0;
    return param.get_ip_update_status(&updated) >= 1 && updated != 0;
}

bool wait_for_network(const ws_preinit_param& param) {
    for (int attempt = 1;; attempt++) {
        if (network_is_up(param)) {
            return true;
        }
        if (attempt == kIpWaitAttempts) {
            puts("websocket remote wakeup wait ip update timeout!");
            return false;
        }
        usleep(kIpWaitPauseUs);
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

int wait_for_sockets(handoff& ws) {
    timeval timeout = {0, kPollTimeoutUs};
    return select(ws.highest_fd + 1, &ws.readable, &ws.writable, nullptr, &timeout);
}

void check_remote(handoff& ws) {
    if (ws.remote_fd <= 0 || !FD_ISSET(ws.remote_fd, &ws.writable) || !connection_is_up(ws)) {
        return;
    }
    ws.state = connection_state::connected;
    printf("ws ls connected remote:%s-%d:%d\n", kSourceName, kSourceNumber,
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
    prctl(PR_SET_NAME, kThreadName);
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

}  // namespace quon::handoff

int websocket_local_server_init(const ws_preinit_param* param) {
    using namespace quon::handoff;
    start_record = *param;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, webpreinit_thread, &start_record) != 0) {
        return printf("create websocket preinit thread fail:%s\n", strerror(errno));
    }
    return pthread_detach(thread);
}
