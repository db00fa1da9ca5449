#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_connection.h"
#include "dbus_module.h"
#include "dbus_socket_common.h"
#include "dbus_sockets.h"
#include "dbus_state.h"
#include "dbus_threads.h"
#include "quon_log.h"

namespace {

using namespace quon::dbus;

// A select set has no more descriptors, whatever the limit.
constexpr rlim_t kHighestLimit = 1024;
// Descriptors that connections leave to the rest of the process; a quarter where the limit is below
// 64.
constexpr rlim_t kReserve = 16;
constexpr rlim_t kReserveShare = 4;

int32_t first_reserved() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t all = limit.rlim_cur < kHighestLimit ? limit.rlim_cur : kHighestLimit;
    const rlim_t kept = all < kReserve * kReserveShare ? all / kReserveShare : kReserve;
    return static_cast<int32_t>(all - kept);
}

// accept reserves its number before it waits for a peer, so lower numbers may have been freed
// since.
int32_t lowest_number(int32_t fd) {
    if (fd < first_reserved()) {
        return fd;
    }
    const int32_t lowest = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (lowest < 0) {
        return fd;
    }
    close(lowest < fd ? fd : lowest);
    return lowest < fd ? lowest : fd;
}

bool leaves_enough(int32_t fd) {
    const int32_t reserved = first_reserved();
    if (fd < reserved) {
        return true;
    }
    QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, "Dbus_Listen_Thread", __LINE__,
               "too many connections, closed the fd:%d limit:%d\n", fd, reserved);
    return false;
}

// Kept under the arguments' address until the connection's thread takes it over.
bool start_thread_of(const ThreadKind& connections, Connection* connection, ListenArgs* args) {
    put_aside(&connection->aside, args);
    if (connections.start(Dbus_ReadWrite_Thread, args)) {
        return true;
    }
    take_aside(args);
    return false;
}

void start_connection(State* state, const ThreadKind& connections, int32_t fd) {
    auto* args = static_cast<ListenArgs*>(malloc(sizeof(ListenArgs)));
    Connection* connection = args != nullptr ? make_connection(state, fd) : nullptr;
    if (connection == nullptr) {
        printf("%s malloc ListenArgs failed\n", "Dbus_Listen_Thread");
        free(args);
        close(fd);
        return;
    }
    *args = {state->info, fd};
    if (!start_thread_of(connections, connection, args)) {
        free(args);
        leave_connection(connection);  // closes it
    }
}

// From now on peers are refused instead of hanging in connect. The lock prevents the number from
// being reused meanwhile.
void refuse_peers(State* state) {
    pthread_mutex_lock(&state->lock);
    if (!get_flag(&state->unregistered)) {
        shutdown(state->info->listen_fd, SHUT_RDWR);
    }
    pthread_mutex_unlock(&state->lock);
}

void accept_peers(State* state) {
    const ThreadKind connections;
    while (!get_flag(&state->unregistered)) {
        const int accepted = accept_socket(state->info->listen_fd);
        if (accepted < 0) {
            return;  // whatever the reason: intended
        }
        const int fd = lowest_number(accepted);
        if (leaves_enough(fd)) {
            start_connection(state, connections, fd);
        } else {
            close(fd);
        }
    }
}

}  // namespace

void* Dbus_Listen_Thread(void* info_pointer) {
    auto* info = static_cast<DbusInfo*>(info_pointer);
    prctl(PR_SET_NAME, info->name);
    if (State* state = adopt_state(info, &State::listener_started)) {
        accept_peers(state);
        refuse_peers(state);
        leave_state(state);
    }
    puts("Cannot accept client connect request");
    return nullptr;
}
