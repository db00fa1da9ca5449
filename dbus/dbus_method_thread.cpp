#include "dbus_method_thread.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_clock.h"
#include "dbus_module.h"
#include "dbus_pending_calls.h"
#include "dbus_records.h"
#include "dbus_sockets.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr int32_t kStopBoundMs = 1000;
// Pause between two stop requests: the thread may be replacing the connection that was just shut
// down.
constexpr int32_t kStopSliceMs = 10;
constexpr useconds_t kEnteringPauseUs = 20;

void set_phase_locked(State* state, ClientPhase phase) {
    __atomic_store_n(&state->phase, static_cast<int32_t>(phase), __ATOMIC_SEQ_CST);
    pthread_cond_broadcast(&state->changed);
}

void set_phase(State* state, ClientPhase phase) {
    pthread_mutex_lock(&state->lock);
    set_phase_locked(state, phase);
    pthread_mutex_unlock(&state->lock);
}

bool is_to_stop(const State* state) {
    return __atomic_load_n(&state->stop, __ATOMIC_ACQUIRE) != 0;
}

// ---- Reading

// The thread can be cancelled only while it waits for a record or between two connection attempts,
// so it never leaves a lock or half a record behind.
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

// The caller tests the result under the node's lock.
void store_result(DbusMethodNode* node, const DbusMsg* result) {
    pthread_mutex_lock(&node->lock);
    store_copy(node, result);
    pthread_mutex_unlock(&node->lock);
}

// From here on no result can come, and everyone still waiting is told, even those who look only
// after another caller has reconnected.
void end_client_role(State* state) {
    set_phase(state, kClientEnded);
    __atomic_add_fetch(&state->connections, 1U, __ATOMIC_SEQ_CST);
    pthread_mutex_lock(&state->info->mutex);
    wake_all_calls(state->info);
    pthread_mutex_unlock(&state->info->mutex);
}

// The thread's last access to the registration, cancelled or not. The last user of the state can
// dispose of it only after the lock is released.
void leave(void* state_pointer) {
    auto* state = static_cast<State*>(state_pointer);
    end_client_role(state);
    pthread_mutex_lock(&state->lock);
    if (state->left_open) {
        close(state->info->client_fd);
    }
    set_phase_locked(state, kClientGone);
    const bool last = is_last_to_leave(state);
    pthread_mutex_unlock(&state->lock);
    if (last) {
        dispose_state(state);
    }
}

// ---- Reconnecting

bool pause_of_reconnection(void* state) {
    connect_pause(nullptr);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_testcancel();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return !is_to_stop(static_cast<State*>(state));
}

// New callers wait for the end of the reconnection, up to their time-outs; those already on their
// way to the mutex get it first, so none of them blocks on it.
void begin_reconnection(State* state) {
    set_phase(state, kClientReconnecting);
    while (__atomic_load_n(&state->entering, __ATOMIC_SEQ_CST) != 0) {
        usleep(kEnteringPauseUs);
    }
    pthread_mutex_lock(&state->info->mutex);
}

void end_reconnection(void* state_pointer) {
    auto* state = static_cast<State*>(state_pointer);
    set_phase(state, kClientReading);
    release_abandoned(state->info, &state->abandoned);
    pthread_mutex_unlock(&state->info->mutex);
    leave_state(state);
}

int32_t reconnect(State* state) {
    DbusInfo* info = state->info;
    if (is_to_stop(state)) {
        return -1;
    }
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
    if (connect_patiently(info->client_fd, address, pause_of_reconnection, state)) {
        return 0;
    }
    if (!is_to_stop(state)) {
        printf("Cannot reconnect to the server (%s) timeout\n", info->server_name);
    }
    close(info->client_fd);
    info->client_fd = -1;
    return -1;
}

// ---- The thread

