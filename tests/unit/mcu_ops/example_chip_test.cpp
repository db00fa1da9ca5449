// The example's driver through the door, as the daemon reaches it.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "example_dev.h"
#include "hex.h"
#include "mcu_ops.h"
#include "private_world.h"

namespace quon::test {
namespace {

class TheExample : public testing::Test {
  protected:
    void SetUp() override { enter_private_world(); }

    std::string text_at(std::size_t offset) const {
        return reinterpret_cast<const char*>(area + offset);
    }

    const mcu_ops* ops = mcu_get_ops_handle();
    std::uint8_t area[kMcuReplyAreaSize] = {};
};

TEST_F(TheExample, IsReachedThroughTheTableAndStarts) {
    EXPECT_EQ(ops, example_get_ops_handle());
    EXPECT_EQ(mcu_probe_init(), 0);
    EXPECT_EQ(ops->deinit(), 0);
}

TEST_F(TheExample, TellsItsVersionAndWasWokenForNoReason) {
    EXPECT_EQ(ops->get_version(reinterpret_cast<char*>(area)), 0);
    EXPECT_EQ(text_at(0), "example");
    EXPECT_EQ(ops->get_wakeup_info(area), 0);
    EXPECT_EQ(to_hex(Bytes(area, area + kMcuWakeupInfoSize)), to_hex(Bytes(71)));
}

TEST_F(TheExample, KeepsTheTimeThatItIsGiven) {
    const Bytes time = {25, 12, 31, 23, 59, 58, 6, 7, 8, 9};
    EXPECT_EQ(ops->set_time(time.data()), 0);
    EXPECT_EQ(ops->get_time(area), 0);
    EXPECT_EQ(Bytes(area, area + 10), time);
    EXPECT_EQ(area[10], 0);
}

TEST_F(TheExample, HasNoNetworkUntilItIsConnected) {
    std::uint32_t updated = 7;
    EXPECT_EQ(ops->get_ipaddr_update_status(&updated), 0);
    EXPECT_EQ(updated, 0U);
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_EQ(text_at(0), "00:00:00:00:00:00");
    EXPECT_EQ(text_at(32), "0.0.0.0");

    EXPECT_EQ(ops->set_wifi_connect({}), 0);
    EXPECT_EQ(ops->get_ipaddr_update_status(&updated), 0);
    EXPECT_EQ(updated, 1U);
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_EQ(text_at(0), "02:00:00:00:00:0e");
    EXPECT_EQ(text_at(32), "192.0.2.10");
    EXPECT_EQ(text_at(64), "192.0.2.1");
    EXPECT_EQ(text_at(96), "192.0.2.53");
    EXPECT_EQ(text_at(128), "");
}

// Where nobody may wait for children, `system` fails.
TEST_F(TheExample, KeepsItsNetworkWhenNoCommandCanBeRun) {
    std::uint32_t before = 7;
    EXPECT_EQ(ops->get_ipaddr_update_status(&before), 0);
    ASSERT_NE(signal(SIGCHLD, SIG_IGN), SIG_ERR);
    EXPECT_EQ(ops->set_wifi_connect({}), -1);
    ASSERT_NE(signal(SIGCHLD, SIG_DFL), SIG_ERR);
    std::uint32_t after = 8;
    EXPECT_EQ(ops->get_ipaddr_update_status(&after), 0);
    EXPECT_EQ(after, before);
}

TEST_F(TheExample, NeverHasAnEvent) {
    EXPECT_EQ(ops->get_event_info(area), -1);
}

TEST_F(TheExample, RefusesWhatItDoesNotServe) {
    EXPECT_EQ(ops->set_led_state(1), -1);
    EXPECT_EQ(ops->get_alarm(area), -1);
    EXPECT_EQ(ops->upg_start(1, 2), -1);
    EXPECT_EQ(ops->get_status_info, nullptr);
    EXPECT_EQ(ops->get_wifi_scanf_info, nullptr);
}

}  // namespace
}  // namespace quon::test
