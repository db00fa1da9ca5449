#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "captured_output.h"
#include "expected_texts.h"
#include "profile_for_test.h"
#include "quon_log.h"
#include "quon_queue.h"

namespace {

namespace expected = quon::test::expected;
using quon::test::captured_output;
using quon::test::set_profile;

constexpr char kName[] = "hi3861 event";

// Messages with tag, file and function: the first columns of the failure table.
class AQueue : public quon::test::WithDefaultProfile {
  protected:
    AQueue() {
        set_profile(
            {.fmt_mask = QN_LOG_FMT_LEVEL | QN_LOG_FMT_TAG | QN_LOG_FMT_FILE | QN_LOG_FMT_FUNC,
             .level_limit = 1});
    }
};

struct Destroyer {
    void operator()(QN_QUEUE* queue) const { QN_QUEUE_Destroy(queue); }
};
using Queue = std::unique_ptr<QN_QUEUE, Destroyer>;

Queue make_queue(int elem_size, int depth, unsigned flags = 0, const char* name = kName) {
    return Queue(QN_QUEUE_Create(elem_size, depth, flags, name));
}

int push(const Queue& queue, int value) {
    return QN_QUEUE_Push(queue.get(), &value);
}

// The popped value, or a value that no test pushes.
int pop(const Queue& queue) {
    int value = INT_MIN;
    return QN_QUEUE_Pop(queue.get(), &value) == 0 ? value : INT_MIN;
}

std::string message(const char* function, const std::string& text) {
    return std::string("E/TAG      (quon_queue ") + function + ") " + text + "\n";
}

using AQueueOfDepthTen = AQueue;

TEST_F(AQueueOfDepthTen, RefusesTheEleventhPushAndLogsItsName) {
    const Queue queue = make_queue(sizeof(int), 10);
    for (int value = 0; value < 10; value++) {
        EXPECT_EQ(push(queue, value), 0);
    }
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(push(queue, 10), -1); }),
              message("QN_QUEUE_Push", expected::kEventQueueFull));
    EXPECT_EQ(QN_QUEUE_GetLen(queue.get()), 10);
}

TEST_F(AQueueOfDepthTen, TakesOneMoreAfterAPopAndLosesNothing) {
    const Queue queue = make_queue(sizeof(int), 10);
    for (int value = 0; value < 10; value++) {
        push(queue, value);
    }
    captured_output([&] { push(queue, 99); });
    EXPECT_EQ(pop(queue), 0);
    EXPECT_EQ(push(queue, 10), 0);
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(push(queue, 11), -1); }),
              message("QN_QUEUE_Push", expected::kEventQueueFull));
    for (int value = 1; value <= 10; value++) {
        EXPECT_EQ(pop(queue), value);
    }
}

TEST_F(AQueue, GivesItsElementsInOrderAcrossTheWrapOfTheRing) {
    const Queue queue = make_queue(sizeof(int), 3);
    int next_push = 0;
    int next_pop = 0;
    for (int round = 0; round < 10; round++) {
        EXPECT_EQ(push(queue, next_push++), 0);
        EXPECT_EQ(push(queue, next_push++), 0);
        EXPECT_EQ(pop(queue), next_pop++);
        EXPECT_EQ(pop(queue), next_pop++);
    }
}

TEST_F(AQueue, KeepsItsInvariantsThroughAnyCalls) {
    constexpr int kDepth = 5;
    const Queue queue = make_queue(sizeof(int), kDepth);
    set_profile({.level_limit = 0});
    std::deque<int> model;
    std::minstd_rand random(7);
    for (int step = 0; step < 2000; step++) {
        if (random() % 2 == 0) {
            const bool room = model.size() < kDepth;
            EXPECT_EQ(push(queue, step), room ? 0 : -1);
            if (room) {
                model.push_back(step);
            }
        } else {
            EXPECT_EQ(pop(queue), model.empty() ? INT_MIN : model.front());
            if (!model.empty()) {
                model.pop_front();
            }
        }
        ASSERT_EQ(QN_QUEUE_GetLen(queue.get()), static_cast<int>(model.size()));
        ASSERT_LT(queue->head, uint32_t{kDepth});
        ASSERT_EQ(queue->tail, (queue->head + static_cast<uint32_t>(queue->count)) % kDepth);
    }
}

