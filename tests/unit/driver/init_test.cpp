#include <chrono>
#include <csignal>
#include <string>

#include "captured_output.h"
#include "driver_world.h"
#include "expected_table.h"
#include "expected_texts.h"
#include "hi3861l_context.h"
#include "hi3861l_net_record.h"
#include "printed_lines.h"

namespace quon::test {
namespace {

class AStoppedDriver : public testing::Test {
  protected:
    void SetUp() override {
        make_commands_fail(false);
        record_log(4);
        channel().reset();
        channel().answer(0x81, first_net_record());
        forget_commands();
    }
    void TearDown() override {
        std::signal(SIGCHLD, SIG_DFL);
        EXPECT_EQ(ops->deinit(), 0);
    }

    // What init prints besides the log, with the source line numbers replaced by N.
    std::string printed_by_init() {
        record_log(0);
        return without_line_numbers(captured_output([this] { EXPECT_EQ(ops->init(), 0); }));
    }

    static std::string print_of(const std::string& function, const std::string& text) {
        return "[quon_mcu_daemon/hal/hi3861l/src/hi3861l_dev][" + function + "][l:N]," + text +
               "\n\r\n";
    }

    const mcu_ops* ops = hi3861l_get_ops_handle();
};

TEST_F(AStoppedDriver, StartsStepByStep) {
    std::vector<std::string> commands_before_channel;
    channel().during_init = [&] { commands_before_channel = commands(); };
    EXPECT_EQ(ops->init(), 0);
    EXPECT_EQ(commands_before_channel, std::vector<std::string>{"ifconfig wlan0 up"});
    EXPECT_EQ(channel().calls(),
              (std::vector<std::string>{"hi_channel_init", "hi_channel_register_rx_cb"}));
    EXPECT_EQ(channel().frames(), (std::vector<Bytes>{from_hex("81 00 00 00 00")}));
    EXPECT_EQ(log_lines(), std::vector{driver_line(4, "hi3861l_get_ip_info", "2:0:0:0:0:1\n")});
}

TEST_F(AStoppedDriver, LearnsTheNetworkRecordAndDoesNotApplyIt) {
    ASSERT_EQ(ops->init(), 0);
    EXPECT_EQ(commands(), std::vector<std::string>{"ifconfig wlan0 up"});
    std::uint32_t updated = 7;
    EXPECT_EQ(ops->get_ipaddr_update_status(&updated), 0);
    EXPECT_EQ(updated, 0U);
    std::uint8_t area[384] = {};
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(area), "02:00:00:00:00:01");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 32), "192.168.1.10");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 64), "192.168.1.1");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 96), "8.8.8.8");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 128), "1.1.1.1");
}

TEST_F(AStoppedDriver, TakesANetworkRecordOfAnyLength) {
    for (const std::size_t size : {0U, 5U, 26U, 27U, 384U}) {
        SCOPED_TRACE(size);
        channel().answer(0x81, pattern(size));
        ASSERT_EQ(ops->init(), 0);
        std::uint8_t area[384] = {};
        EXPECT_EQ(ops->get_wifi_info(area), 0);
        EXPECT_STREQ(reinterpret_cast<char*>(area + 32), size == 0 ? "0.0.0.0" : "1.2.3.4");
        EXPECT_STREQ(reinterpret_cast<char*>(area + 64), size < 26 ? "0.0.0.0" : "9.10.11.12");
        EXPECT_STREQ(reinterpret_cast<char*>(area),
                     size < 26 ? "00:00:00:00:00:00" : "0d:0e:0f:10:11:12");
        ASSERT_EQ(ops->deinit(), 0);
    }
    ASSERT_EQ(ops->init(), 0);
}

TEST_F(AStoppedDriver, StartsOverASilentChipWithinItsTimeOut) {
    channel().answer_nothing();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ops->init(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(999));
    EXPECT_EQ(log_lines(),
              (std::vector{failure_line("hi3861l_get_ip_info", expected::kSyncSendFailed),
                           failure_line("hi3861l_wlan_init_mac", expected::kNetQueryFailed),
                           failure_line("hi3861l_api_init", expected::kInitMacFailed)}));
    // No network data and no wake-up info yet.
    std::uint8_t area[384];
    std::memset(area, 0xee, sizeof(area));
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(area), "00:00:00:00:00:00");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 32), "0.0.0.0");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 64), "0.0.0.0");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 96), "");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 128), "");
}

TEST_F(AStoppedDriver, StartsWithoutAChannelAndRegistersItsCallbackAllTheSame) {
    channel().init_result = -1;
    channel().register_result = -1;
    EXPECT_EQ(printed_by_init(), print_of("hi3861l_api_init", expected::kChannelInitFailed));
    EXPECT_EQ(channel().calls(),
              (std::vector<std::string>{"hi_channel_init", "hi_channel_register_rx_cb"}));
}

TEST_F(AStoppedDriver, StartsAlsoWhenTheInterfaceCommandCannotBeRun) {
    std::signal(SIGCHLD, SIG_IGN);  // `system` answers -1
    EXPECT_EQ(printed_by_init(), print_of("sample_wlan_init_up", "wlan0 up error") +
                                     print_of("hi3861l_api_init", "sample_wlan_init_up is fail"));
    EXPECT_EQ(channel().frames().size(), 1U);
}

TEST_F(AStoppedDriver, DoesNotCareForTheInterfaceCommandsExitStatus) {
    make_commands_fail(true);
    EXPECT_EQ(printed_by_init(), "");
    EXPECT_EQ(commands(), std::vector<std::string>{"ifconfig wlan0 up"});
}

