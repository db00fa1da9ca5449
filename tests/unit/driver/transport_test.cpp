#include <cerrno>
#include <thread>

#include "driver_world.h"
#include "hi3861l_context.h"
#include "hi3861l_transport.h"
#include "waiting.h"

namespace quon::test {
namespace {

TEST(AnEvent, HasNoAnswerToWaitFor) {
    volatile std::uint8_t event = HI3861L_EVENT_NET;  // looked up when the program runs
    EXPECT_EQ(hi3861l_timeout_ms(static_cast<hi3861l_msg_type>(event)), 0);
    volatile std::uint8_t query = HI3861L_GET_NET_INFO;
    EXPECT_EQ(hi3861l_timeout_ms(static_cast<hi3861l_msg_type>(query)), 1000);
}

TEST(ADeadline, IsCountedInMillisecondsOnAClockCutToMicroseconds) {
    struct Row {
        std::time_t now_s;
        long now_ns;
        std::int32_t timeout_ms;
        std::time_t s;
        long ns;
    };
    // clang-format off
    const Row rows[] = {
        {100, 0, 1000, 101, 0},
        {100, 0, 0, 100, 0},
        {100, 999999999, 1000, 101, 999999000},  // 1.999999 s after the full second
        {100, 999999999, 1, 101, 999000},
        {100, 1999, 3000, 103, 1000},
        {100, 999, 2000, 102, 0},
        {100, 500000000, 2500, 103, 0},
        {100, 499999999, 2500, 102, 999999000},
        {100, 600000000, 1999, 102, 599000000},
        {2147483000, 1000000, 3999, 2147483004, 0},  // the last hour of a 32-bit clock
    };
    // clang-format on
    for (const Row& row : rows) {
        const timespec deadline =
            hi3861l_deadline({.tv_sec = row.now_s, .tv_nsec = row.now_ns}, row.timeout_ms);
        EXPECT_EQ(deadline.tv_sec, row.s) << row.now_ns << " + " << row.timeout_ms;
        EXPECT_EQ(deadline.tv_nsec, row.ns) << row.now_ns << " + " << row.timeout_ms;
    }
}

class AnExchange : public AStartedDriver {
  protected:
    std::uint8_t area[384] = {};
};

TEST_F(AnExchange, IsAnsweredByTheNextMessageOfItsTypeOnly) {
    channel().answer_with(0x84, {chip_frame(0x86, {1}), chip_frame(0x04, {2}),
                                 chip_frame(0x85, {3}), chip_frame(0x84, {4, 5})});
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(area[0], 4);
    EXPECT_EQ(area[1], 5);
    EXPECT_EQ(area[2], 0);
}

TEST_F(AnExchange, DoesNotGetTheLateReplyOfTheOneBefore) {
    EXPECT_EQ(ops->get_time(area), -1);
    channel().deliver(chip_frame(0x84, {1, 2, 3}));  // too late
    channel().answer(0x84, {});
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(area[0], 0);
}

TEST_F(AnExchange, ThatFailsLetsTheNextOneThrough) {
    channel().send_result = -1;
    EXPECT_EQ(ops->get_time(area), -1);
    EXPECT_EQ(ops->set_led_state(1), -1);
    channel().send_result = 0;
    channel().answer(0x84, {9});
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(area[0], 9);
    EXPECT_EQ(ops->set_led_state(1), 0);
}

TEST_F(AnExchange, DelaysOtherSendersUntilItsReplyHasCome) {
    std::jthread asker([&] {
        std::uint8_t time[384];
        EXPECT_EQ(ops->get_battery_status(time), 0);
    });
    ASSERT_TRUE(wait_until([] { return channel().frames().size() == 1; }));
    std::jthread sender([&] { EXPECT_EQ(ops->set_led_state(1), 0); });
    EXPECT_FALSE(
        wait_until([] { return channel().frames().size() > 1; }, std::chrono::milliseconds(100)));
    channel().deliver(chip_frame(0x86, {1}));
    asker.join();
    sender.join();
    EXPECT_EQ(channel().frames(),
              (std::vector<Bytes>{from_hex("86 00 00 00 00"), from_hex("85 01 00 00 00 01")}));
}

// 0, or EBUSY while the lock is held.
int try_lock(pthread_mutex_t& lock) {
    const int result = pthread_mutex_trylock(&lock);
    if (result == 0) {
        pthread_mutex_unlock(&lock);
    }
    return result;
}

TEST_F(AnExchange, HasAnnouncedItsTypeAndHoldsBothLocksWhileItSends) {
    std::size_t sends = 0;
    channel().during_send = [&sends] {
        sends++;
        EXPECT_EQ(try_lock(g_hi3861l.request_lock), EBUSY);
        EXPECT_EQ(try_lock(g_hi3861l.reply_lock), EBUSY);  // no reply comes before the wait
        EXPECT_EQ(g_hi3861l.pending.type, 0x86U);
        EXPECT_EQ(g_hi3861l.pending.len, 0U);
    };
    channel().answer(0x86, {1});
    EXPECT_EQ(ops->get_battery_status(area), 0);
    EXPECT_EQ(sends, 1U);
    EXPECT_EQ(try_lock(g_hi3861l.request_lock), 0);
    EXPECT_EQ(try_lock(g_hi3861l.reply_lock), 0);
}

TEST_F(AnExchange, LeavesTheReplyLockToTheReceiveThreadIfItIsACommand) {
    std::size_t sends = 0;
    channel().during_send = [&sends] {
        sends++;
        EXPECT_EQ(try_lock(g_hi3861l.request_lock), EBUSY);
        EXPECT_EQ(try_lock(g_hi3861l.reply_lock), 0);
    };
    EXPECT_EQ(ops->set_led_state(1), 0);
    EXPECT_EQ(sends, 1U);
    EXPECT_EQ(try_lock(g_hi3861l.request_lock), 0);
}

TEST_F(AnExchange, OfEachOfManyThreadsGetsItsOwnReply) {
    channel().echo();
    {
        std::vector<std::jthread> threads;
        threads.reserve(8);
        for (int thread = 0; thread < 8; thread++) {
            threads.emplace_back([this, thread] {
                for (int i = 0; i < 25; i++) {
                    const auto selector = static_cast<std::uint8_t>(thread * 25 + i);
                    std::uint8_t scan[384] = {};
                    EXPECT_EQ(ops->get_wifi_scanf_info(selector, scan), 0);
                    EXPECT_EQ(scan[0], selector);
                    EXPECT_EQ(ops->set_pir_switch(selector), 0);
                }
            });
        }
    }
    EXPECT_EQ(channel().frames().size(), 400U);
}

}  // namespace
}  // namespace quon::test
