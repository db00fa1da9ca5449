// The one-way services and the firmware upgrade: which frame each request makes.
#include "system_test.h"

namespace quon::test {
namespace {

struct Command {
    const char* service;  // after "signal.quon.mcu."
    Bytes request;
    std::uint8_t type;
    Bytes body;  // towards the chip
};

// A request longer than the record, so that only the record's octets may arrive.
Command record_row(const char* service, std::uint8_t type, std::size_t size) {
    return {service, pattern(size + 20), type, pattern(size)};
}

class TheCommands : public SystemTest {
  protected:
    void run_rows(const std::vector<Command>& rows) {
        start();
        for (const Command& row : rows) {
            SCOPED_TRACE(row.service);
            const std::size_t before = chip().received().size();
            const std::size_t of_type = chip().received(row.type).size();
            peer().notify("signal.quon.mcu." + std::string(row.service), row.request);
            ASSERT_TRUE(chip().wait_for(row.type, of_type + 1));
            EXPECT_EQ(to_hex(chip().received(row.type).back()),
                      to_hex(chip_frame(row.type, row.body)));
            EXPECT_EQ(chip().received().size(), before + 1);
        }
        // Nothing came back for any of them: the first record is this call's.
        EXPECT_EQ(peer().call("method.quon.mcu.get.allwakeup.info").result, 400);
    }
};

TEST_F(TheCommands, OfOneByteSendIt) {
    run_rows({
        {"set.led", {2}, 0x85, {2}},
        {"set.pir.switch", {1, 9, 9}, 0x87, {1}},
        {"set.pir.sensitivity", {7}, 0x88, {7}},
        {"set.system.state", {3}, 0x8E, {3}},
        {"set.wdg.state", {1}, 0x94, {1}},
        {"set.uart.switch", {1}, 0xA0, {1}},
        {"set.tamper.info", {255}, 0xA6, {255}},
    });
}

TEST_F(TheCommands, OfARecordSendItWhole) {
    run_rows({
        record_row("set.time", 0x83, 10),
        record_row("set.pir.info", 0xA2, 36),
        record_row("set.wifi.connect", 0x8A, 134),
        record_row("set.wifi.keepalive", 0x8D, 164),
        record_row("set.wifi.extended.info", 0x9D, 66),
        record_row("set.store.params", 0x92, 48),
        record_row("set.wdg.period", 0x96, 4),
        record_row("set.alarm", 0x98, 7),
        record_row("set.ap.start", 0x9A, 166),
        record_row("set.wakeup.info", 0xA1, 71),
        record_row("set.charge.auto.poweron", 0xA4, 67),
        record_row("set.soc.time.info", 0xAB, 44),
    });
}

TEST_F(TheCommands, WithoutAPayloadIgnoreTheirRequest) {
    run_rows({
        {"set.wifi.disconnect", pattern(9), 0x8B, {}},
        {"set.wdg.feed", pattern(9), 0x97, {}},
        {"set.wdg.feed", {}, 0x97, {}},
        {"set.ap.stop", pattern(9), 0x9B, {}},
        {"set.crash.test", pattern(9), 0x9C, {}},
    });
}

TEST_F(TheCommands, PassARawCommandOnByItsLength) {
    run_rows({
        {"set.cmd", {0x42}, 0xA5, {0x42}},
        {"set.cmd", pattern(200), 0xA5, pattern(200)},
        {"set.cmd", pattern(384), 0xA5, pattern(384)},
        {"set.cmd", {}, 0xA5, {}},
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
        EXPECT_TRUE(wait_for_log(
            {'E', kDriverTag, "hi3861l_api_set_cmd", "[param is invalid] failed\n"}, mark));
        EXPECT_TRUE(wait_for_log(
            {'E', kDaemonTag, "quon_mcu_set_cmd", "[mcu_set_cmd failed] failed\n"}, mark));
    }
    EXPECT_TRUE(chip().received(0xA5).empty());
    expect_still_serving();
}

TEST_F(TheCommands, WithAShortRequestReadTheFixedNumberOfOctets) {
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
    EXPECT_TRUE(
        wait_for_log({'E', kDaemonTag, "quon_mcu_get_log_profile", "func is null\n"}, mark));
    EXPECT_FALSE(daemon().has_logged({'I', kDaemonTag, "system_call", ""}, mark));
    EXPECT_EQ(chip().received().size(), frames);
}

TEST_F(TheCommands, OfTheLogCannotSwitchItOff) {
    start();
    for (const std::uint8_t enable : Bytes{0, 2}) {
        const std::size_t mark = daemon().mark();
        peer().notify("signal.quon.mcu.set.log.profile", {enable, 1});
        EXPECT_TRUE(
            wait_for_log({'E', kDaemonTag, "quon_mcu_set_log_profile", "func is null\n"}, mark));
    }
}

TEST_F(TheCommands, WithoutAChipReportTheirFailure) {
    struct Row {
        const char* service;
        const char* operation;
        const char* handler;
        const char* failure;
    };
    // clang-format off
    const std::vector<Row> rows = {
        {"set.time", "hi3861l_api_set_time", "quon_mcu_set_time", "mcu_set_time failed"},
        {"set.led", "hi3861l_api_set_led", "quon_mcu_set_led_state", "mcu_set_led_state failed"},
        {"set.pir.switch", "hi3861l_api_set_pir_switch", "quon_mcu_set_pir_switch", "mcu_set_pir_switch failed"},
        {"set.pir.sensitivity", "hi3861l_api_set_pir_sensitivity", "quon_mcu_set_pir_sensivity", "mcu_set_pir_sensitivity failed"},
        {"set.pir.info", "hi3861l_api_set_pir_info", "quon_mcu_set_pir_info", "mcu_set_pir_info failed"},
        {"set.wifi.connect", "hi3861l_api_set_wifi_connect", "quon_mcu_set_wifi_connect", "mcu_set_wifi_connect failed"},
        {"set.wifi.disconnect", "hi3861l_api_set_wifi_disconnect", "quon_mcu_set_wifi_disconnect", "mcu_set_wifi_disconnect failed"},
        {"set.wifi.keepalive", "hi3861l_api_set_wifi_keepalive", "quon_mcu_set_wifi_keepalive", "mcu_set_wifi_keepalive failed"},
        {"set.wifi.extended.info", "hi3861l_api_set_wifi_extended_info", "quon_mcu_set_wifi_extended_info", "mcu_set_wifi_extended_info failed"},
        {"set.system.state", "hi3861l_api_set_system_state", "quon_mcu_set_system_state", "mcu_set_system_state failed"},
        {"set.store.params", "hi3861l_api_set_store_params", "quon_mcu_set_store_params", "mcu_set_store_params failed"},
        {"set.wdg.state", "hi3861l_api_set_wdg_state", "quon_mcu_set_wdg_state", "mcu_set_wdg_state failed"},
        {"set.wdg.period", "hi3861l_api_set_wdg_period", "quon_mcu_set_wdg_period", "mcu_set_wdg_period failed"},
        {"set.wdg.feed", "hi3861l_api_set_wdg_feed", "quon_mcu_set_wdg_feed", "mcu_set_wdg_feed failed"},
        {"set.alarm", "hi3861l_api_set_alarm", "quon_mcu_set_alarm", "mcu_set_alarm failed"},
        {"set.ap.start", "hi3861l_api_set_ap_start", "quon_mcu_set_ap_start", "mcu_set_ap_start failed"},
        {"set.ap.stop", "hi3861l_api_set_ap_stop", "quon_mcu_set_ap_stop", "mcu_set_ap_stop failed"},
        {"set.crash.test", "hi3861l_api_set_crash_test", "quon_mcu_set_crash_test", "mcu_set_crash_test failed"},
        {"set.uart.switch", "hi3861l_api_set_uart_switch", "quon_mcu_set_uart_switch", "mcu_set_uart_switch failed"},
        {"set.wakeup.info", "hi3861l_api_set_wakeup_info", "quon_mcu_set_wakeup_info", "mcu_set_wakeup_info failed"},
        {"set.charge.auto.poweron", "hi3861l_api_set_charge_auto_poweron", "quon_mcu_set_charge_auto_poweron", "mcu_set_charge_auto_poweron failed"},
        {"set.cmd", "hi3861l_api_set_cmd", "quon_mcu_set_cmd", "mcu_set_cmd failed"},
        {"set.tamper.info", "hi3861l_api_set_tamper_switch", "quon_mcu_set_tamper_switch", "mcu_set_tamper_switch failed"},
        {"set.soc.time.info", "hi3861l_api_set_soc_poweron_time_info", "quon_mcu_set_soc_poweron_time_info", "mcu_set_soc_poweron_time_info failed"},
    };
    // clang-format on
    start_daemon();  // nobody behind the channel
    ASSERT_TRUE(wait_for_log(
        {'E', kDaemonTag, "quon_mcu_get_version", "[mcu_get_version failed] failed\n"}));
    const auto shown = [](const char* function) { return std::string(function).substr(0, 31); };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.service);
        const std::size_t mark = daemon().mark();
        peer().notify("signal.quon.mcu." + std::string(row.service), pattern(200));
        ASSERT_TRUE(wait_for_log(
            {'E', kDaemonTag, shown(row.handler), "[" + std::string(row.failure) + "] failed\n"},
            mark));
        const std::vector<LogLine> log = daemon().log(mark);
        ASSERT_EQ(log.size(), 4U);
        EXPECT_EQ(log[0], (Expected{'E', kDriverTag, "hi3861l_send_data",
                                    "hi_channel_send_to_dev failed\n"}));
        EXPECT_EQ(log[1], (Expected{'E', kDriverTag, "hi3861l_send_msg_async",
                                    "hi3861l_send_data failed\n"}));
        EXPECT_EQ(log[2], (Expected{'E', kDriverTag, shown(row.operation),
                                    "[hi3861l_send_msg_async failed] failed\n"}));
    }
    EXPECT_EQ(peer().call("method.quon.mcu.upg.finish").result, -1);
    EXPECT_TRUE(
        wait_for_log({'E', kDaemonTag, "quon_mcu_upg_finish", "[mcu_upg_finish failed] failed\n"}));
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

TEST_F(AnUpgrade, CopiesAsManyDataOctetsAsTheBlockCounts) {
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
    EXPECT_TRUE(wait_for_log(
        {'E', kDaemonTag, "quon_mcu_upg_transmit", "[mcu_upg_transmit failed] failed\n"}, mark));
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