// Whether to go on after a read that returned 0 or less. errno is checked first, even at the end of
// the stream, where it still has the value that an earlier call left: intended.
bool survives(DbusInfo* info, ssize_t got) {
    static constexpr char kFunction[] = "Dbus_Method_Thread";
    const int error = errno;
    const int result = static_cast<int>(got);
    if (error == EINTR) {
        printf("%s %d read socket data interrupt ret:%d errno:%d (%s)\n", kFunction, __LINE__,
               result, error, strerror(error));
        pause_at_stale_end(got);
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

// One read is one record, however many bytes it returns. False: the thread must end.
bool read_result(State* state, DbusMsg* result) {
    if (is_to_stop(state)) {
        return false;
    }
    DbusInfo* info = state->info;
    memset_s(result, sizeof(*result), 0, sizeof(*result));
    const ssize_t got = read_record(info->client_fd, result);
    // Nothing but this read may change errno before the next one.
    const int error = errno;
    bool more = true;
    if (is_to_stop(state)) {
        more = false;
    } else if (got > 0) {
        take_record(info, result, got);
    } else {
        more = survives(info, got);
    }
    errno = error;
    return more;
}

// Asks the thread to end: sets a flag and shuts the connection down, which wakes it.
void request_end(State* state) {
    __atomic_store_n(&state->stop, 1, __ATOMIC_RELEASE);
    if (pthread_mutex_trylock(&state->info->mutex) == 0) {
        shutdown(state->info->client_fd, SHUT_RDWR);
        pthread_mutex_unlock(&state->info->mutex);
    }
}

bool has_gone(const State* state) {
    return client_phase(state) == kClientGone;
}

}  // namespace

ClientPhase client_phase(const State* state) {
    return static_cast<ClientPhase>(__atomic_load_n(&state->phase, __ATOMIC_SEQ_CST));
}

bool can_bring_results(const State* state) {
    return client_phase(state) < kClientEnded;
}

void start_method_thread(State* state) {
    __atomic_store_n(&state->stop, 0, __ATOMIC_RELAXED);
    set_phase(state, kClientReading);
    join_state(state);
    set_flag(&state->method_started, true);
    DbusInfo* info = state->info;
    if (pthread_create(&info->method_thread, nullptr, Dbus_Method_Thread, info) != 0) {
        info->method_thread = 0;  // nobody is told: intended
        set_flag(&state->method_started, false);
        set_phase(state, kClientGone);
        leave_state(state);
    }
}

// Cancelling would work too, but needs the unwinder library, which is not installed everywhere.
bool stop_method_thread(State* state) {
    const Deadline deadline = deadline_in(kStopBoundMs);
    pthread_mutex_lock(&state->lock);
    while (!has_gone(state) && !has_passed(deadline)) {
        pthread_mutex_unlock(&state->lock);
        request_end(state);
        pthread_mutex_lock(&state->lock);
        if (!has_gone(state)) {
            wait_until(&state->changed, &state->lock, deadline_in(kStopSliceMs));
        }
    }
    const bool gone = has_gone(state);
    state->left_open = !gone;
    pthread_mutex_unlock(&state->lock);
    return gone;
}

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

    // Wakes the caller whether or not the result could be stored.
    pthread_mutex_lock(&info->mutex);
    if (DbusMethodNode* node = find_call(info, result)) {
        wake_call(node);
    }
    pthread_mutex_unlock(&info->mutex);
}

int32_t Dbus_Method_Reconnect_Daemon(DbusInfo* info) {
    printf("%s %d server socket is closed, reconnect daemon\n", __func__, __LINE__);
    State* state = enter_state(info);
    if (state == nullptr) {
        return -1;
    }
    begin_reconnection(state);
    int32_t outcome = -1;
    pthread_cleanup_push(end_reconnection, state);
    outcome = reconnect(state);
    pthread_cleanup_pop(1);
    return outcome;
}

void* Dbus_Method_Thread(void* info_pointer) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    State* state = adopt_state(static_cast<DbusInfo*>(info_pointer), &State::method_started);
    if (state == nullptr) {
        return nullptr;
    }
    set_phase(state, kClientReading);
    prctl(PR_SET_NAME, kThreadName);
    DbusMsg result;
    void* outcome = nullptr;
    pthread_cleanup_push(leave, state);
    while (read_result(state, &result)) {
    }
    outcome = is_to_stop(state) ? PTHREAD_CANCELED : nullptr;
    pthread_cleanup_pop(1);
    return outcome;
}
