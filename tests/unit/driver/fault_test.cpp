// What no chip and no network tool can bring about: memory that is short, a format that fails, and
// a wait that ends for a reason of the test's choice (linker option --wrap).
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

#include "captured_output.h"
#include "driver_world.h"
#include "expected_texts.h"
#include "operation_calls.h"
#include "printed_lines.h"
#include "quon_queue.h"
#include "securec.h"
#include "waiting.h"

namespace {

thread_local std::size_t g_failing_malloc_size = 0;
bool g_snprintf_fails = false;
bool g_event_is_taken = false;
std::function<void()> g_during_push;
std::function<void()> g_during_destroy;
// Stands in for the wait while it is set. The mutex is free during the call.
std::function<int(const timespec&)> g_wait;

}  // namespace

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
    if (size != 0 && size == g_failing_malloc_size) {
        g_failing_malloc_size = 0;
        return nullptr;
    }
    return __real_malloc(size);
}

void* __real_calloc(size_t count, size_t size);
void* __wrap_calloc(size_t count, size_t size) {
    if (size != 0 && count * size == g_failing_malloc_size) {
        g_failing_malloc_size = 0;
        return nullptr;
    }
    return __real_calloc(count, size);
}

int __wrap_snprintf_s(char* text, size_t size, size_t count, const char* format, ...) {
    if (g_snprintf_fails) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int written = vsnprintf_s(text, size, count, format, arguments);
    va_end(arguments);
    return written;
}

// As if another thread took the event between the look at the length and the pop.
int __real_QN_QUEUE_GetLen(QN_QUEUE* queue);
int __wrap_QN_QUEUE_GetLen(QN_QUEUE* queue) {
    return g_event_is_taken ? 1 : __real_QN_QUEUE_GetLen(queue);
}

// Pushes and the end of the queue, in the order in which they happen.
int __real_QN_QUEUE_Push(QN_QUEUE* queue, const void* elem);
int __wrap_QN_QUEUE_Push(QN_QUEUE* queue, const void* elem) {
    if (g_during_push) {
        g_during_push();
    }
    return __real_QN_QUEUE_Push(queue, elem);
}

void __real_QN_QUEUE_Destroy(QN_QUEUE* queue);
void __wrap_QN_QUEUE_Destroy(QN_QUEUE* queue) {
    if (g_during_destroy) {
        g_during_destroy();
    }
    __real_QN_QUEUE_Destroy(queue);
}

int __real_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    if (!g_wait) {
        return __real_pthread_cond_timedwait(cond, mutex, deadline);
    }
    pthread_mutex_unlock(mutex);
    const int result = g_wait(*deadline);
    pthread_mutex_lock(mutex);
    return result;
}

}  // extern "C"