TEST_F(AQueue, CopiesWholeElementsAndNoByteMore) {
    const Queue queue = make_queue(33, 2);
    std::array<uint8_t, 33> elem;
    for (size_t i = 0; i < elem.size(); i++) {
        elem[i] = static_cast<uint8_t>(i + 1);
    }
    EXPECT_EQ(QN_QUEUE_Push(queue.get(), elem.data()), 0);
    std::array<uint8_t, 34> out;
    out.fill(0xEE);
    EXPECT_EQ(QN_QUEUE_Pop(queue.get(), out.data()), 0);
    EXPECT_EQ(std::memcmp(out.data(), elem.data(), elem.size()), 0);
    EXPECT_EQ(out[33], 0xEE);
}

TEST_F(AQueue, KeepsACopyThatTheCallerCannotChangeAnyMore) {
    const Queue queue = make_queue(sizeof(int), 1);
    int value = 1;
    QN_QUEUE_Push(queue.get(), &value);
    value = 2;
    EXPECT_EQ(pop(queue), 1);
}

TEST_F(AQueue, ThatIsNewLogsThatItIsEmptyOnAPop) {
    const Queue queue = make_queue(sizeof(int), 10);
    int out = 5;
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(QN_QUEUE_Pop(queue.get(), &out), -1); }),
              message("QN_QUEUE_Pop", expected::kEventQueueEmpty));
    EXPECT_EQ(out, 5);
}

TEST_F(AQueue, ThatIsNewHoldsNothing) {
    const Queue queue = make_queue(33, 10);
    EXPECT_EQ(QN_QUEUE_GetLen(queue.get()), 0);
    EXPECT_EQ(queue->head, 0U);
    EXPECT_EQ(queue->tail, 0U);
    EXPECT_EQ(queue->count, 0);
    EXPECT_EQ(queue->depth, 10);
    EXPECT_EQ(queue->elem_size, 33);
}

TEST_F(AQueue, OfDepthZeroOrBelowIsAlwaysFullAndAlwaysEmpty) {
    for (const int depth : {0, -1, INT_MIN}) {
        const Queue queue = make_queue(sizeof(int), depth);
        ASSERT_NE(queue, nullptr);
        for (int round = 0; round < 2; round++) {
            EXPECT_EQ(captured_output([&] { EXPECT_EQ(push(queue, 1), -1); }),
                      message("QN_QUEUE_Push", expected::kEventQueueFull));
            EXPECT_EQ(captured_output([&] { EXPECT_EQ(QN_QUEUE_Pop(queue.get(), nullptr), -1); }),
                      message("QN_QUEUE_Pop", expected::kEventQueueEmpty));
        }
        EXPECT_EQ(QN_QUEUE_GetLen(queue.get()), 0);
    }
}

TEST_F(AQueue, OfElementsWithoutBytesStillCounts) {
    const Queue queue = make_queue(0, 2);
    ASSERT_NE(queue, nullptr);
    const char byte = 'x';
    EXPECT_EQ(QN_QUEUE_Push(queue.get(), &byte), 0);
    char out = 'o';
    EXPECT_EQ(QN_QUEUE_Pop(queue.get(), &out), 0);
    EXPECT_EQ(out, 'o');
}

struct NameRow {
    const char* given;
    const char* kept;
};

TEST_F(AQueue, KeepsTheFirst31CharactersOfItsName) {
    const std::vector<NameRow> rows = {
        {nullptr, ""},
        {"", ""},
        {"a", "a"},
        {"thirty-one characters of a name", "thirty-one characters of a name"},
        {"thirty-one characters of a name+", "thirty-one characters of a name"},
        {"thirty-one characters of a name, and 40.", "thirty-one characters of a name"},
    };
    for (const NameRow& row : rows) {
        const Queue queue = make_queue(1, 0, 0, row.given);
        EXPECT_STREQ(queue->name, row.kept);
        EXPECT_EQ(captured_output([&] { QN_QUEUE_Push(queue.get(), nullptr); }),
                  message("QN_QUEUE_Push", std::string("queue ") + row.kept + " is full!"));
        EXPECT_EQ(captured_output([&] { QN_QUEUE_Pop(queue.get(), nullptr); }),
                  message("QN_QUEUE_Pop", std::string("queue ") + row.kept + " is empty!"));
    }
}

TEST_F(AQueue, PrintsItsNameAsItIs) {
    const Queue queue = make_queue(1, 0, 0, "%s%n");
    EXPECT_EQ(captured_output([&] { QN_QUEUE_Push(queue.get(), nullptr); }),
              message("QN_QUEUE_Push", "queue %s%n is full!"));
}

