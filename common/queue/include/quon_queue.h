// A bounded ring of fixed-size elements, copied in and out by value. It never blocks: pushing to a
// full queue and popping from an empty one fail at once.
//
// Push, pop and length may be called from any thread. The handle must not be used after
// destruction.
#ifndef QUON_QUEUE_H
#define QUON_QUEUE_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { QN_QUEUE_NAME_SIZE = 32 };

// The handle. When `enable_cond` is not 0, callers may wait on `cond` (monotonic clock) under
// `mutex`; this library never signals it. The other fields are read-only.
typedef struct QN_QUEUE {
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    pthread_condattr_t cond_attr;
    uint8_t enable_cond;  // low byte of the creation flags
    uint32_t head;        // slot of the next pop
    uint32_t tail;        // slot of the next push
    int32_t count;
    int32_t depth;
    int32_t elem_size;
    void** slots;
    char name[QN_QUEUE_NAME_SIZE];
} QN_QUEUE;

// Creates a queue of `depth` elements of `elem_size` bytes. A depth below 1 behaves as 0: always
// full and always empty. A non-zero low byte of `flags` requests the condition variable. `name` is
// cut to 31 characters and may be null. Returns null when out of memory, with nothing logged and
// nothing left allocated.
QN_QUEUE* QN_QUEUE_Create(int elem_size, int depth, unsigned flags, const char* name);

// Releases the queue and everything in it. A null handle is logged.
void QN_QUEUE_Destroy(QN_QUEUE* queue);

// Number of queued elements, which may change at once. A null handle is logged and gives -1.
int QN_QUEUE_GetLen(QN_QUEUE* queue);

// Copies `elem_size` bytes of `elem` in. A null `elem` takes the slot and leaves its old bytes
// (intended: a reservation without data). Returns 0, or -1 with a log line when the queue is full
// or the handle is null.
int QN_QUEUE_Push(QN_QUEUE* queue, const void* elem);

// Copies the oldest element to `out`, of at least `elem_size` bytes; a null `out` discards it.
// Returns 0, or -1 with a log line when the queue is empty or the handle is null.
int QN_QUEUE_Pop(QN_QUEUE* queue, void* out);

#ifdef __cplusplus
}
#endif

#endif
