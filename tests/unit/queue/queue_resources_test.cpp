// What the queue asks of the C library: allocations, and the life of its mutex and condition.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_queue.h"

namespace {

struct Watch {
    bool on;
    int allocations;
    int refused_allocation;  // its number, counted from 1; 0 for none
    int releases;
    int locks;
    int unlocks;
    int mutex_inits;
    int mutex_destroys;
    int attr_inits;
    int attr_destroys;
    int cond_inits;
    int cond_destroys;
    clockid_t clock;
};

thread_local Watch watch;

bool is_refused() {
    return watch.on && ++watch.allocations == watch.refused_allocation;
}

}  // namespace

extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_condattr_init(pthread_condattr_t* attr);
int __real_pthread_condattr_setclock(pthread_condattr_t* attr, clockid_t clock);
int __real_pthread_condattr_destroy(pthread_condattr_t* attr);
int __real_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attr);
int __real_pthread_cond_destroy(pthread_cond_t* cond);

void* __wrap_malloc(size_t size) {
    return is_refused() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
    return is_refused() ? nullptr : __real_calloc(count, size);
}

void __wrap_free(void* block) {
    watch.releases += watch.on && block != nullptr ? 1 : 0;
    __real_free(block);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    watch.locks += watch.on ? 1 : 0;
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    watch.unlocks += watch.on ? 1 : 0;
    return __real_pthread_mutex_unlock(mutex);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr) {
    watch.mutex_inits++;
    return __real_pthread_mutex_init(mutex, attr);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    watch.mutex_destroys++;
    return __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_condattr_init(pthread_condattr_t* attr) {
    watch.attr_inits++;
    return __real_pthread_condattr_init(attr);
}

int __wrap_pthread_condattr_setclock(pthread_condattr_t* attr, clockid_t clock) {
    watch.clock = clock;
    return __real_pthread_condattr_setclock(attr, clock);
}

int __wrap_pthread_condattr_destroy(pthread_condattr_t* attr) {
    watch.attr_destroys++;
    return __real_pthread_condattr_destroy(attr);
}

int __wrap_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attr) {
    watch.cond_inits++;
    return __real_pthread_cond_init(cond, attr);
}

int __wrap_pthread_cond_destroy(pthread_cond_t* cond) {
    watch.cond_destroys++;
    return __real_pthread_cond_destroy(cond);
}

}  // extern "C"

namespace {

constexpr int kDepth = 10;
constexpr int kBlocks = 2 + kDepth;  // the handle, the pointer array, each slot

void watch_from_here(int refused_allocation = 0) {
    watch = {};
    watch.clock = CLOCK_REALTIME;
    watch.refused_allocation = refused_allocation;
    watch.on = true;
}

TEST(AQueuesMemory, IsOneBlockForTheHandleOneForTheArrayAndOneForEachSlot) {
    watch_from_here();
    QN_QUEUE* queue = QN_QUEUE_Create(33, kDepth, 0, "event");
    EXPECT_EQ(watch.allocations, kBlocks);
    EXPECT_EQ(watch.releases, 0);
    QN_QUEUE_Destroy(queue);
    watch.on = false;
    EXPECT_EQ(watch.allocations, kBlocks);
    EXPECT_EQ(watch.releases, kBlocks);
}

TEST(AQueuesMemory, DoesNotGrowAfterItsCreation) {
    QN_QUEUE* queue = QN_QUEUE_Create(33, kDepth, 1, "event");
    uint8_t element[33] = {};
    watch_from_here();
    for (int i = 0; i < 3 * kDepth; i++) {
        ASSERT_EQ(QN_QUEUE_Push(queue, element), 0);
        ASSERT_EQ(QN_QUEUE_Pop(queue, element), 0);
    }
    watch.on = false;
    EXPECT_EQ(watch.allocations, 0);
    EXPECT_EQ(watch.releases, 0);
    QN_QUEUE_Destroy(queue);
}

TEST(AQueueThatCannotBeAllocated, IsNullLogsNothingAndKeepsNoMemory) {
    for (int refused = 1; refused <= kBlocks; refused++) {
        SCOPED_TRACE("refused allocation " + std::to_string(refused));
        QN_QUEUE* queue = nullptr;
        const std::string text = quon::test::captured_output([&] {
            watch_from_here(refused);
            queue = QN_QUEUE_Create(33, kDepth, 1, "event");
            watch.on = false;
        });
        EXPECT_EQ(queue, nullptr);
        EXPECT_EQ(text, "");
        EXPECT_EQ(watch.allocations, refused);
        EXPECT_EQ(watch.releases, refused - 1);
        EXPECT_EQ(watch.cond_inits, watch.cond_destroys);
        EXPECT_EQ(watch.attr_inits, watch.attr_destroys);
    }
}

void expect_locks(int expected, const std::function<void()>& call) {
    watch_from_here();
    call();
    watch.on = false;
    EXPECT_EQ(watch.locks, expected);
    EXPECT_EQ(watch.unlocks, expected);
}

TEST(AQueuesLock, IsTakenOnceByEveryCallButGetLen) {
    quon::test::set_profile({.level_limit = 0});
    QN_QUEUE* queue = QN_QUEUE_Create(33, 1, 0, "event");
    uint8_t element[33] = {};
    expect_locks(1, [&] { EXPECT_EQ(QN_QUEUE_Push(queue, element), 0); });
    expect_locks(1, [&] { EXPECT_EQ(QN_QUEUE_Push(queue, element), -1); });
    expect_locks(0, [&] { EXPECT_EQ(QN_QUEUE_GetLen(queue), 1); });
    expect_locks(1, [&] { EXPECT_EQ(QN_QUEUE_Pop(queue, element), 0); });
    expect_locks(1, [&] { EXPECT_EQ(QN_QUEUE_Pop(queue, element), -1); });
    expect_locks(1, [&] { QN_QUEUE_Destroy(queue); });
    quon::test::set_default_profile();
}

struct LifeRow {
    unsigned flags;
    int conditions;
};

TEST(AQueuesLife, MakesAndDestroysAConditionOnlyWhenItsFlagsAskForOne) {
    for (const LifeRow& row : {LifeRow{0, 0}, LifeRow{1, 1}, LifeRow{0xFF, 1}, LifeRow{0x100, 0}}) {
        SCOPED_TRACE("flags " + std::to_string(row.flags));
        watch_from_here();
        QN_QUEUE* queue = QN_QUEUE_Create(33, kDepth, row.flags, "event");
        EXPECT_EQ(watch.attr_inits, row.conditions);
        EXPECT_EQ(watch.cond_inits, row.conditions);
        EXPECT_EQ(watch.clock, row.conditions != 0 ? CLOCK_MONOTONIC : CLOCK_REALTIME);
        QN_QUEUE_Destroy(queue);
        watch.on = false;
        EXPECT_EQ(watch.attr_destroys, row.conditions);
        EXPECT_EQ(watch.cond_destroys, row.conditions);
    }
}

TEST(AQueuesLife, NeedsNoMutexInitialisationAndDestroysItsMutexOnce) {
    watch_from_here();
    QN_QUEUE_Destroy(QN_QUEUE_Create(33, kDepth, 0, "event"));
    watch.on = false;
    EXPECT_EQ(watch.mutex_inits, 0);
    EXPECT_EQ(watch.mutex_destroys, 1);
}

}  // namespace
