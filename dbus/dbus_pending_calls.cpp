#include "dbus_pending_calls.h"

#include <stddef.h>
#include <stdlib.h>

#include "dbus_clock.h"
#include "dbus_records.h"
#include "securec.h"

namespace quon::dbus {

namespace {

// One call in one allocation; its node links it into the list.
struct Call {
    DbusMethodNode node;
    DbusMethodNode* next_abandoned;
    uint32_t connection;
    DbusMsg request;
};
static_assert(offsetof(Call, node) == 0);

Call* call_of(DbusMethodNode* node) {
    return reinterpret_cast<Call*>(node);
}

const Call* call_of(const DbusMethodNode* node) {
    return reinterpret_cast<const Call*>(node);
}

}  // namespace

DbusMethodNode* make_call() {
    auto* call = static_cast<Call*>(malloc(sizeof(Call)));
    if (call == nullptr) {
        return nullptr;
    }
    memset_s(call, sizeof(*call), 0, sizeof(*call));
    call->node.request_msg = &call->request;
    pthread_mutex_init(&call->node.lock, nullptr);
    init_condition(&call->node.cond);
    return &call->node;
}

void free_call(DbusMethodNode* call) {
    pthread_cond_destroy(&call->cond);
    pthread_mutex_destroy(&call->lock);
    free(call->result_msg);
    free(call_of(call));
}

void note_connection(DbusMethodNode* call, uint32_t number) {
    call_of(call)->connection = number;
}

uint32_t connection_of(const DbusMethodNode* call) {
    return call_of(call)->connection;
}

void link_call(DbusInfo* info, DbusMethodNode* call) {
    call->next = info->method_list;
    info->method_list = call;
}

void unlink_call(DbusInfo* info, const DbusMethodNode* call) {
    for (DbusMethodNode** at = &info->method_list; *at != nullptr; at = &(*at)->next) {
        if (*at == call) {
            *at = call->next;
            return;
        }
    }
}

void abandon_call(DbusMethodNode** abandoned, DbusMethodNode* call) {
    DbusMethodNode* top = __atomic_load_n(abandoned, __ATOMIC_RELAXED);
    do {
        call_of(call)->next_abandoned = top;
    } while (!__atomic_compare_exchange_n(abandoned, &top, call, false, __ATOMIC_RELEASE,
                                          __ATOMIC_RELAXED));
}

void release_abandoned(DbusInfo* info, DbusMethodNode** abandoned) {
    DbusMethodNode* call = __atomic_exchange_n(abandoned, nullptr, __ATOMIC_ACQUIRE);
    while (call != nullptr) {
        DbusMethodNode* next = call_of(call)->next_abandoned;
        unlink_call(info, call);
        free_call(call);
        call = next;
    }
}

DbusMethodNode* find_call(DbusInfo* info, const DbusMsg* result) {
    for (DbusMethodNode* call = info->method_list; call != nullptr; call = call->next) {
        if (call->request_msg->id == result->id &&
            same_name(call->request_msg->name, result->name)) {
            return call;
        }
    }
    return nullptr;
}

void wake_call(DbusMethodNode* call) {
    pthread_mutex_lock(&call->lock);
    pthread_cond_signal(&call->cond);
    pthread_mutex_unlock(&call->lock);
}

void wake_all_calls(DbusInfo* info) {
    for (DbusMethodNode* call = info->method_list; call != nullptr; call = call->next) {
        wake_call(call);
    }
}

}  // namespace quon::dbus