namespace quon::test {
namespace {

class AFault : public AStartedDriver {
  protected:
    void TearDown() override {
        g_failing_malloc_size = 0;
        g_snprintf_fails = false;
        g_event_is_taken = false;
        g_during_push = nullptr;
        g_during_destroy = nullptr;
        g_wait = nullptr;
        AStartedDriver::TearDown();
    }
    std::uint8_t area[384] = {};
};

using AnEventQueue = AFault;

// --- memory

TEST_F(AFault, OfMemoryFailsTheSendOfACommand) {
    g_failing_malloc_size = 6;  // five bytes of head and one of payload
    EXPECT_EQ(ops->set_led_state(1), -1);
    EXPECT_EQ(log_lines(),
              (std::vector{driver_line(1, "hi3861l_send_data", expected::kMallocFailedLine),
                           driver_line(1, "hi3861l_send_msg_async", expected::kSendDataFailedLine),
                           failure_line("hi3861l_api_set_led", expected::kAsyncSendFailed)}));
    EXPECT_TRUE(channel().frames().empty());
    EXPECT_EQ(ops->set_led_state(1), 0);
}

TEST_F(AFault, OfMemoryFailsTheSendOfAQuery) {
    g_failing_malloc_size = 5;
    EXPECT_EQ(ops->get_time(area), -1);
    EXPECT_EQ(log_lines(),
              (std::vector{driver_line(1, "hi3861l_send_data", expected::kMallocFailedLine),
                           driver_line(1, "hi3861l_send_msg_sync", expected::kSendDataFailedLine),
                           failure_line("hi3861l_api_get_time", expected::kSyncSendFailed)}));
}

TEST_F(AFault, OfMemoryLeavesTheDriverWithoutAnEventQueue) {
    ASSERT_EQ(ops->deinit(), 0);
    forget_log();
    g_failing_malloc_size = sizeof(QN_QUEUE);
    EXPECT_EQ(ops->init(), 0);
    EXPECT_EQ(log_lines_up_to(1),
              std::vector{driver_line(1, "hi3861l_event_init", expected::kQueueFailedLine)});

    const LogLine null_push = {1, "TAG", "quon_queue", "QN_QUEUE_Push",
                               std::string(expected::kNoQueue) + "\n"};
    const LogLine null_length = {1, "TAG", "quon_queue", "QN_QUEUE_GetLen",
                                 std::string(expected::kNoQueue) + "\n"};
    forget_log();
    channel().deliver(chip_frame(0x01, {1}));
    EXPECT_EQ(ops->get_event_info(area), -1);
    EXPECT_EQ(log_lines(),
              (std::vector{null_push, failure_line("hi3861l_event_push", expected::kPushFailed),
                           null_length}));

    forget_log();
    EXPECT_EQ(ops->deinit(), 0);
    EXPECT_EQ(log_lines(), (std::vector{LogLine{1, "TAG", "quon_queue", "QN_QUEUE_Destroy",
                                                std::string(expected::kNoQueue) + "\n"}}));
    ASSERT_EQ(ops->init(), 0);
}

// --- the event queue

TEST_F(AFault, OfThePopIsReportedWhenAnotherTookTheLastEvent) {
    g_event_is_taken = true;
    EXPECT_EQ(ops->get_event_info(area), -1);
    EXPECT_EQ(log_lines(), (std::vector{LogLine{1, "TAG", "quon_queue", "QN_QUEUE_Pop",
                                                std::string(expected::kEventQueueEmpty) + "\n"},
                                        failure_line("hi3861l_event_pop", expected::kPopFailed)}));
}

TEST_F(AnEventQueue, EndsBeforeTheChannel) {
    std::vector<std::string> calls_before = {"not called"};
    g_during_destroy = [&] { calls_before = channel().calls(); };
    EXPECT_EQ(ops->deinit(), 0);
    EXPECT_EQ(calls_before, std::vector<std::string>{});
    EXPECT_EQ(channel().calls(), std::vector<std::string>{"hi_channel_deinit"});
    g_during_destroy = nullptr;
    ASSERT_EQ(ops->init(), 0);
}

// The push waits for the end of the queue, which must not come while it runs.
TEST_F(AnEventQueue, DoesNotEndDuringAPush) {
    std::atomic<bool> pushing = false;
    std::atomic<bool> ended = false;
    std::atomic<bool> ended_during_push = false;
    g_during_destroy = [&] { ended = true; };
    g_during_push = [&] {
        pushing = true;
        ended_during_push =
            wait_until([&] { return ended.load(); }, std::chrono::milliseconds(300));
    };
    channel().deliver_later(chip_frame(0x01, {1}));
    ASSERT_TRUE(wait_until([&] { return pushing.load(); }));
    EXPECT_EQ(ops->deinit(), 0);
    EXPECT_FALSE(ended_during_push);
    EXPECT_TRUE(ended);
    g_during_push = nullptr;
    g_during_destroy = nullptr;
    ASSERT_EQ(ops->init(), 0);
}

// --- the interface command

TEST_F(AFault, OfTheFormatIsReportedAndStartsWithoutRaisingTheInterface) {
    ASSERT_EQ(ops->deinit(), 0);
    record_log(0);
    g_snprintf_fails = true;
    const std::string output = captured_output([this] { EXPECT_EQ(ops->init(), 0); });
    const std::string source = "[quon_mcu_daemon/hal/hi3861l/src/hi3861l_dev]";
    EXPECT_EQ(without_line_numbers(output),
              source + "[sample_wlan_init_up][l:N],snprintf_s fail\n\r\n" + source +
                  "[hi3861l_api_init][l:N],sample_wlan_init_up is fail\n\r\n");
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(channel().frames().size(), 1U);
}

// --- the wait

TEST_F(AFault, OfTheWaitThatIsNoTimeOutCountsAsAWakeUpWithoutAReply) {
    for (const int result : {0, EINVAL, EPERM}) {
        SCOPED_TRACE(result);
        std::size_t waits = 0;
        g_wait = [&](const timespec& /*deadline*/) {
            waits++;
            return result;
        };
        area[0] = 0xee;
        EXPECT_EQ(ops->get_time(area), 0);
        EXPECT_EQ(area[0], 0xee);
        EXPECT_EQ(waits, 1U);  // not repeated
    }
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});
}

