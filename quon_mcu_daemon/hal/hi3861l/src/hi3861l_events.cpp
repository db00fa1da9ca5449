#include "hi3861l_events.h"

#include "hi3861l_api.h"
#include "hi3861l_context.h"

namespace {

constexpr int kEventQueueDepth = 10;
constexpr unsigned kEventQueueFlags = 0;  // no condition variable: nobody waits

int32_t hi3861l_event_pop(QN_QUEUE* queue, uint8_t* event) {
    if (QN_QUEUE_Pop(queue, event) != 0) {
        return hi3861l_failed(__func__, __LINE__, "QN_QUEUE_Pop failed");
    }
    return 0;
}

int32_t take_event(uint8_t* event) {
    if (QN_QUEUE_GetLen(g_hi3861l.events) <= 0) {
        return -1;
    }
    return hi3861l_event_pop(g_hi3861l.events, event);
}

}  // namespace

void hi3861l_event_init() {
    QN_QUEUE* const queue =
        QN_QUEUE_Create(sizeof(hi3861l_event), kEventQueueDepth, kEventQueueFlags, "hi3861 event");
    if (queue == nullptr) {
        HI3861L_LOG(QN_LOG_ERROR, "QN_QUEUE_Create failed\n");
    }
    pthread_mutex_lock(&g_hi3861l.event_lock);
    g_hi3861l.events = queue;
    pthread_mutex_unlock(&g_hi3861l.event_lock);
}

// The channel is still running: taking the lock keeps a push from meeting a freed queue.
void hi3861l_event_deinit() {
    pthread_mutex_lock(&g_hi3861l.event_lock);
    QN_QUEUE_Destroy(g_hi3861l.events);
    g_hi3861l.events = nullptr;
    pthread_mutex_unlock(&g_hi3861l.event_lock);
}

int32_t hi3861l_event_push(const uint8_t* payload) {
    pthread_mutex_lock(&g_hi3861l.event_lock);
    const int result = QN_QUEUE_Push(g_hi3861l.events, payload);
    pthread_mutex_unlock(&g_hi3861l.event_lock);
    return result == 0 ? 0 : hi3861l_failed(__func__, __LINE__, "QN_QUEUE_Push failed");
}

int32_t hi3861l_api_get_event_info(uint8_t* event) {
    if (event == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    pthread_mutex_lock(&g_hi3861l.event_lock);
    const int32_t result = take_event(event);
    pthread_mutex_unlock(&g_hi3861l.event_lock);
    return result;
}
