#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "dbus_clock.h"
#include "dbus_method_thread.h"
#include "dbus_pending_calls.h"
#include "dbus_records.h"
#include "dbus_socket_common.h"
#include "dbus_sockets.h"
#include "dbus_state.h"
#include "securec.h"

namespace quon::dbus {

namespace {

// A reconnection may close the socket that a caller is polling, and its number may be reused. So no
// poll lasts longer than this.
constexpr int32_t kRoomSliceMs = 20;
constexpr Deadline kLongPast = {0, 0};

// A caller cancelled in the middle of a call would leave its node behind, possibly locked, so a
// call is not a cancellation point.
class NoCancellation {
  public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~NoCancellation() { pthread_setcancelstate(before_, nullptr); }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

  private:
    int before_ = 0;
};

bool wait_for_end_of_reconnection(State* state, const Deadline& deadline) {
    bool in_time = true;
    pthread_mutex_lock(&state->lock);
    while (client_phase(state) == kClientReconnecting && in_time) {
        in_time = wait_until(&state->changed, &state->lock, deadline);
    }
    pthread_mutex_unlock(&state->lock);
    return in_time;
}

// Only a reconnection holds the mutex for long, and it waits for the callers that are entering.
// False: a reconnection is still in progress at the deadline.
bool lock_until(State* state, const Deadline& deadline) {
    do {
        __atomic_add_fetch(&state->entering, 1, __ATOMIC_SEQ_CST);
        const bool free = client_phase(state) != kClientReconnecting;
        if (free) {
            pthread_mutex_lock(&state->info->mutex);
        }
        __atomic_sub_fetch(&state->entering, 1, __ATOMIC_SEQ_CST);
        if (free) {
            return true;
        }
    } while (wait_for_end_of_reconnection(state, deadline));
    return false;
}

// During a reconnection the list cannot be locked; the next holder of the mutex frees the call.
void end_call(State* state, DbusMethodNode* call) {
    if (!lock_until(state, kLongPast)) {
        abandon_call(&state->abandoned, call);
        return;
    }
    release_abandoned(state->info, &state->abandoned);
    unlink_call(state->info, call);
    pthread_mutex_unlock(&state->info->mutex);
    free_call(call);
}

uint32_t current_connection(const State* state) {
    return __atomic_load_n(&state->connections, __ATOMIC_SEQ_CST);
}

// With the mutex held. The node is listed before the request is sent, so even the fastest result
// finds it.
Sent try_to_send(State* state, const DbusMsg* request, DbusMethodNode* node) {
    DbusInfo* info = state->info;
    release_abandoned(info, &state->abandoned);
    // Read before the phase, so that a connection that ends afterwards counts as a different one.
    const uint32_t connection = current_connection(state);
    if (info->client_fd <= 0 || !can_bring_results(state)) {
        return Sent::kFailed;
    }
    if (node != nullptr) {
        note_connection(node, connection);
        link_call(info, node);
    }
    const Sent sent = send_record(info->client_fd, request);
    if (node != nullptr && sent != Sent::kWhole) {
        unlink_call(info, node);
    }
    return sent;
}

// ---- Room

// One caller per registration polls for room; the others wait for it.
void wait_for_turn(State* state, int fd, const Deadline& deadline) {
    pthread_mutex_lock(&state->lock);
    if (state->looking_for_room) {
        __atomic_add_fetch(&state->room_waiters, 1, __ATOMIC_RELAXED);
        wait_until(&state->room, &state->lock, deadline);
        __atomic_sub_fetch(&state->room_waiters, 1, __ATOMIC_RELAXED);
    } else {
        state->looking_for_room = true;
        pthread_mutex_unlock(&state->lock);
        wait_for_room(fd, ms_until(deadline, kRoomSliceMs));
        pthread_mutex_lock(&state->lock);
        state->looking_for_room = false;
    }
    pthread_mutex_unlock(&state->lock);
}

// A caller that stops trying, for whatever reason, lets the next one try.
void pass_turn(State* state) {
    if (__atomic_load_n(&state->room_waiters, __ATOMIC_RELAXED) > 0) {
        pthread_mutex_lock(&state->lock);
        pthread_cond_signal(&state->room);
        pthread_mutex_unlock(&state->lock);
    }
}

DbusCallStatus try_until(State* state, const DbusMsg* request, DbusMethodNode* node,
                         const Deadline& deadline) {
    for (;;) {
        if (!lock_until(state, deadline)) {
            return DBUS_CALL_TIMEOUT;
        }
        const Sent sent = try_to_send(state, request, node);
        const int fd = state->info->client_fd;
        pthread_mutex_unlock(&state->info->mutex);
        if (sent != Sent::kNoRoom) {
            return sent == Sent::kWhole ? DBUS_CALL_OK : DBUS_CALL_NO_CONNECTION;
        }
        if (has_passed(deadline)) {
            return DBUS_CALL_TIMEOUT;
        }
        wait_for_turn(state, fd, deadline);
    }
}

// ---- Connecting

bool connect_until(int fd, const sockaddr_un& address, const Deadline& deadline) {
    while (!connect_once(fd, address)) {
        if (has_passed(deadline)) {
            return false;
        }
        connect_pause(nullptr);
    }
    return true;
}

// One attempt; only a server that listens but is busy is retried until the deadline. Runs without
// the mutex: nobody else connects or sends meanwhile.
int connect_anew(const DbusInfo* info, const Deadline& deadline) {
    sockaddr_un address;
    set_address_of(&address, info->server_name);
    const int fd = open_socket();
    bool connected = false;
    while (fd >= 0 && !connected) {
        connected = connect_once(fd, address);
        if (!connected && (errno != EAGAIN || has_passed(deadline))) {
            close(fd);
            return -1;
        }
    }
    return fd;
}

void replace_connection(State* state, int fd) {
    DbusInfo* info = state->info;
    pthread_mutex_lock(&info->mutex);
    if (info->client_fd > 0) {
        close(info->client_fd);
    }
    info->client_fd = fd;
    pthread_mutex_unlock(&info->mutex);
}

// The method thread has ended and left a broken connection.
void heal_now(State* state, const Deadline& deadline) {
    DbusInfo* info = state->info;
    const int fd = connect_anew(info, deadline);
    if (fd < 0) {
        return;
    }
    if (info->method_thread != 0) {
        pthread_join(info->method_thread, nullptr);
    }
    replace_connection(state, fd);
    start_method_thread(state);
}

// One caller reconnects; the others wait for it.
void heal(State* state, const Deadline& deadline) {
    pthread_mutex_lock(&state->lock);
    bool in_time = true;
    while (in_time && (state->healing || client_phase(state) == kClientEnded)) {
        in_time = wait_until(&state->changed, &state->lock, deadline);
    }
    if (state->healing || client_phase(state) != kClientGone) {
        pthread_mutex_unlock(&state->lock);
        return;
    }
    state->healing = true;
    pthread_mutex_unlock(&state->lock);
    heal_now(state, deadline);
    pthread_mutex_lock(&state->lock);
    state->healing = false;
    pthread_cond_broadcast(&state->changed);
    pthread_mutex_unlock(&state->lock);
}

// On success the record is sent and `node` (null for a signal) is listed; on failure `node` is on
// no list.
DbusCallStatus send_until(State* state, const DbusMsg* request, DbusMethodNode* node,
                          const Deadline& deadline) {
    if (state->heals && !can_bring_results(state)) {
        heal(state, deadline);
    }
    const DbusCallStatus status = try_until(state, request, node, deadline);
    pass_turn(state);
    return status;
}

void take_reply(const DbusMsg* result, DbusReply* reply) {
    if (reply != nullptr) {
        reply->result = result->result;
        reply->data_len = result->data_len;
        memcpy_s(reply->data, sizeof(reply->data), result->data, sizeof(result->data));
    }
}

DbusCallStatus wait_for_result(State* state, DbusMethodNode* node, const Deadline& deadline,
                               DbusReply* reply) {
    DbusCallStatus status = DBUS_CALL_TIMEOUT;
    bool waiting = true;
    pthread_mutex_lock(&node->lock);
    while (node->result_msg == nullptr && waiting) {
        if (!can_bring_results(state) || connection_of(node) != current_connection(state)) {
            status = DBUS_CALL_NO_CONNECTION;
            break;
        }
        waiting = wait_until(&node->cond, &node->lock, deadline);
    }
    if (node->result_msg != nullptr) {
        take_reply(node->result_msg, reply);
        status = DBUS_CALL_OK;
    }
    pthread_mutex_unlock(&node->lock);
    return status;
}

// Frees the call, or leaves it to the next holder of the mutex.
DbusCallStatus run_call(State* state, DbusMethodNode* call, const Deadline& deadline,
                        DbusReply* reply) {
    DbusCallStatus status = send_until(state, call->request_msg, call, deadline);
    if (status != DBUS_CALL_OK) {
        free_call(call);
        return status;
    }
    status = wait_for_result(state, call, deadline, reply);
    end_call(state, call);
    return status;
}

bool is_name(const char* text) {
    return text != nullptr && strnlen(text, DBUS_NAME_SIZE) < DBUS_NAME_SIZE;
}

bool is_valid(const DbusInfo* info, const char* member, const uint8_t* data, uint32_t len,
              int32_t timeout_ms) {
    return info != nullptr && is_name(member) && len <= DBUS_DATA_SIZE &&
           (data != nullptr || len == 0) && timeout_ms >= 0;
}

void copy_text(char* to, const char* from) {
    memcpy_s(to, DBUS_NAME_SIZE, from, strnlen(from, DBUS_NAME_SIZE - 1));
}

uint32_t fresh_id() {
    static uint32_t last = 0;
    return __atomic_add_fetch(&last, 1U, __ATOMIC_RELAXED);
}

// `request` must be zeroed.
void fill_request(const DbusInfo* info, uint32_t type, const char* member, const uint8_t* data,
                  uint32_t len, DbusMsg* request) {
    request->head = DBUS_MSG_HEAD;
    request->id = fresh_id();
    copy_text(request->src_name, info->name);
    copy_text(request->dst_name, info->server_name);
    request->type = type;
    copy_text(request->name, member);
    request->data_len = len;
    if (len > 0) {
        memcpy_s(request->data, sizeof(request->data), data, len);
    }
}

// Dbus_Register with the caller's own time limit and without its messages.
bool register_until(State* state, const Deadline& deadline) {
    DbusInfo* info = state->info;
    sockaddr_un address;
    set_address_of(&address, info->server_name);
    info->client_fd = open_socket();
    if (info->client_fd > 0 && connect_until(info->client_fd, address, deadline)) {
        start_method_thread(state);
        return true;
    }
    if (info->client_fd > 0) {
        close(info->client_fd);
    }
    return false;
}

bool register_quietly(DbusInfo* info, const Deadline& deadline) {
    State* state = enter_state(info);
    if (state == nullptr) {
        return false;
    }
    pthread_mutex_init(&info->mutex, nullptr);
    if (register_until(state, deadline)) {
        set_flag(&state->registered, true);
        return true;
    }
    pthread_mutex_destroy(&info->mutex);
    leave_state(state);
    return false;
}

bool register_client(DbusInfo* info, int32_t wait_ms) {
    return wait_ms < 0 ? Dbus_Register(info) == 0 : register_quietly(info, deadline_in(wait_ms));
}

}  // namespace

}  // namespace quon::dbus