TEST_F(AFault, OfTheWaitReturnsWhateverTheSlotHolds) {
    g_wait = [](const timespec& /*deadline*/) {
        channel().deliver(chip_frame(0x84, {1, 2}));
        return EINVAL;
    };
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(area[0], 1);
    EXPECT_EQ(area[1], 2);
}

TEST_F(AFault, OfTheChipThatRepliesWithAnyOtherTypeBringsNoReply) {
    g_wait = [](const timespec& /*deadline*/) {
        for (int type = 0; type < 256; type++) {
            if (type != 0x84) {
                channel().deliver(chip_frame(static_cast<std::uint8_t>(type), {1, 0, 3}));
            }
        }
        return 0;
    };
    area[0] = 0xee;
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(area[0], 0xee);
}

TEST_F(AFault, OfTheChipThatRepliesTwiceLetsTheSecondReplyWin) {
    g_wait = [](const timespec& /*deadline*/) {
        channel().deliver(chip_frame(0x84, {1, 2, 3}));
        channel().deliver(chip_frame(0x84, {4, 5}));
        return 0;
    };
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(Bytes(area, area + 4), (Bytes{4, 5, 0, 0}));
}

TEST_F(AFault, OfTheChipThatRepliesTooLateIsATimeOut) {
    g_wait = [](const timespec& /*deadline*/) {
        channel().deliver(chip_frame(0x84, {1, 2, 3}));
        return ETIMEDOUT;
    };
    EXPECT_EQ(ops->get_time(area), -1);
    EXPECT_EQ(area[0], 0);
}

// --- time-outs

timespec monotonic_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

std::int64_t microseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1000000 + time.tv_nsec / 1000;
}

// A moment that shows on a clock cut to microseconds.
timespec next_microsecond() {
    const std::int64_t start = microseconds(monotonic_now());
    timespec now = monotonic_now();
    while (microseconds(now) == start) {
        now = monotonic_now();
    }
    return now;
}

// The moment at which the wait was to end, seen from the moments before and after.
TEST_F(AFault, OfAChipThatIsSilentIsNoticedAfterEachOperationsOwnTime) {
    for (const ExpectedOperation& row : expected::waiting_operations()) {
        SCOPED_TRACE(row.name);
        timespec before{};
        timespec deadline{};
        timespec after{};
        // The time counts from the end of the send.
        channel().during_send = [&] { before = next_microsecond(); };
        g_wait = [&](const timespec& until) {
            after = monotonic_now();
            deadline = until;
            return ETIMEDOUT;
        };
        forget_log();
        EXPECT_EQ(call_operation(row, Bytes(265), area), -1);
        EXPECT_EQ(log_lines_up_to(1),
                  std::vector{failure_line(row.name, expected::kSyncSendFailed)});
        const std::int64_t timeout_us = std::int64_t{row.timeout_ms} * 1000;
        EXPECT_GE(microseconds(deadline), microseconds(before) + timeout_us);
        EXPECT_LE(microseconds(deadline), microseconds(after) + timeout_us);
        EXPECT_EQ(deadline.tv_nsec % 1000, 0);
    }
}

TEST_F(AFault, OfAChipThatIsSilentDelaysTheStartForOneSecond) {
    ASSERT_EQ(ops->deinit(), 0);
    timespec deadline{};
    timespec after{};
    g_wait = [&](const timespec& until) {
        after = monotonic_now();
        deadline = until;
        return ETIMEDOUT;
    };
    const timespec before = monotonic_now();
    EXPECT_EQ(ops->init(), 0);
    EXPECT_GE(microseconds(deadline), microseconds(before) + 1000000);
    EXPECT_LE(microseconds(deadline), microseconds(after) + 1000000);
}

}  // namespace
}  // namespace quon::test