TEST_F(AQueue, CountsANullElementAndLeavesTheOldBytesOfItsSlot) {
    const Queue queue = make_queue(sizeof(int), 1);
    EXPECT_EQ(push(queue, 77), 0);
    EXPECT_EQ(pop(queue), 77);
    EXPECT_EQ(QN_QUEUE_Push(queue.get(), nullptr), 0);
    EXPECT_EQ(QN_QUEUE_GetLen(queue.get()), 1);
    EXPECT_EQ(pop(queue), 77);
    EXPECT_EQ(QN_QUEUE_GetLen(queue.get()), 0);
}

TEST_F(AQueue, DiscardsItsOldestElementOnAPopToNull) {
    const Queue queue = make_queue(sizeof(int), 2);
    push(queue, 1);
    push(queue, 2);
    EXPECT_EQ(QN_QUEUE_Pop(queue.get(), nullptr), 0);
    EXPECT_EQ(QN_QUEUE_GetLen(queue.get()), 1);
    EXPECT_EQ(pop(queue), 2);
}

struct NullRow {
    const char* function;
    int result;
    std::function<int()> call;
};

TEST_F(AQueue, ThatIsNullIsLoggedByEveryCall) {
    int elem = 0;
    const std::vector<NullRow> rows = {
        {"QN_QUEUE_Destroy", 0, [] { return QN_QUEUE_Destroy(nullptr), 0; }},
        {"QN_QUEUE_GetLen", -1, [] { return QN_QUEUE_GetLen(nullptr); }},
        {"QN_QUEUE_Push", -1, [&] { return QN_QUEUE_Push(nullptr, &elem); }},
        {"QN_QUEUE_Pop", -1, [&] { return QN_QUEUE_Pop(nullptr, &elem); }},
    };
    for (const NullRow& row : rows) {
        EXPECT_EQ(captured_output([&] { EXPECT_EQ(row.call(), row.result); }),
                  message(row.function, expected::kNoQueue));
    }
}

struct FlagRow {
    unsigned flags;
    int enable_cond;
};

TEST_F(AQueue, TakesTheLowByteOfItsFlagsForTheCondition) {
    for (const FlagRow& row :
         {FlagRow{0, 0}, FlagRow{1, 1}, FlagRow{0x80, 0x80}, FlagRow{0xFF, 0xFF}, FlagRow{0x100, 0},
          FlagRow{0xFFFFFF00, 0}, FlagRow{0x102, 2}}) {
        const Queue queue = make_queue(1, 1, row.flags);
        EXPECT_EQ(queue->enable_cond, row.enable_cond) << row.flags;
    }
}

int64_t monotonic_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

TEST_F(AQueue, WithAConditionLetsItsCallersWaitOnTheMonotonicClock) {
    const Queue queue = make_queue(1, 1, 1);
    clockid_t clock = CLOCK_REALTIME;
    ASSERT_EQ(pthread_condattr_getclock(&queue->cond_attr, &clock), 0);
    EXPECT_EQ(clock, CLOCK_MONOTONIC);

    timespec deadline = {};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_nsec += 20'000'000;
    deadline.tv_sec += deadline.tv_nsec / 1'000'000'000;
    deadline.tv_nsec %= 1'000'000'000;
    pthread_mutex_lock(&queue->mutex);
    int result = 0;
    while (result == 0) {  // a wait may end early by itself
        result = pthread_cond_timedwait(&queue->cond, &queue->mutex, &deadline);
    }
    pthread_mutex_unlock(&queue->mutex);
    EXPECT_EQ(result, ETIMEDOUT);
    EXPECT_GE(monotonic_ms(), int64_t{deadline.tv_sec} * 1000 + deadline.tv_nsec / 1'000'000);
}

QN_QUEUE* queue_of_the_hook;
int hook_calls;

void expect_unlocked(QnLogRecord) {
    hook_calls++;
    EXPECT_EQ(pthread_mutex_trylock(&queue_of_the_hook->mutex), 0);
    pthread_mutex_unlock(&queue_of_the_hook->mutex);
}

TEST_F(AQueue, NeverLogsUnderItsLock) {
    const Queue queue = make_queue(1, 0);
    queue_of_the_hook = queue.get();
    hook_calls = 0;
    set_profile({.hook = expect_unlocked});
    captured_output([&] {
        QN_QUEUE_Push(queue.get(), nullptr);
        QN_QUEUE_Pop(queue.get(), nullptr);
    });
    EXPECT_EQ(hook_calls, 2);
}

TEST_F(AQueue, MayBeDestroyedWhileItHoldsElements) {
    Queue queue = make_queue(sizeof(int), 4, 1);
    push(queue, 1);
    push(queue, 2);
    EXPECT_EQ(captured_output([&] { queue.reset(); }), "");
}

}  // namespace
