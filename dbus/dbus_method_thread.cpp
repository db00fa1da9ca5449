#include "dbus_method_thread.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_module.h"
#include "dbus_pending_calls.h"
#include "dbus_sockets.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr useconds_t kStopPauseUs = 1000;

void set_client_state(DbusInfo* info, ClientState state) {
    __atomic_store_n(&info->client_state, static_cast<int32_t>(state), __ATOMIC_RELEASE);
}

}  // namespace

ClientState client_state(DbusInfo* info) {
    return static_cast<ClientState>(__atomic_load_n(&info->client_state, __ATOMIC_ACQUIRE));
}

bool can_bring_results(DbusInfo* info) {
    return client_state(info) < kClientEnded;
}

void start_method_thread(DbusInfo* info) {
    __atomic_store_n(&info->client_stop, 0, __ATOMIC_RELAXED);
    set_client_state(info, kClientReading);
    if (pthread_create(&info->method_thread, nullptr, Dbus_Method_Thread, info) != 0) {
        info->method_thread = 0;  // nobody is told: intended
        set_client_state(info, kClientGone);
    }
}

// A cancellation that strikes in the middle of a read would do as well, but needs the unwinder,
// which is not installed everywhere. So the thread is asked to end and woken by the end of its
// connection; again and again, since it may be about to put a new one in its place.
void stop_method_thread(DbusInfo* info) {
    if (client_state(info) == kClientIdle) {
        pthread_cancel(info->method_thread);  // not Dbus_Method_Thread
        return;
    }
    __atomic_store_n(&info->client_stop, 1, __ATOMIC_RELEASE);
    while (client_state(info) != kClientGone) {
        if (pthread_mutex_trylock(&info->mutex) == 0) {
            shutdown(info->client_fd, SHUT_RDWR);
            pthread_mutex_unlock(&info->mutex);
        }
        usleep(kStopPauseUs);
    }
}

