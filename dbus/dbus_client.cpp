#include <errno.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "dbus_method_thread.h"
#include "dbus_pending_calls.h"
#include "dbus_records.h"
#include "dbus_socket_common.h"
#include "dbus_sockets.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr int64_t kNsPerMs = 1'000'000;
constexpr int64_t kNsPerSecond = 1'000'000'000;
constexpr int kYields = 16;
constexpr int64_t kLockPauseNs = 200'000;
// A reconnection may close the socket under a waiter and give its number to another file: so a
// waiter looks again after at most this time.
constexpr int64_t kRoomSliceMs = 20;

int64_t now_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

timespec to_timespec(int64_t ns) {
    timespec time;
    time.tv_sec = static_cast<time_t>(ns / kNsPerSecond);
    time.tv_nsec = static_cast<decltype(time.tv_nsec)>(ns % kNsPerSecond);
    return time;
}

// A caller that is cancelled in the middle of a call would leave its node behind and perhaps
// locked: a call is no cancellation point.
class NoCancellation {
  public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~NoCancellation() { pthread_setcancelstate(before_, nullptr); }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

  private:
    int before_ = 0;
};

// The mutex is held for long by a reconnection only. There is no timed lock on the monotonic clock
// everywhere, and the other clock jumps when the camera learns the time: so this tries again and
// again. False: a reconnection is going on and the deadline has passed.
bool lock_until(DbusInfo* info, int64_t deadline) {
    for (int tries = 0; pthread_mutex_trylock(&info->mutex) != 0; tries++) {
        if (client_state(info) == kClientReconnecting && now_ns() >= deadline) {
            return false;
        }
        if (tries < kYields) {
            sched_yield();
        } else {
            const timespec pause = to_timespec(kLockPauseNs);
            nanosleep(&pause, nullptr);
        }
    }
    return true;
}

// During a reconnection the list is out of reach: then the next one to hold the mutex does it.
void end_call(DbusInfo* info, DbusMethodNode* call) {
    if (!lock_until(info, 0)) {
        abandon_call(info, call);
        return;
    }
    release_abandoned(info);
    unlink_call(info, call);
    pthread_mutex_unlock(&info->mutex);
    free_call(call);
}

bool connected(DbusInfo* info) {
    return info->client_fd > 0 && can_bring_results(info);
}

// With the mutex held. The node is on the list before the request is on its way, so that the
// fastest result finds it.
Sent try_to_send(DbusInfo* info, const DbusMsg* request, DbusMethodNode* node) {
    release_abandoned(info);
    if (!connected(info)) {
        return Sent::kFailed;
    }
    if (node != nullptr) {
        link_call(info, node);
    }
    const Sent sent = send_record(info->client_fd, request);
    if (node != nullptr && sent != Sent::kWhole) {
        unlink_call(info, node);
    }
    return sent;
}

// Returns when the record is on its way, and `node` (null for a signal) on the list, or with a
// failure, and the node on no list.
DbusCallStatus send_until(DbusInfo* info, const DbusMsg* request, DbusMethodNode* node,
                          int64_t deadline) {
    for (;;) {
        if (!lock_until(info, deadline)) {
            return DBUS_CALL_TIMEOUT;
        }
        const Sent sent = try_to_send(info, request, node);
        const int fd = info->client_fd;
        pthread_mutex_unlock(&info->mutex);
        if (sent != Sent::kNoRoom) {
            return sent == Sent::kWhole ? DBUS_CALL_OK : DBUS_CALL_NO_CONNECTION;
        }
        const int64_t left_ms = (deadline - now_ns() + kNsPerMs - 1) / kNsPerMs;
        if (left_ms <= 0) {
            return DBUS_CALL_TIMEOUT;
        }
        wait_for_room(fd, static_cast<int>(left_ms < kRoomSliceMs ? left_ms : kRoomSliceMs));
    }
}