using namespace quon::dbus;

DbusInfo* Dbus_Client_Connect(const char* name, const char* server_name, int32_t wait_ms) {
    if (!is_name(name) || !is_name(server_name) || server_name[0] == '\0') {
        return nullptr;
    }
    DbusInfo* info = DbusInfo_Alloc(0);
    if (info == nullptr) {
        return nullptr;
    }
    copy_text(info->name, name);
    copy_text(info->server_name, server_name);
    if (!register_client(info, wait_ms)) {
        DbusInfo_Free(info);
        return nullptr;
    }
    State* state = use_state(info);
    state->heals = true;
    leave_state(state);
    return info;
}

DbusCallStatus Dbus_Method_Call(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms, DbusReply* reply) {
    if (!is_valid(info, member, data, len, timeout_ms)) {
        return DBUS_CALL_INVALID;
    }
    const NoCancellation guard;
    const Deadline deadline = deadline_in(timeout_ms);
    DbusMethodNode* call = make_call();
    if (call == nullptr) {
        return DBUS_CALL_NO_MEMORY;
    }
    fill_request(info, DBUS_TYPE_METHOD, member, data, len, call->request_msg);
    State* state = use_state(info);
    if (state == nullptr) {
        free_call(call);
        return DBUS_CALL_NO_CONNECTION;
    }
    const DbusCallStatus status = run_call(state, call, deadline, reply);
    leave_state(state);
    return status;
}