namespace {

bool is_to_stop(DbusInfo* info) {
    return __atomic_load_n(&info->client_stop, __ATOMIC_ACQUIRE) != 0;
}

// The thread can be cancelled while it reads and after a pause between two attempts to connect, and
// nowhere else: so it never ends with a lock that nobody releases.
bool pause_of_reconnection(void* info) {
    connect_pause(nullptr);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_testcancel();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return !is_to_stop(static_cast<DbusInfo*>(info));
}

ssize_t read_record(int fd, DbusMsg* record) {
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    const ssize_t got = read(fd, record, sizeof(*record));
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return got;
}

// With the node locked.
void store_copy(DbusMethodNode* node, const DbusMsg* result) {
    static constexpr char kFunction[] = "Dbus_Method_Msg_Result";
    if (node->result_msg != nullptr) {
        printf("%s result is already exist\n", kFunction);
        return;
    }
    node->result_msg = static_cast<DbusMsg*>(malloc(sizeof(DbusMsg)));
    if (node->result_msg == nullptr) {
        printf("%s alloc result node failed\n", kFunction);
        return;
    }
    memcpy_s(node->result_msg, sizeof(DbusMsg), result, sizeof(*result));
}

// The caller looks at its result under the node's lock.
void store_result(DbusMethodNode* node, const DbusMsg* result) {
    pthread_mutex_lock(&node->lock);
    store_copy(node, result);
    pthread_mutex_unlock(&node->lock);
}

// From here on no result can come: whoever still waits for one learns it.
void end_client_role(DbusInfo* info) {
    set_client_state(info, kClientEnded);
    pthread_mutex_lock(&info->mutex);
    wake_all_calls(info);
    pthread_mutex_unlock(&info->mutex);
}

void end_reconnection(void* info_pointer) {
    auto* info = static_cast<DbusInfo*>(info_pointer);
    set_client_state(info, kClientReading);
    release_abandoned(info);
    pthread_mutex_unlock(&info->mutex);
}

int32_t reconnect(DbusInfo* info) {
    if (info->server_name[0] == '\0') {
        return 0;
    }
    if (info->client_fd != 0) {
        close(info->client_fd);
    }
    info->client_fd = open_socket();
    if (info->client_fd < 0) {
        puts(kNoSocket);
        return -1;
    }
    sockaddr_un address;
    set_address_of(&address, info->server_name);
    if (connect_patiently(info->client_fd, address, pause_of_reconnection, info)) {
        return 0;
    }
    if (!is_to_stop(info)) {
        printf("Cannot reconnect to the server (%s) timeout\n", info->server_name);
    }
    close(info->client_fd);
    info->client_fd = -1;
    return -1;
}

// Whether to go on reading after a read of 0 or less. errno is looked at first, also at the end of
// the stream, where it stands as an earlier call left it: intended.
bool survives(DbusInfo* info, ssize_t got) {
    static constexpr char kFunction[] = "Dbus_Method_Thread";
    const int error = errno;
    const int result = static_cast<int>(got);
    if (error == EINTR) {
        printf("%s %d read socket data interrupt ret:%d errno:%d (%s)\n", kFunction, __LINE__,
               result, error, strerror(error));
        return true;
    }
    if (got < 0) {
        printf("%s %d read socket data failed exit this thread, ret:%d errno:%d (%s)\n", kFunction,
               __LINE__, result, error, strerror(error));
        return false;
    }
    printf("%s %d disconnect with server, reconnect, ret:%d errno:%d (%s)\n", kFunction, __LINE__,
           result, error, strerror(error));
    return Dbus_Method_Reconnect_Daemon(info) == 0;
}

void take_record(DbusInfo* info, const DbusMsg* result, ssize_t got) {
    if (result->head != DBUS_MSG_HEAD) {
        printf("%s read result head is invalid, ret = %d head:%x\n", "Dbus_Method_Thread",
               static_cast<int>(got), result->head);
        return;
    }
    Dbus_Method_Msg_Result(info, result);
}

// One read is one record, however much it brings. False: the thread has to end.
bool read_result(DbusInfo* info, DbusMsg* result) {
    memset_s(result, sizeof(*result), 0, sizeof(*result));
    const ssize_t got = read_record(info->client_fd, result);
    // Nothing but this read may change what the next one finds in errno.
    const int error = errno;
    bool more = true;
    if (is_to_stop(info)) {
        more = false;
    } else if (got > 0) {
        take_record(info, result, got);
    } else {
        more = survives(info, got);
    }
    errno = error;
    return more;
}

// The thread's last look at the registration, cancelled or not.
void leave(void* info_pointer) {
    set_client_state(static_cast<DbusInfo*>(info_pointer), kClientGone);
}

}  // namespace

}  // namespace quon::dbus

using namespace quon::dbus;

void Dbus_Method_Msg_Result(DbusInfo* info, const DbusMsg* result) {
    pthread_mutex_lock(&info->mutex);
    if (info->method_list == nullptr) {
        printf("%s method node is empty\n", __func__);
    } else if (DbusMethodNode* node = find_call(info, result)) {
        store_result(node, result);
    }
    pthread_mutex_unlock(&info->mutex);

    // Whatever became of the result, the caller looks at once.
    pthread_mutex_lock(&info->mutex);
    if (DbusMethodNode* node = find_call(info, result)) {
        wake_call(node);
    }
    pthread_mutex_unlock(&info->mutex);
}

int32_t Dbus_Method_Reconnect_Daemon(DbusInfo* info) {
    printf("%s %d server socket is closed, reconnect daemon\n", __func__, __LINE__);
    pthread_mutex_lock(&info->mutex);
    set_client_state(info, kClientReconnecting);
    int32_t outcome = -1;
    pthread_cleanup_push(end_reconnection, info);
    outcome = reconnect(info);
    pthread_cleanup_pop(1);
    return outcome;
}

void* Dbus_Method_Thread(void* info_pointer) {
    auto* info = static_cast<DbusInfo*>(info_pointer);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    set_client_state(info, kClientReading);
    prctl(PR_SET_NAME, kThreadName);
    DbusMsg result;
    void* outcome = nullptr;
    pthread_cleanup_push(leave, info);
    while (read_result(info, &result)) {
    }
    end_client_role(info);
    outcome = is_to_stop(info) ? PTHREAD_CANCELED : nullptr;
    pthread_cleanup_pop(1);
    return outcome;
}
