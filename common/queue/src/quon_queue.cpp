#include "quon_queue.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "quon_log.h"
#include "securec.h"

namespace {

constexpr char kTag[] = "TAG";  // this literal text: intended
constexpr char kSourceName[] = "quon_queue";
constexpr char kNullHandle[] = "queueHdl is NULL!\n";

#define QUEUE_ERROR(...) \
    QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, __func__, __LINE__, __VA_ARGS__)

// Zero elements and zero bytes are legal, but malloc(0) may return null.
size_t at_least_one(int wanted) {
    return wanted > 0 ? static_cast<size_t>(wanted) : 1;
}

bool allocate_slots(QN_QUEUE* queue) {
    queue->slots = static_cast<void**>(calloc(at_least_one(queue->depth), sizeof(void*)));
    if (queue->slots == nullptr) {
        return false;
    }
    for (int32_t i = 0; i < queue->depth; i++) {
        queue->slots[i] = malloc(at_least_one(queue->elem_size));
        if (queue->slots[i] == nullptr) {
            return false;
        }
    }
    return true;
}

void free_slots(QN_QUEUE* queue) {
    if (queue->slots == nullptr) {
        return;
    }
    for (int32_t i = 0; i < queue->depth; i++) {
        free(queue->slots[i]);
        queue->slots[i] = nullptr;
    }
    free(queue->slots);
    queue->slots = nullptr;
}

void init_cond(QN_QUEUE* queue) {
    pthread_condattr_init(&queue->cond_attr);
    pthread_condattr_setclock(&queue->cond_attr, CLOCK_MONOTONIC);
    pthread_cond_init(&queue->cond, &queue->cond_attr);
}

// Written under the mutex, read without it by QN_QUEUE_GetLen.
void add_to_count(QN_QUEUE* queue, int32_t change) {
    __atomic_store_n(&queue->count, queue->count + change, __ATOMIC_RELAXED);
}

uint32_t next_slot(const QN_QUEUE* queue, uint32_t slot) {
    return (slot + 1) % static_cast<uint32_t>(queue->depth);
}

void copy_element(const QN_QUEUE* queue, void* into, const void* from) {
    const auto size = static_cast<size_t>(queue->elem_size);
    if (size > 0) {
        (void)memcpy_s(into, size, from, size);
    }
}

// Both return false when there is no room or no element.
bool push_locked(QN_QUEUE* queue, const void* elem) {
    if (queue->count >= queue->depth) {
        return false;
    }
    if (elem != nullptr) {
        copy_element(queue, queue->slots[queue->tail], elem);
    }
    queue->tail = next_slot(queue, queue->tail);
    add_to_count(queue, 1);
    return true;
}

bool pop_locked(QN_QUEUE* queue, void* out) {
    if (queue->count == 0) {
        return false;
    }
    if (out != nullptr) {
        copy_element(queue, out, queue->slots[queue->head]);
    }
    queue->head = next_slot(queue, queue->head);
    add_to_count(queue, -1);
    return true;
}

}  // namespace

QN_QUEUE* QN_QUEUE_Create(int elem_size, int depth, unsigned flags, const char* name) {
    // A zeroed mutex is equivalent to a statically initialised one.
    auto* queue = static_cast<QN_QUEUE*>(calloc(1, sizeof(QN_QUEUE)));
    if (queue == nullptr) {
        return nullptr;
    }
    queue->depth = depth > 0 ? depth : 0;
    queue->elem_size = elem_size > 0 ? elem_size : 0;
    if (!allocate_slots(queue)) {
        free_slots(queue);
        free(queue);
        return nullptr;
    }
    if (name != nullptr) {
        snprintf(queue->name, sizeof(queue->name), "%s", name);
    }
    queue->enable_cond = static_cast<uint8_t>(flags & 0xFF);
    if (queue->enable_cond != 0) {
        init_cond(queue);
    }
    return queue;
}

void QN_QUEUE_Destroy(QN_QUEUE* queue) {
    if (queue == nullptr) {
        QUEUE_ERROR(kNullHandle);
        return;
    }
    pthread_mutex_lock(&queue->mutex);
    free_slots(queue);
    pthread_mutex_unlock(&queue->mutex);
    pthread_mutex_destroy(&queue->mutex);
    if (queue->enable_cond != 0) {
        pthread_cond_destroy(&queue->cond);
        pthread_condattr_destroy(&queue->cond_attr);
    }
    free(queue);
}

int QN_QUEUE_GetLen(QN_QUEUE* queue) {
    if (queue == nullptr) {
        QUEUE_ERROR(kNullHandle);
        return -1;
    }
    return __atomic_load_n(&queue->count, __ATOMIC_RELAXED);
}

int QN_QUEUE_Push(QN_QUEUE* queue, const void* elem) {
    if (queue == nullptr) {
        QUEUE_ERROR(kNullHandle);
        return -1;
    }
    pthread_mutex_lock(&queue->mutex);
    const bool pushed = push_locked(queue, elem);
    pthread_mutex_unlock(&queue->mutex);
    if (!pushed) {
        QUEUE_ERROR("queue %s is full!\n", queue->name);
    }
    return pushed ? 0 : -1;
}

int QN_QUEUE_Pop(QN_QUEUE* queue, void* out) {
    if (queue == nullptr) {
        QUEUE_ERROR(kNullHandle);
        return -1;
    }
    pthread_mutex_lock(&queue->mutex);
    const bool popped = pop_locked(queue, out);
    pthread_mutex_unlock(&queue->mutex);
    if (!popped) {
        QUEUE_ERROR("queue %s is empty!\n", queue->name);
    }
    return popped ? 0 : -1;
}
