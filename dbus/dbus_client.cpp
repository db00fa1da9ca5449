#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "dbus_internal.h"
#include "securec.h"

namespace quon::dbus {

ClientState client_state(DbusInfo* info) {
    return static_cast<ClientState>(__atomic_load_n(&info->client_state, __ATOMIC_ACQUIRE));
}

void set_client_state(DbusInfo* info, ClientState state) {
    __atomic_store_n(&info->client_state, static_cast<int32_t>(state), __ATOMIC_RELEASE);
}

void start_method_thread(DbusInfo* info) {
    set_client_state(info, kClientReading);
    if (pthread_create(&info->method_thread, nullptr, Dbus_Method_Thread, info) != 0) {
        info->method_thread = 0;  // nobody is told: intended
        set_client_state(info, kClientEnded);
    }
}

DbusMethodNode* find_call(DbusInfo* info, const DbusMsg* result) {
    for (DbusMethodNode* node = info->method_list; node != nullptr; node = node->next) {
        if (node->request_msg->id == result->id &&
            same_name(node->request_msg->name, result->name)) {
            return node;
        }
    }
    return nullptr;
}

}  // namespace quon::dbus

namespace {

using namespace quon::dbus;

// The thread can be cancelled while it reads and while it pauses between two attempts to connect,
// and nowhere else: so it never ends with a lock that nobody releases.
template <typename Step>
auto cancellable(Step step) {
    int before = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before);
    const auto outcome = step();
    pthread_setcancelstate(before, nullptr);
    return outcome;
}

void reconnect_pause() {
    cancellable([] {
        connect_pause();
        return 0;
    });
}

void set_result(DbusMethodNode* node, DbusMsg* copy) {
    pthread_mutex_lock(&node->lock);
    node->result_msg = copy;
    pthread_mutex_unlock(&node->lock);
}

void store_result(DbusMethodNode* node, const DbusMsg* result) {
    constexpr char kFunction[] = "Dbus_Method_Msg_Result";
    // Only this thread ever sets it: no need of the node's lock to read it.
    if (node->result_msg != nullptr) {
        printf("%s result is already exist\n", kFunction);
        return;
    }
    auto* copy = static_cast<DbusMsg*>(malloc(sizeof(DbusMsg)));
    if (copy == nullptr) {
        printf("%s alloc result node failed\n", kFunction);
        return;
    }
    memcpy_s(copy, sizeof(*copy), result, sizeof(*result));
    set_result(node, copy);
}

void wake(DbusMethodNode* node) {
    pthread_mutex_lock(&node->lock);
    pthread_cond_signal(&node->cond);
    pthread_mutex_unlock(&node->lock);
}

// From here on no result can come: whoever still waits for one learns it.
void end_client_role(DbusInfo* info) {
    set_client_state(info, kClientEnded);
    pthread_mutex_lock(&info->mutex);
    for (DbusMethodNode* node = info->method_list; node != nullptr; node = node->next) {
        wake(node);
    }
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
    if (connect_patiently(info->client_fd, address, reconnect_pause)) {
        return 0;
    }
    printf("Cannot reconnect to the server (%s) timeout\n", info->server_name);
    close(info->client_fd);
    info->client_fd = -1;
    return -1;
}

// Whether to go on reading after a read of 0 or less. errno is looked at first, also at the end of
// the stream, where it stands as an earlier call left it: intended.
bool survives(DbusInfo* info, ssize_t got) {
    constexpr char kFunction[] = "Dbus_Method_Thread";
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
bool read_result(DbusInfo* info) {
    DbusMsg result;
    memset_s(&result, sizeof(result), 0, sizeof(result));
    const ssize_t got = cancellable([&] { return read(info->client_fd, &result, sizeof(result)); });
    // Nothing but this read may change what the next one finds in errno.
    const int error = errno;
    bool more = true;
    if (got > 0) {
        take_record(info, &result, got);
    } else {
        more = survives(info, got);
    }
    errno = error;
    return more;
}

}  // namespace

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
        wake(node);
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
    prctl(PR_SET_NAME, kThreadName);
    while (read_result(info)) {
    }
    end_client_role(info);
    return nullptr;
}