void take_reply(const DbusMsg* result, DbusReply* reply) {
    if (reply != nullptr) {
        reply->result = result->result;
        reply->data_len = result->data_len;
        memcpy_s(reply->data, sizeof(reply->data), result->data, sizeof(result->data));
    }
}

DbusCallStatus wait_for_result(DbusInfo* info, DbusMethodNode* node, int64_t deadline,
                               DbusReply* reply) {
    const timespec until = to_timespec(deadline);
    DbusCallStatus status = DBUS_CALL_TIMEOUT;
    bool waiting = true;
    pthread_mutex_lock(&node->lock);
    while (node->result_msg == nullptr && waiting) {
        if (!can_bring_results(info)) {
            status = DBUS_CALL_NO_CONNECTION;
            break;
        }
        waiting = pthread_cond_timedwait(&node->cond, &node->lock, &until) != ETIMEDOUT;
    }
    if (node->result_msg != nullptr) {
        take_reply(node->result_msg, reply);
        status = DBUS_CALL_OK;
    }
    pthread_mutex_unlock(&node->lock);
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

// `request` comes cleared.
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

int64_t deadline_in(int32_t timeout_ms) {
    return now_ns() + timeout_ms * kNsPerMs;
}

bool connect_until(int fd, const sockaddr_un& address, int64_t deadline) {
    while (!connect_once(fd, address)) {
        if (now_ns() >= deadline) {
            return false;
        }
        connect_pause(nullptr);
    }
    return true;
}

// Dbus_Register with a patience of the caller's choosing and without its messages.
bool register_until(DbusInfo* info, int64_t deadline) {
    pthread_mutex_init(&info->mutex, nullptr);
    sockaddr_un address;
    set_address_of(&address, info->server_name);
    info->client_fd = open_socket();
    if (info->client_fd > 0 && connect_until(info->client_fd, address, deadline)) {
        start_method_thread(info);
        return true;
    }
    if (info->client_fd > 0) {
        close(info->client_fd);
    }
    return false;
}

bool register_client(DbusInfo* info, int32_t wait_ms) {
    return wait_ms < 0 ? Dbus_Register(info) == 0 : register_until(info, deadline_in(wait_ms));
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
        pthread_mutex_destroy(&info->mutex);
        DbusInfo_Free(info);
        return nullptr;
    }
    return info;
}

DbusCallStatus Dbus_Method_Call(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms, DbusReply* reply) {
    if (!is_valid(info, member, data, len, timeout_ms)) {
        return DBUS_CALL_INVALID;
    }
    const NoCancellation guard;
    const int64_t deadline = deadline_in(timeout_ms);
    DbusMethodNode* call = make_call();
    if (call == nullptr) {
        return DBUS_CALL_NO_MEMORY;
    }
    fill_request(info, DBUS_TYPE_METHOD, member, data, len, call->request_msg);
    DbusCallStatus status = send_until(info, call->request_msg, call, deadline);
    if (status != DBUS_CALL_OK) {
        free_call(call);
        return status;
    }
    status = wait_for_result(info, call, deadline, reply);
    end_call(info, call);
    return status;
}

DbusCallStatus Dbus_Signal_Send(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms) {
    if (!is_valid(info, member, data, len, timeout_ms)) {
        return DBUS_CALL_INVALID;
    }
    const NoCancellation guard;
    const int64_t deadline = deadline_in(timeout_ms);
    DbusMsg request;
    memset_s(&request, sizeof(request), 0, sizeof(request));
    fill_request(info, DBUS_TYPE_SIGNAL, member, data, len, &request);
    return send_until(info, &request, nullptr, deadline);
}

void Dbus_Client_Disconnect(DbusInfo* info) {
    if (info == nullptr) {
        return;
    }
    const pthread_t method_thread = info->method_thread;
    Dbus_UnRegister(info);
    if (method_thread != 0) {
        pthread_join(method_thread, nullptr);
    }
    DbusInfo_Free(info);
}
