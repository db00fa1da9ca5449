#include <atomic>
#include <string>
#include <thread>

#include "captured_output.h"
#include "driver_world.h"
#include "expected_texts.h"
#include "hi3861l_receive.h"
#include "waiting.h"

namespace quon::test {
namespace {

TEST(AFrame, IsDecodedAsFarAsItGoes) {
    struct Row {
        const char* frame;
        std::uint32_t type;
        std::uint32_t len;
        const char* payload;  // then zeros
    };
    // clang-format off
    const Row rows[] = {
        {"", 0x00, 0, ""},
        {"84", 0x84, 0, ""},
        {"84 02", 0x84, 2, ""},
        {"84 02 01", 0x84, 258, ""},
        {"84 02 00 00", 0x84, 2, ""},
        {"84 02 00 00 00", 0x84, 2, ""},
        {"84 02 00 00 00 aa", 0x84, 2, "aa"},
        {"84 02 00 00 00 aa bb", 0x84, 2, "aa bb"},
        {"84 02 00 00 00 aa bb cc", 0x84, 2, "aa bb"},
        {"84 80 01 00 00 aa bb", 0x84, 384, "aa bb"},
        {"84 81 01 00 00 aa bb", 0x84, 384, "aa bb"},
        {"84 00 00 01 00 aa bb", 0x84, 384, "aa bb"},
        {"84 02 00 00 80 aa bb cc", 0x84, 384, "aa bb cc"},
        {"84 ff ff ff ff aa bb cc", 0x84, 384, "aa bb cc"},
        {"ff 01 00 00 00 aa", 0xff, 1, "aa"},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.frame);
        const Bytes frame = from_hex(row.frame);
        const hi3861l_msg msg =
            hi3861l_decode(frame.data(), static_cast<std::int32_t>(frame.size()));
        EXPECT_EQ(msg.type, row.type);
        EXPECT_EQ(msg.len, row.len);
        Bytes expected = from_hex(row.payload);
        expected.resize(384);
        EXPECT_EQ(Bytes(msg.payload, msg.payload + 384), expected);
    }
}

class AReceivedMessage : public AStartedDriver {
  protected:
    std::uint8_t event[33] = {};
};

// --- the hex dump

TEST_F(AReceivedMessage, IsDumpedWhole) {
    const Bytes frame = chip_frame(0x92, pattern(15));
    EXPECT_EQ(captured_output([&] { channel().deliver(frame); }),
              "D/HEX recv msg: 0000-000F: "
              "92 0F 00 00 00 01 02 03  04 05 06 07 08 09 0A 0B    "
              "................\n"
              "D/HEX recv msg: 0010-001F: "
              "0C 0D 0E 0F                                         "
              "....\n");
}

TEST_F(AReceivedMessage, IsDumpedUnlessItAnswersAnUpgrade) {
    for (int type = 0; type < 256; type++) {
        const bool is_upgrade = type == 0x8f || type == 0x90 || type == 0x91;
        const std::string output = captured_output(
            [&] { channel().deliver(chip_frame(static_cast<std::uint8_t>(type), {})); });
        EXPECT_EQ(output.find("D/HEX recv msg: 0000-000F: ") == std::string::npos, is_upgrade)
            << type;
    }
}

TEST_F(AReceivedMessage, IsDumpedWithItsLengthCutTo16Bits) {
    Bytes frame = chip_frame(0x92, {0x41, 0x42, 0x43});
    frame.resize(65536 + 6);
    EXPECT_EQ(captured_output([&] { channel().deliver(frame); }),
              "D/HEX recv msg: 0000-000F: "
              "92 03 00 00 00 41                                   "
              ".....A\n");
}

TEST_F(AReceivedMessage, OfNoBytesIsIgnored) {
    EXPECT_EQ(captured_output([&] {
                  channel().deliver({});
                  const std::uint8_t byte = 0x01;
                  EXPECT_EQ(hi3861l_rx_callback(nullptr, 5), 0);
                  EXPECT_EQ(hi3861l_rx_callback(&byte, 0), 0);
                  EXPECT_EQ(hi3861l_rx_callback(&byte, -1), 0);
              }),
              "");
    EXPECT_EQ(ops->get_event_info(event), -1);
}

// --- events

TEST_F(AReceivedMessage, OfAnEventTypeIsQueuedAndNoOther) {
    for (int type = 0; type < 256; type++) {
        SCOPED_TRACE(type);
        // Payload byte 1 is a network state that changes nothing.
        channel().deliver(
            chip_frame(static_cast<std::uint8_t>(type), {static_cast<std::uint8_t>(type), 0}));
        EXPECT_EQ(ops->get_event_info(event), type <= 5 ? 0 : -1);
        if (type <= 5) {
            EXPECT_EQ(event[0], type);
        }
    }
    EXPECT_TRUE(commands().empty());
}

TEST_F(AReceivedMessage, OfAnEventTypeIsKeptAsItsFirst33PayloadBytes) {
    struct Row {
        Bytes frame;
        Bytes event;
    };
    Bytes head = pattern(33);
    Bytes one = {0x77};
    one.resize(33);
    const Row rows[] = {{chip_frame(0x02, pattern(33)), head},
                        {chip_frame(0x02, pattern(300)), head},
                        {chip_frame(0x02, {0x77}), one},
                        {chip_frame_declaring(0x02, 200, {0x77}), one},
                        {{0x02}, Bytes(33)},
                        {chip_frame_declaring(0x02, 1, pattern(33)), [] {
                             Bytes first = {1};
                             first.resize(33);
                             return first;
                         }()}};
    for (const Row& row : rows) {
        SCOPED_TRACE(to_hex(row.frame));
        channel().deliver(row.frame);
        std::uint8_t area[35];
        std::memset(area, 0xee, sizeof(area));
        EXPECT_EQ(ops->get_event_info(area), 0);
        EXPECT_EQ(Bytes(area, area + 33), row.event);
        EXPECT_EQ(area[33], 0xee);
        EXPECT_EQ(area[34], 0xee);
    }
}

TEST_F(AReceivedMessage, OfTheNetworkTypeChangesNothingUnlessItsStateIs1Or2) {
    Bytes payload = {0x00, 0x00};
    const Bytes record = first_net_record();
    payload.insert(payload.end(), record.begin(), record.end());
    for (int state = 0; state < 256; state++) {
        payload[1] = static_cast<std::uint8_t>(state);
        if (state != 1 && state != 2) {
            channel().deliver(chip_frame(0x03, payload));
            EXPECT_EQ(ops->get_event_info(event), 0);
            EXPECT_EQ(event[1], state);
        }
    }
    EXPECT_TRUE(commands().empty());
    std::uint32_t updated = 7;
    EXPECT_EQ(ops->get_ipaddr_update_status(&updated), 0);
    EXPECT_EQ(updated, 0U);
}

TEST_F(AReceivedMessage, OfAnotherTypeThanTheNetworksNeverChangesTheNetwork) {
    Bytes payload = {0x00, 0x01};
    const Bytes record = first_net_record();
    payload.insert(payload.end(), record.begin(), record.end());
    for (int type = 0; type < 256; type++) {
        if (type != 0x03) {
            channel().deliver(chip_frame(static_cast<std::uint8_t>(type), payload));
        }
    }
    EXPECT_TRUE(commands().empty());
}

TEST_F(AReceivedMessage, ThatIsTheEleventhUncollectedEventIsLostWithALogLine) {
    for (std::uint8_t i = 0; i < 10; i++) {
        channel().deliver(chip_frame(0x01, {i}));
    }
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});
    channel().deliver(chip_frame(0x01, {10}));
    EXPECT_EQ(log_lines(),
              (std::vector{LogLine{1, "TAG", "quon_queue", "QN_QUEUE_Push",
                                   std::string(expected::kEventQueueFull) + "\n"},
                           failure_line("hi3861l_event_push", expected::kPushFailed)}));
    for (std::uint8_t i = 0; i < 10; i++) {
        EXPECT_EQ(ops->get_event_info(event), 0);
        EXPECT_EQ(event[0], i);
    }
    EXPECT_EQ(ops->get_event_info(event), -1);
}