TEST_F(AStoppedDriver, QueuesEventsBeforeItAsksForTheNetworkRecord) {
    channel().answer_with(0x81, {chip_frame(0x01, {7}), chip_frame(0x81, first_net_record())});
    ASSERT_EQ(ops->init(), 0);
    std::uint8_t event[33] = {};
    EXPECT_EQ(ops->get_event_info(event), 0);
    EXPECT_EQ(event[0], 7);
}

TEST_F(AStoppedDriver, TakesANullPointerForTheNetworkRecordAsAnInvalidParameter) {
    ASSERT_EQ(ops->init(), 0);
    channel().forget();
    forget_log();
    EXPECT_EQ(hi3861l_get_ip_info(nullptr), -1);
    EXPECT_EQ(log_lines(),
              std::vector{failure_line("hi3861l_get_ip_info", expected::kInvalidPara)});
    EXPECT_TRUE(channel().frames().empty());
}

TEST_F(AStoppedDriver, CountsAsInitialisedAfterItsStartWhateverFailedAndAlsoAfterItsStop) {
    std::uint8_t flag_during_init = 7;
    channel().during_init = [&] { flag_during_init = g_hi3861l.initialised; };
    channel().init_result = -1;
    channel().register_result = -1;
    channel().send_result = -1;
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(ops->init(), 0);
    EXPECT_EQ(g_hi3861l.initialised, 1);
    EXPECT_EQ(ops->deinit(), 0);
    EXPECT_EQ(g_hi3861l.initialised, 1);
    EXPECT_EQ(ops->init(), 0);
    EXPECT_EQ(flag_during_init, 0);
}

TEST_F(AStoppedDriver, ForgetsEverythingWhenItStartsAgain) {
    ASSERT_EQ(ops->init(), 0);
    Bytes payload = {0, 1};
    const Bytes record = first_net_record();
    payload.insert(payload.end(), record.begin(), record.end());
    channel().deliver(chip_frame(0x03, payload));
    channel().answer(0x82, pattern(71));
    std::uint8_t area[384] = {};
    ASSERT_EQ(ops->get_wakeup_info(area), 0);
    ASSERT_EQ(ops->deinit(), 0);

    ASSERT_EQ(ops->init(), 0);
    std::uint32_t updated = 7;
    EXPECT_EQ(ops->get_ipaddr_update_status(&updated), 0);
    EXPECT_EQ(updated, 0U);
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(area), "02:00:00:00:00:01");  // not the second MAC
    EXPECT_EQ(ops->get_event_info(area), -1);
    forget_commands();
    channel().deliver(chip_frame(0x03, payload));
    ASSERT_EQ(commands().size(), 5U);  // the MAC is not known to be applied
}

class ARunningDriver : public AStoppedDriver {
  protected:
    void SetUp() override {
        AStoppedDriver::SetUp();
        ASSERT_EQ(ops->init(), 0);
        forget_log();
        channel().forget();
    }
};

TEST_F(ARunningDriver, StopsTheQueueBeforeTheChannel) {
    channel().during_deinit = [] { channel().deliver(chip_frame(0x01, {1})); };
    EXPECT_EQ(ops->deinit(), 0);
    EXPECT_EQ(channel().calls(), std::vector<std::string>{"hi_channel_deinit"});
    EXPECT_EQ(log_lines(),
              (std::vector{LogLine{1, "TAG", "quon_queue", "QN_QUEUE_Push",
                                   std::string(expected::kNoQueue) + "\n"},
                           failure_line("hi3861l_event_push", expected::kPushFailed)}));
    channel().during_deinit = nullptr;
    ASSERT_EQ(ops->init(), 0);
}

TEST_F(ARunningDriver, FailsAsOnAClosedChannelAfterItsStop) {
    ASSERT_EQ(ops->deinit(), 0);
    forget_log();
    std::uint8_t area[384] = {};
    EXPECT_EQ(ops->get_time(area), -1);
    EXPECT_EQ(log_lines(),
              (std::vector{driver_line(1, "hi3861l_send_data", expected::kChannelFailedLine),
                           driver_line(1, "hi3861l_send_msg_sync", expected::kSendDataFailedLine),
                           failure_line("hi3861l_api_get_time", expected::kSyncSendFailed)}));
    for (pthread_mutex_t* const lock : {&g_hi3861l.request_lock, &g_hi3861l.reply_lock}) {
        EXPECT_EQ(pthread_mutex_trylock(lock), 0);
        EXPECT_EQ(pthread_mutex_unlock(lock), 0);
    }
    ASSERT_EQ(ops->init(), 0);
}

TEST_F(ARunningDriver, StopsWhileEventsArrive) {
    for (int i = 0; i < 200; i++) {
        channel().deliver_later(chip_frame(0x01, {static_cast<std::uint8_t>(i)}));
    }
    EXPECT_EQ(ops->deinit(), 0);
    ASSERT_EQ(ops->init(), 0);
}

TEST_F(ARunningDriver, StopsAlsoWhenTheChannelSaysNo) {
    channel().deinit_result = -1;
    forget_commands();
    EXPECT_EQ(ops->deinit(), 0);
    EXPECT_TRUE(commands().empty());  // the interface stays as it is
    channel().deinit_result = 0;
    ASSERT_EQ(ops->init(), 0);
}

TEST(TheOperationsTable, HasItsSlotsOfWhichThreeAreEmpty) {
    EXPECT_EQ(sizeof(mcu_ops), expected::kSlotCount * sizeof(void*));
    for (std::size_t number = 0; number < expected::kSlotCount; number++) {
        EXPECT_EQ(slot<Command>(number) == nullptr, number >= 44 && number <= 46) << number;
    }
    EXPECT_EQ(hi3861l_get_ops_handle(), hi3861l_get_ops_handle());
}

}  // namespace
}  // namespace quon::test
