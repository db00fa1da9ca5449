#include "mcu_ops.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.h"
#include "expected_texts.h"
#include "fake_netlink.h"
#include "hi3861l_dev.h"
#include "printed_lines.h"
#include "private_world.h"
#include "quon_log.h"
#include "waiting.h"

namespace quon::test {
namespace {

// A chip that answers every message that wants an answer with `payload`.
void answer_everything(const Bytes& payload) {
    on_message_from_host([payload](const Bytes& message) {
        const std::uint8_t type = message[16];
        Bytes reply = {type, static_cast<std::uint8_t>(payload.size()), 0, 0, 0};
        reply.insert(reply.end(), payload.begin(), payload.end());
        send_to_host(netlink_message(reply));
    });
}

// The log without colours: level, tag, function.
void show_plain_log() {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.color = 0;
    profile.fmt_mask = QN_LOG_FMT_LEVEL | QN_LOG_FMT_TAG | QN_LOG_FMT_FUNC;
    QnLogSetProfile(profile);
}

// Each test is the whole life of a process when ctest runs it: nothing is started before it.
class TheOperations : public testing::Test {
  protected:
    void SetUp() override {
        enter_private_world();
        show_plain_log();
        on_message_from_host(nullptr);
        forget_calls();
    }
    const mcu_ops* ops = mcu_get_ops_handle();
};

TEST_F(TheOperations, AreThoseOfTheChipsDriver) {
    EXPECT_NE(ops, nullptr);
    EXPECT_EQ(ops, hi3861l_get_ops_handle());
    EXPECT_EQ(ops->set_log_profile, nullptr);
    EXPECT_EQ(ops->get_log_profile, nullptr);
    EXPECT_EQ(ops->get_bit_err_rate, nullptr);
}

TEST_F(TheOperations, FailAsOnAClosedChannelBeforeTheProbe) {
    const std::string closed =
        std::string("[quon_mcu_daemon/hal/hi3861l/src/channel/hichannel_host]") +
        "[hi_channel_send_to_dev][l:N]," + expected::kSendFailed + std::strerror(EBADF) +
        "\n\r\nE/HI3861L  (hi3861l_send_data) " + expected::kChannelFailedLine;
    std::uint8_t area[384] = {};
    EXPECT_EQ(without_line_numbers(captured_output([&] { EXPECT_EQ(ops->get_time(area), -1); })),
              closed + "E/HI3861L  (hi3861l_send_msg_sync) " + expected::kSendDataFailedLine +
                  "E/HI3861L  (hi3861l_api_get_time) " +
                  expected::failed(expected::kSyncSendFailed));
    EXPECT_EQ(without_line_numbers(captured_output([&] { EXPECT_EQ(ops->set_wdg_feed(), -1); })),
              closed + "E/HI3861L  (hi3861l_send_msg_async) " + expected::kSendDataFailedLine +
                  "E/HI3861L  (hi3861l_api_set_wdg_feed) " +
                  expected::failed(expected::kAsyncSendFailed));
}

TEST_F(TheOperations, ThatAskNoChipAnswerBeforeTheProbe) {
    std::uint8_t area[384] = {};
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(area), "00:00:00:00:00:00");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 32), "0.0.0.0");
    std::uint32_t updated = 7;
    EXPECT_EQ(ops->get_ipaddr_update_status(&updated), 0);
    EXPECT_EQ(updated, 0U);
    EXPECT_EQ(ops->get_event_info(area), -1);
}

TEST_F(TheOperations, WorkAfterTheProbe) {
    answer_everything({0x18, 11, 16, 7, 59, 1, 0, 0, 0, 0});
    ASSERT_EQ(mcu_probe_init(), 0);
    std::uint8_t area[384] = {};
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(Bytes(area, area + 6), (Bytes{0x18, 11, 16, 7, 59, 1}));
    EXPECT_EQ(to_hex(sent_messages().front().bytes),
              "15 00 00 00 00 00 00 00 00 00 00 00 4c 04 00 00 81 00 00 00 00");
    EXPECT_EQ(to_hex(sent_messages().back().bytes),
              "15 00 00 00 00 00 00 00 00 00 00 00 4c 04 00 00 84 00 00 00 00");
    EXPECT_EQ(ops->deinit(), 0);
}

TEST_F(TheOperations, AreProbedWithSuccessEvenIfTheChipNeverAnswers) {
    EXPECT_EQ(mcu_probe_init(), 0);
    EXPECT_EQ(ops->deinit(), 0);
}

TEST_F(TheOperations, AreProbedWithSuccessEvenWithoutAChannel) {
    fail_next_socket(EPROTONOSUPPORT);
    const std::string output =
        without_line_numbers(captured_output([] { EXPECT_EQ(mcu_probe_init(), 0); }));
    const std::string channel = "[quon_mcu_daemon/hal/hi3861l/src/channel/hichannel_host]";
    EXPECT_EQ(
        output.find(channel + "[hi_channel_init][l:N]," + expected::kSocketFailed +
                    std::strerror(EPROTONOSUPPORT) + "\n\r\n" +
                    "[quon_mcu_daemon/hal/hi3861l/src/hi3861l_dev][hi3861l_api_init][l:N]," +
                    expected::kChannelInitFailed + "\n\r\n" + channel +
                    "[hi_channel_register_rx_cb][l:N]," + expected::kRegistrationFailed + "\n\r\n"),
        0U)
        << output;
    EXPECT_EQ(ops->deinit(), 0);
}

// The bus offers its services before the driver is up.
TEST_F(TheOperations, MayBeCalledByManyThreadsWhileTheProbeRuns) {
    answer_everything({1, 2, 3});
    std::atomic<bool> up{false};
    std::atomic<int> early{0};
    std::vector<std::jthread> callers;
    callers.reserve(4);
    for (int i = 0; i < 4; i++) {
        callers.emplace_back([&, i] {
            std::uint8_t area[384] = {};
            std::uint32_t updated = 0;
            do {
                early++;
                i % 2 == 0 ? (void)ops->set_led_state(1) : (void)ops->get_alarm(area);
                (void)ops->get_event_info(area);
                (void)ops->get_wifi_info(area);
                (void)ops->get_ipaddr_update_status(&updated);
            } while (!up);
        });
    }
    ASSERT_TRUE(wait_until([&] { return early >= 8; }));
    EXPECT_EQ(mcu_probe_init(), 0);
    up = true;
    callers.clear();
    std::uint8_t area[384] = {};
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(area[2], 3);
    EXPECT_EQ(ops->deinit(), 0);
}

}  // namespace
}  // namespace quon::test
