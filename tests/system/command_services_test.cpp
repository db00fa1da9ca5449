// The one-way services and the firmware upgrade: the frame sent for each request.
#include "system_test.h"

namespace quon::test {
namespace {

struct Command {
    const char* service;  // by its short name
    Bytes request;
    Bytes body;  // towards the chip
};

// The commands for which the chip has an operation.
std::vector<ExpectedService> sending_services() {
    std::vector<ExpectedService> rows = expected::commands();
    std::erase_if(rows, [](const auto& row) { return !expected::operation_of(row).sends(); });
    return rows;
}

class TheCommands : public SystemTest {
  protected:
    void run_rows(const std::vector<Command>& rows) {
        start();
        for (const Command& row : rows) {
            SCOPED_TRACE(row.service);
            const std::uint8_t type = expected::message_of(row.service);
            const std::size_t before = chip().received().size();
            const std::size_t of_type = chip().received(type).size();
            peer().notify(expected::service(row.service).name, row.request);
            ASSERT_TRUE(chip().wait_for(type, of_type + 1));
            EXPECT_EQ(to_hex(chip().received(type).back()), to_hex(chip_frame(type, row.body)));
            EXPECT_EQ(chip().received().size(), before + 1);
        }
        // None of them was answered: the first record is this call's.
        EXPECT_EQ(peer().call("method.quon.mcu.get.allwakeup.info").result, 400);
    }
};

// The request is longer than the record, so only the record's bytes may arrive.
TEST_F(TheCommands, SendTheirRecordWholeAndNoMore) {
    std::vector<Command> rows;
    for (const ExpectedService& service : sending_services()) {
        if (service.request_size != kAnySize) {
            const auto size = static_cast<std::size_t>(service.request_size);
            rows.push_back({service.short_name(), pattern(size + 20), pattern(size)});
        }
    }
    run_rows(rows);
}

TEST_F(TheCommands, OfOneByteSendEveryValueOfIt) {
    run_rows({{"set.led", {0}, {0}}, {"set.tamper.info", {255}, {255}}});
}

TEST_F(TheCommands, WithoutAPayloadNeedNone) {
    run_rows({{"set.wdg.feed", {}, {}}});
}

TEST_F(TheCommands, PassARawCommandOnByItsLength) {
    run_rows({
        {"set.cmd", {0x42}, {0x42}},
        {"set.cmd", pattern(200), pattern(200)},
        {"set.cmd", pattern(384), pattern(384)},
        {"set.cmd", {}, {}},
    });
}

TEST_F(TheCommands, RefuseARawCommandThatFitsNoFrame) {
    start();
    for (const std::uint32_t length : {385U, 4356U, 5000U, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        const std::size_t mark = daemon().mark();
        BusRecord record = signal_record("signal.quon.mcu.set.cmd", pattern(kDataSize));
        record.data_len = length;
        peer().send(record);
        EXPECT_TRUE(
            wait_for_log(driver_failed("hi3861l_api_set_cmd", expected::kInvalidParam), mark));
        EXPECT_TRUE(wait_for_log(handler_failed(expected::service("set.cmd")), mark));
    }
    EXPECT_TRUE(chip().received(0xA5).empty());
    expect_still_serving();
}

TEST_F(TheCommands, WithAShortRequestReadTheFixedNumberOfBytes) {
    start();
    BusRecord record = signal_record("signal.quon.mcu.set.alarm", pattern(7));
    record.data_len = 2;
    peer().send(record);
    ASSERT_TRUE(chip().wait_for(0x98));
    EXPECT_EQ(chip().received(0x98).back(), chip_frame(0x98, pattern(7)));
}

TEST_F(TheCommands, LogTheTimeAndTheSystemStateThatTheySet) {
    start();
    print_every_level();
    peer().notify("signal.quon.mcu.set.time", {24, 2, 29, 23, 5, 9, 0, 0, 0, 0});
    EXPECT_TRUE(
        wait_for_log({'I', kDriverTag, "hi3861l_api_set_time", "time: 2024-02-29 23:05:09\n"}));
    // The fields are signed.
    peer().notify("signal.quon.mcu.set.time", {0xFF, 1, 1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(
        wait_for_log({'I', kDriverTag, "hi3861l_api_set_time", "time: 1999-01-01 00:00:00\n"}));
    peer().notify("signal.quon.mcu.set.system.state", {5});
    EXPECT_TRUE(wait_for_log({'I', kDriverTag, "hi3861l_api_set_system_state", "enSysState: 5\n"}));
}

TEST_F(TheCommands, OfTheLogChangeTheDaemonsOwnLevelAndSendNothing) {
    start();
    const std::size_t frames = chip().received().size();
    set_level(3);
    EXPECT_EQ(peer().call("method.quon.mcu.get.system", bytes_of("true")).payload(), bytes_of("0"));
    EXPECT_TRUE(wait_for_log({'I', kDaemonTag, "system_call", "exec: true\n"}));
    set_level(1);
    const std::size_t mark = daemon().mark();
    peer().call("method.quon.mcu.get.system", bytes_of("true"));
    peer().call("method.quon.mcu.get.log.profile");  // one that logs at level 1
    EXPECT_TRUE(wait_for_log(handler_finds_no_slot(expected::service("get.log.profile")), mark));
    EXPECT_FALSE(daemon().has_logged({'I', kDaemonTag, "system_call", ""}, mark));
    EXPECT_EQ(chip().received().size(), frames);
}

TEST_F(TheCommands, OfTheLogCannotSwitchItOff) {
    start();
    for (const std::uint8_t enable : Bytes{0, 2}) {
        const std::size_t mark = daemon().mark();
        peer().notify("signal.quon.mcu.set.log.profile", {enable, 1});
        EXPECT_TRUE(
            wait_for_log(handler_finds_no_slot(expected::service("set.log.profile")), mark));
    }
}

TEST_F(TheCommands, WithoutAChipReportTheirFailure) {
    start_daemon();  // nobody at the other end of the channel
    ASSERT_TRUE(wait_for_log(handler_failed(expected::service("get.ver"))));
    for (const ExpectedService& row : sending_services()) {
        SCOPED_TRACE(row.name);
        const std::size_t mark = daemon().mark();
        peer().notify(row.name, pattern(200));
        ASSERT_TRUE(wait_for_log(handler_failed(row), mark));
        const std::vector<LogLine> log = daemon().log(mark);
        ASSERT_EQ(log.size(), 4U);
        EXPECT_EQ(log[0],
                  error_line(kDriverTag, "hi3861l_send_data", expected::kChannelFailedLine));
        EXPECT_EQ(log[1],
                  error_line(kDriverTag, "hi3861l_send_msg_async", expected::kSendDataFailedLine));
        EXPECT_EQ(log[2], send_failed(expected::operation_of(row)));
    }
    EXPECT_EQ(peer().call("method.quon.mcu.upg.finish").result, -1);
    EXPECT_TRUE(wait_for_log(handler_failed(expected::service("upg.finish"))));
}

class AnUpgrade : public SystemTest {
  protected:
    static constexpr char kStart[] = "method.quon.mcu.upg.start";
    static constexpr char kTransmit[] = "method.quon.mcu.upg.transmit";
    static constexpr char kFinish[] = "method.quon.mcu.upg.finish";

    static Bytes block(std::uint32_t word, std::uint32_t length, const Bytes& data,
                       std::uint8_t tail) {
        return joined(joined(joined(little_endian(word), little_endian(length)), padded(data, 256)),
                      Bytes{tail});
    }
    static void expect_zero_word(const BusRecord& result) {
        EXPECT_EQ(result.result, 4);
        EXPECT_EQ(result.data_len, 4U);
        EXPECT_EQ(to_hex(result.data), to_hex(Bytes(kDataSize)));
    }
    static void expect_failure(const BusRecord& result) {
        EXPECT_EQ(result.result, -1);
        EXPECT_EQ(result.data_len, 0U);
    }
};

constexpr std::uint8_t kStartType = 0x8F;
constexpr std::uint8_t kTransmitType = 0x90;
constexpr std::uint8_t kFinishType = 0x91;
const Bytes kAccepted{9, 9, 9, 9, 0xA1, 9};

TEST_F(AnUpgrade, StartsWithAByteAndAWord) {
    start();
    expect_zero_word(
        call_answered(kStart, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66}, kStartType, {0, 0, 0}));
    EXPECT_EQ(chip().received(kStartType).back(), from_hex("8f 05 00 00 00 11 22 33 44 55"));
    EXPECT_EQ(chip().count(kStartType), 1U);
}

TEST_F(AnUpgrade, SendsABlockWholeAndTakesTheAcceptingByte) {
    start();
    const Bytes whole = block(0x01020304, 256, pattern(256), 0xEE);
    expect_zero_word(call_answered(kTransmit, whole, kTransmitType, kAccepted));
    EXPECT_EQ(chip().count(kTransmitType), 1U);
    EXPECT_EQ(to_hex(chip().received(kTransmitType).back()),
              to_hex(chip_frame(kTransmitType, whole)));
}

TEST_F(AnUpgrade, CopiesAsManyDataBytesAsTheBlockCounts) {
    start();
    const Bytes three = block(7, 3, pattern(256), 0xEE);
    expect_zero_word(call_answered(kTransmit, three, kTransmitType, kAccepted));
    EXPECT_EQ(to_hex(chip().received(kTransmitType).back()),
              to_hex(chip_frame(kTransmitType, block(7, 3, pattern(3), 0xEE))));
    const Bytes none = block(7, 0, pattern(256), 0xEE);
    expect_zero_word(call_answered(kTransmit, none, kTransmitType, kAccepted));
    EXPECT_EQ(to_hex(chip().received(kTransmitType).back()),
              to_hex(chip_frame(kTransmitType, block(7, 0, {}, 0xEE))));
}

TEST_F(AnUpgrade, CopiesNoMoreDataThanABlockHolds) {
    start();
    for (const std::uint32_t length : {257U, 4000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        const Bytes block_with_more = block(7, length, pattern(256), 0xEE);
        expect_zero_word(call_answered(kTransmit, joined(block_with_more, pattern(500)),
                                       kTransmitType, kAccepted));
        EXPECT_EQ(to_hex(chip().received(kTransmitType).back()),
                  to_hex(chip_frame(kTransmitType, block_with_more)));
    }
}

TEST_F(AnUpgrade, FailsWhenTheChipRefusesABlock) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    for (const Bytes& refusal :
         {Bytes{0xA1, 0xA1, 0xA1, 0xA1, 0x00, 0xA1}, Bytes{0, 0, 0, 0}, Bytes{}}) {
        expect_failure(
            call_answered(kTransmit, block(1, 4, pattern(4), 0), kTransmitType, refusal));
    }
    EXPECT_TRUE(wait_for_log(handler_failed(expected::service("upg.transmit")), mark));
    // The exchange itself succeeded: the driver says nothing.
    for (const LogLine& line : daemon().log(mark)) {
        EXPECT_FALSE(line.tag == kDriverTag && line.level == 'E') << line;
    }
}

TEST_F(AnUpgrade, FinishesWithoutWaitingForTheChip) {
    start();
    chip().ignore(kFinishType);
    expect_zero_word(peer().call(kFinish, pattern(12)));
    ASSERT_TRUE(chip().wait_for(kFinishType));
    EXPECT_EQ(chip().received(kFinishType).back(), from_hex("91 00 00 00 00"));
    EXPECT_EQ(chip().count(kFinishType), 1U);
}

TEST_F(AnUpgrade, IsLoggedAtItsStartAndAtItsEnd) {
    start();
    print_every_level();
    call_answered(kStart, {1, 2, 3, 4, 5}, kStartType, {0});
    EXPECT_TRUE(wait_for_log({'I', kDriverTag, "hi3861l_api_upg_start", "upgrade start\n"}));
    peer().call(kFinish);
    EXPECT_TRUE(wait_for_log({'I', kDriverTag, "hi3861l_api_upg_finish", "upgrade finish\n"}));
}

}  // namespace
}  // namespace quon::test
