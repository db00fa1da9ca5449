#include <cstddef>

#include "quon_queue.h"

// The fields and their order.
static_assert(offsetof(QN_QUEUE, mutex) == 0);
static_assert(offsetof(QN_QUEUE, cond) > offsetof(QN_QUEUE, mutex));
static_assert(offsetof(QN_QUEUE, cond_attr) == offsetof(QN_QUEUE, cond) + sizeof(pthread_cond_t));
static_assert(offsetof(QN_QUEUE, enable_cond) ==
              offsetof(QN_QUEUE, cond_attr) + sizeof(pthread_condattr_t));
static_assert(sizeof(QN_QUEUE::enable_cond) == 1);
static_assert(offsetof(QN_QUEUE, tail) == offsetof(QN_QUEUE, head) + 4);
static_assert(offsetof(QN_QUEUE, count) == offsetof(QN_QUEUE, tail) + 4);
static_assert(offsetof(QN_QUEUE, depth) == offsetof(QN_QUEUE, count) + 4);
static_assert(offsetof(QN_QUEUE, elem_size) == offsetof(QN_QUEUE, depth) + 4);
static_assert(offsetof(QN_QUEUE, slots) > offsetof(QN_QUEUE, elem_size));
static_assert(offsetof(QN_QUEUE, name) == offsetof(QN_QUEUE, slots) + sizeof(void*));
static_assert(sizeof(QN_QUEUE::name) == 32);
