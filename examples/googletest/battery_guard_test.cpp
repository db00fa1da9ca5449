#include "battery_guard.h"

#include <gtest/gtest.h>
#include <quon_mcu_testing.h>

#include <string>
#include <thread>

using quon::testing::Chip;
using quon::testing::HandoffServer;
using quon::testing::Socket;

class BatteryGuard : public testing::Test {
  protected:
    void TearDown() override { quon_mcu_client_disconnect(client); }
    Chip chip;
    quon_mcu_client* client = quon_mcu_client_connect("battery_guard_test", 10000);
};

TEST_F(BatteryGuard, RecordsWithEnoughCharge) {
    chip.set("battery", "11");
    EXPECT_TRUE(may_record(client));
    chip.set("battery", "10");
    EXPECT_FALSE(may_record(client));
}

TEST_F(BatteryGuard, DoesNotRecordWhenTheChipIsSilent) {
    chip.fault("get_battery_status drop count 1");
    EXPECT_FALSE(may_record(client));
    EXPECT_TRUE(may_record(client));
}

TEST_F(BatteryGuard, FindsAChipOfItsOwn) {
    EXPECT_EQ(chip.get("battery"), "80");
    EXPECT_TRUE(chip.frames().empty());
}

TEST_F(BatteryGuard, SeesEventsInTheirOrder) {
    chip.event("01", "0b");
    chip.event("02", "0c");
    for (const int wanted : {0x0b, 0x0c}) {
        quon_mcu_event_info event;
        ASSERT_EQ(quon_mcu_client_next_event(client, &event, 10000), QUON_MCU_OK);
        EXPECT_EQ(event.bytes[0], wanted);
    }
}

TEST_F(BatteryGuard, SendsWhatIsSet) {
    const quon_mcu_value value = {2};
    ASSERT_EQ(quon_mcu_client_set_led(client, &value, 2000), QUON_MCU_OK);
    chip.wait_frame("set_led");
    EXPECT_EQ(chip.get("led"), "2");
}

TEST_F(BatteryGuard, AnswersTheServer) {
    HandoffServer server;
    std::thread camera([&server] { EXPECT_TRUE(answer_server(server.ip(), server.port())); });
    const Socket connection = server.accept();
    EXPECT_EQ(send(connection.get(), "who?", 4, MSG_NOSIGNAL), 4);
    char answer[100];
    const ssize_t got = recv(connection.get(), answer, sizeof(answer), 0);
    EXPECT_EQ(std::string(answer, got > 0 ? static_cast<size_t>(got) : 0), "awake\n");
    camera.join();
}