TEST_F(AReceivedMessage, IsMatchedWithAnExchangeAlsoWhenTheEventQueueIsFull) {
    for (std::uint8_t i = 0; i < 11; i++) {
        channel().deliver(chip_frame(0x05, {i}));
    }
    channel().answer_with(0x84, {chip_frame(0x05, {}), chip_frame(0x84, {8})});
    std::uint8_t time[384] = {};
    EXPECT_EQ(ops->get_time(time), 0);
    EXPECT_EQ(time[0], 8);
}

TEST_F(AReceivedMessage, IsNotThereWhenNoEventIsPendingAndNothingIsLogged) {
    EXPECT_EQ(ops->get_event_info(event), -1);
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});
}

TEST_F(AReceivedMessage, CannotBeCollectedIntoANullPointer) {
    channel().deliver(chip_frame(0x01, {1}));
    forget_log();
    EXPECT_EQ(ops->get_event_info(nullptr), -1);
    EXPECT_EQ(log_lines(),
              std::vector{failure_line("hi3861l_api_get_event_info", expected::kInvalidParam)});
    EXPECT_EQ(ops->get_event_info(event), 0);
}

TEST_F(AReceivedMessage, ThatNobodyWaitsForIsDropped) {
    channel().deliver(chip_frame(0x84, {1, 2, 3}));
    EXPECT_EQ(ops->get_event_info(event), -1);
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});
}

TEST_F(AReceivedMessage, MalformedInAnyWayLeavesTheDriverWorking) {
    const Bytes frames[] = {{},
                            {0x00},
                            {0x03},
                            {0x84},
                            {0x84, 0xff},
                            {0x84, 0xff, 0xff},
                            {0x03, 0xff, 0xff, 0xff},
                            chip_frame_declaring(0x84, 0xffffffff, {}),
                            chip_frame_declaring(0x01, 0xffffffff, pattern(5)),
                            chip_frame_declaring(0x01, 385, pattern(363)),
                            chip_frame_declaring(0x86, 0x80000000, pattern(363)),
                            chip_frame_declaring(0xff, 0x7fffffff, pattern(1000))};
    for (const Bytes& frame : frames) {
        channel().deliver(frame);
    }
    channel().answer(0x84, {3});
    std::uint8_t time[384] = {};
    EXPECT_EQ(ops->get_time(time), 0);
    EXPECT_EQ(time[0], 3);
}

TEST_F(AReceivedMessage, CanBeCollectedWhileOthersArrive) {
    std::atomic<bool> done{false};
    std::jthread chip_side([&] {
        for (int i = 0; i < 300; i++) {
            channel().deliver(chip_frame(0x01, {static_cast<std::uint8_t>(i)}));
        }
        done = true;
    });
    int collected = 0;
    const auto collect = [&] { collected += ops->get_event_info(event) == 0 ? 1 : 0; };
    while (!done) {
        collect();
    }
    chip_side.join();
    while (ops->get_event_info(event) == 0) {
        collected++;
    }
    EXPECT_GE(collected, 10);
    EXPECT_LE(collected, 300);
}

}  // namespace
}  // namespace quon::test