DbusCallStatus Dbus_Signal_Send(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms) {
    if (!is_valid(info, member, data, len, timeout_ms)) {
        return DBUS_CALL_INVALID;
    }
    const NoCancellation guard;
    const Deadline deadline = deadline_in(timeout_ms);
    DbusMsg request;
    memset_s(&request, sizeof(request), 0, sizeof(request));
    fill_request(info, DBUS_TYPE_SIGNAL, member, data, len, &request);
    State* state = use_state(info);
    if (state == nullptr) {
        return DBUS_CALL_NO_CONNECTION;
    }
    const DbusCallStatus status = send_until(state, &request, nullptr, deadline);
    leave_state(state);
    return status;
}

void Dbus_Client_Disconnect(DbusInfo* info) {
    if (info == nullptr) {
        return;
    }
    const pthread_t method_thread = info->method_thread;
    State* state = use_state(info);
    Dbus_UnRegister(info);
    const bool gone = state == nullptr || client_phase(state) == kClientGone;
    if (method_thread != 0 && gone) {
        pthread_join(method_thread, nullptr);
    } else if (method_thread != 0) {
        pthread_detach(method_thread);  // it frees the registration when it ends
    }
    if (state != nullptr) {
        leave_state(state);
    }
    DbusInfo_Free(info);
}
