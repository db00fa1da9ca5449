// Structures out of answers and requests out of structures, byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fake_daemon.h"
#include "quon_mcu_client.h"

namespace quon::test {
namespace {

constexpr int32_t kTimeout = 20000;

std::string zeros(size_t count) {
    std::string hex;
    for (size_t i = 0; i < count; ++i) {
        hex += "00";
    }
    return hex;
}

// What `call` makes of a daemon that answers with these bytes.
template <typename Reply>
Reply answered(const std::string& hex, quon_mcu_status (*call)(quon_mcu_client*, Reply*, int32_t)) {
    const FakeDaemon daemon(replying(hex));
    quon_mcu_client* client = quon_mcu_client_connect("test.client", kTimeout);
    Reply reply;
    std::memset(&reply, 0xee, sizeof(reply));
    EXPECT_EQ(call(client, &reply, kTimeout), QUON_MCU_OK);
    quon_mcu_client_disconnect(client);
    return reply;
}

template <typename Request>
std::pair<quon_mcu_status, std::string> sent(const Request& request,
                                             quon_mcu_status (*call)(quon_mcu_client*,
                                                                     const Request*, int32_t)) {
    const FakeDaemon daemon;
    quon_mcu_client* client = quon_mcu_client_connect("test.client", kTimeout);
    const quon_mcu_status status = call(client, &request, kTimeout);
    std::string hex = status == QUON_MCU_OK ? hex_of(daemon.request()) : "";
    quon_mcu_client_disconnect(client);
    return {status, hex};
}

using Sent = std::pair<quon_mcu_status, std::string>;

TEST(AnAnswer, OfTheClockGivesItsFieldsAndTheUninterpretedBytes) {
    const auto time = answered("1a 02 03 04 05 06 a1 a2 a3 a4", quon_mcu_client_get_time);
    EXPECT_EQ(time.absent, 0U);
    EXPECT_EQ(time.year, 26);
    EXPECT_EQ(time.month, 2);
    EXPECT_EQ(time.day, 3);
    EXPECT_EQ(time.hour, 4);
    EXPECT_EQ(time.minute, 5);
    EXPECT_EQ(time.second, 6);
    EXPECT_EQ(to_hex(time.rest_6), "a1 a2 a3 a4");
}

TEST(AnAnswer, HasSignedNumbers) {
    const auto time = answered("80 ff 7f 00 00 00 00 00 00 01", quon_mcu_client_get_time);
    EXPECT_EQ(time.year, -128);
    EXPECT_EQ(time.month, -1);
    EXPECT_EQ(time.day, 127);
}

TEST(AnAnswer, MarksTheFieldsFromItsLastByteOnThatTheChipMayNotHaveSent) {
    const auto time = answered("1a 00 03 00 00 00 00 00 00 00", quon_mcu_client_get_time);
    EXPECT_EQ(time.absent,
              unsigned{QUON_MCU_TIME_HOUR | QUON_MCU_TIME_MINUTE | QUON_MCU_TIME_SECOND});
    EXPECT_EQ(time.month, 0) << "a zero with something behind it is one";
    EXPECT_EQ(time.hour, 0);
}

TEST(AnAnswer, OfZerosAloneMarksAllItsFields) {
    EXPECT_EQ(answered(zeros(10), quon_mcu_client_get_time).absent, 0x3fU);
    EXPECT_EQ(answered(zeros(5), quon_mcu_client_get_battery_status).absent,
              unsigned{QUON_MCU_BATTERY_STATUS_BYTES});
    EXPECT_EQ(answered("00 00 01 00 00", quon_mcu_client_get_battery_status).absent, 0U);
}

TEST(AnAnswer, OfTheWakeUpHasAddressesAsTextAndLittleEndianNumbers) {
    const auto info =
        answered("0d" + zeros(53) + "02 00 5e 10 ab ff 78 56 34 12 01 00 00 80 00 00 00",
                 quon_mcu_client_get_wakeup_info);
    EXPECT_EQ(info.reason, 13);
    EXPECT_STREQ(info.mac, "02:00:5e:10:ab:ff");
    EXPECT_EQ(info.socup_time1, 0x12345678U);
    EXPECT_EQ(info.socup_time2, 0x80000001U);
    EXPECT_EQ(info.absent, 0U);
}

TEST(AnAnswer, ThatLacksAnAddressHasNoText) {
    const auto info = answered("01" + zeros(70), quon_mcu_client_get_wakeup_info);
    EXPECT_STREQ(info.mac, "");
    EXPECT_EQ(info.absent, unsigned{QUON_MCU_WAKEUP_INFO_MAC | QUON_MCU_WAKEUP_INFO_SOCUP_TIME1 |
                                    QUON_MCU_WAKEUP_INFO_SOCUP_TIME2});
    const auto store = answered("07" + zeros(47), quon_mcu_client_get_store_params);
    EXPECT_STREQ(store.server_ip, "");
    EXPECT_EQ(store.absent,
              unsigned{QUON_MCU_STORE_PARAMS_SERVER_IP | QUON_MCU_STORE_PARAMS_SERVER_PORT});
}

TEST(AnAnswer, OfTheStoredParametersHasServerAndPort) {
    const auto store =
        answered(zeros(38) + "c0 a8 01 02 90 1f" + zeros(4), quon_mcu_client_get_store_params);
    EXPECT_STREQ(store.server_ip, "192.168.1.2");
    EXPECT_EQ(store.server_port, 8080);
    EXPECT_EQ(store.absent, 0U);
}

TEST(AnAnswer, OfTheSnapshotJudgesEachOfItsAnswersByItself) {
    std::string hex = "03" + zeros(70);  // wake-up info: the reason alone
    hex += "1a 02" + zeros(8);           // time: no day
    hex += zeros(5) + zeros(70);         // battery, Wi-Fi status
    hex += zeros(160) + zeros(38) + "0a 00 00 01 50 00" + zeros(4);  // Wi-Fi info; stored
    hex += "56 31" + zeros(30) + "05 00 00 00";                      // version, start
    const auto context = answered(hex, quon_mcu_client_get_allwakeup_info);
    EXPECT_EQ(context.wakeup_reason, 3);
    EXPECT_EQ(context.time_month, 2);
    EXPECT_STREQ(context.server_ip, "10.0.0.1");
    EXPECT_EQ(context.server_port, 80);
    EXPECT_STREQ(context.version, "V1");
    EXPECT_EQ(context.start_ms, 5U);
    EXPECT_EQ(
        context.absent,
        0x1fffffU &
            ~unsigned{QUON_MCU_WAKEUP_CONTEXT_WAKEUP_REASON | QUON_MCU_WAKEUP_CONTEXT_TIME_YEAR |
                      QUON_MCU_WAKEUP_CONTEXT_TIME_MONTH | QUON_MCU_WAKEUP_CONTEXT_SERVER_IP |
                      QUON_MCU_WAKEUP_CONTEXT_SERVER_PORT | QUON_MCU_WAKEUP_CONTEXT_VERSION |
                      QUON_MCU_WAKEUP_CONTEXT_START_MS});
}

std::string text_field(const std::string& text, size_t size) {
    std::string hex;
    for (const char c : text) {
        hex += to_hex(Bytes{static_cast<uint8_t>(c)});
    }
    return hex + zeros(size - text.size());
}

TEST(AnAnswer, OfTheNetworkEndsEachTextAndMarksThoseOfZerosAlone) {
    const std::string full(32, 'x');
    const auto info = answered(text_field("00:00:00:00:00:00", 32) + text_field("192.168.1.7", 32) +
                                   text_field("0.0.0.0", 32) + text_field(full, 32) + zeros(32),
                               quon_mcu_client_get_wifi_info);
    EXPECT_STREQ(info.mac, "");
    EXPECT_STREQ(info.ip, "192.168.1.7");
    EXPECT_STREQ(info.gateway, "");
    EXPECT_EQ(std::string(info.dns1), full);
    EXPECT_STREQ(info.dns2, "");
    EXPECT_EQ(info.absent, unsigned{QUON_MCU_WIFI_INFO_MAC | QUON_MCU_WIFI_INFO_GATEWAY |
                                    QUON_MCU_WIFI_INFO_DNS2});
}

TEST(AnAnswer, OfTheVersionIsATextOfItsOwnLength) {
    EXPECT_STREQ(answered("56 32 2e 31", quon_mcu_client_get_ver).version, "V2.1");
    const auto nothing = answered("", quon_mcu_client_get_ver);
    EXPECT_STREQ(nothing.version, "");
    EXPECT_EQ(nothing.absent, unsigned{QUON_MCU_VERSION_VERSION});
    const auto longest = answered(text_field(std::string(384, 'v'), 384), quon_mcu_client_get_ver);
    EXPECT_EQ(std::string(longest.version), std::string(384, 'v'));
}

TEST(AnAnswer, OfTheWatchdogIsADigitThatMayBeMissing) {
    EXPECT_STREQ(answered("31", quon_mcu_client_get_wdg_state).state, "1");
    const auto zero = answered("30", quon_mcu_client_get_wdg_state);
    EXPECT_EQ(zero.absent, unsigned{QUON_MCU_WDG_STATE_TEXT_STATE});
    EXPECT_STREQ(zero.state, "");
}

TEST(AnAnswer, ThatIsAListHasItsEntries) {
    std::string hex = "02";
    for (int i = 0; i < 72; ++i) {
        hex += i < 36 ? "aa" : "bb";
    }
    const auto report = answered(hex + zeros(108), quon_mcu_client_get_err_report);
    EXPECT_EQ(report.absent, 0U);
    EXPECT_EQ(report.count, 2);
    EXPECT_EQ(to_hex(std::span(report.entries[0].bytes).first(2)), "aa aa");
    EXPECT_EQ(to_hex(std::span(report.entries[1].bytes).last(2)), "bb bb");
    EXPECT_EQ(answered("01" + zeros(180), quon_mcu_client_get_err_report).count, 1);
    EXPECT_EQ(answered(zeros(181), quon_mcu_client_get_err_report).absent,
              unsigned{QUON_MCU_ERR_REPORT_COUNT});
}

TEST(AnAnswer, ThatIsAListWithMoreEntriesThanItHasRoomForIsMalformedAndLeavesTheReply) {
    const FakeDaemon daemon(replying("06" + zeros(180)));
    quon_mcu_client* client = quon_mcu_client_connect("test.client", kTimeout);
    quon_mcu_err_report report;
    std::memset(&report, 0x55, sizeof(report));
    EXPECT_EQ(quon_mcu_client_get_err_report(client, &report, kTimeout), QUON_MCU_MALFORMED);
    EXPECT_EQ(report.count, 0x55);
    quon_mcu_client_disconnect(client);
}

TEST(AnAnswer, OfServicesWhoseZerosAreFactsMarksNothing) {
    const auto event = answered("0b" + zeros(32), quon_mcu_client_get_event_info);
    EXPECT_EQ(event.bytes[0], 0x0b);
    EXPECT_EQ(answered(zeros(4), quon_mcu_client_upg_finish).zero, 0U);
}

TEST(ARequest, OfTheClockIsItsTenBytes) {
    quon_mcu_time time{};
    time.absent = 0xffffffff;  // not read
    time.year = 26;
    time.month = -1;
    time.second = 59;
    time.rest_6[3] = 0xa4;
    EXPECT_EQ(sent(time, quon_mcu_client_set_time),
              Sent(QUON_MCU_OK, "1a ff 00 00 00 3b 00 00 00 a4"));
}

TEST(ARequest, OfOneByteAndOfAWordAreLittleEndian) {
    EXPECT_EQ(sent(quon_mcu_value{0xfe}, quon_mcu_client_set_led), Sent(QUON_MCU_OK, "fe"));
    EXPECT_EQ(sent(quon_mcu_wdg_period{0x01020304}, quon_mcu_client_set_wdg_period),
              Sent(QUON_MCU_OK, "04 03 02 01"));
    EXPECT_EQ(sent(quon_mcu_alarm{0, 0x0a0b0c0d, 1, 2, 3}, quon_mcu_client_set_alarm),
              Sent(QUON_MCU_OK, "0d 0c 0b 0a 01 02 03"));
}

TEST(ARequest, HasAddressesFromTextAndZerosWithoutOne) {
    quon_mcu_store_params store{};
    store.rest_0[0] = 0x11;
    std::strcpy(store.server_ip, "192.168.1.2");
    store.server_port = 8080;
    store.rest_44[3] = 0x22;
    std::string expected = "11";
    for (int i = 1; i < 38; ++i) {
        expected += " 00";
    }
    EXPECT_EQ(sent(store, quon_mcu_client_set_store_params),
              Sent(QUON_MCU_OK, expected + " c0 a8 01 02 90 1f 00 00 00 22"));
    store.server_ip[0] = '\0';
    EXPECT_EQ(sent(store, quon_mcu_client_set_store_params),
              Sent(QUON_MCU_OK, expected + " 00 00 00 00 90 1f 00 00 00 22"));
}

TEST(ARequest, TakesAHardwareAddressInEitherCase) {
    quon_mcu_wakeup_info info{};
    std::strcpy(info.mac, "02:00:5E:10:aB:fF");
    const auto [status, hex] = sent(info, quon_mcu_client_set_wakeup_info);
    EXPECT_EQ(status, QUON_MCU_OK);
    EXPECT_EQ(hex.substr(3 * 54, 17), "02 00 5e 10 ab ff");
}

TEST(ARequest, WithATextThatIsNoAddressIsNotSent) {
    for (const char* wrong : {"192.168.1", "192.168.1.256", "a", "1.2.3.4 ", "123456789012345"}) {
        quon_mcu_store_params store{};
        std::strcpy(store.server_ip, wrong);
        EXPECT_EQ(sent(store, quon_mcu_client_set_store_params), Sent(QUON_MCU_INVALID, ""))
            << wrong;
    }
    for (const char* wrong : {"02:00:5e:10:ab", "02:00:5e:10:ab:f", "02:00:5e:10:ab:fg",
                              "02-00-5e-10-ab-ff", "0", "02:00:5e:10:ab:", ":"}) {
        quon_mcu_wakeup_info info{};
        std::strcpy(info.mac, wrong);
        EXPECT_EQ(sent(info, quon_mcu_client_set_wakeup_info), Sent(QUON_MCU_INVALID, "")) << wrong;
    }
}

TEST(ARequest, OfBytesIsAsLongAsItSaysUpToAChipsPayload) {
    quon_mcu_raw_command command{};
    command.bytes[0] = 1;
    command.bytes[1] = 2;
    command.length = 2;
    EXPECT_EQ(sent(command, quon_mcu_client_set_cmd), Sent(QUON_MCU_OK, "01 02"));
    command.length = 384;
    EXPECT_EQ(sent(command, quon_mcu_client_set_cmd).second.size(), 384U * 3 - 1);
    command.length = 385;
    EXPECT_EQ(sent(command, quon_mcu_client_set_cmd).first, QUON_MCU_INVALID);
}

TEST(ARequest, OfAStructureThatIsNotThereIsInvalid) {
    const FakeDaemon daemon;
    quon_mcu_client* client = quon_mcu_client_connect("test.client", kTimeout);
    EXPECT_EQ(quon_mcu_client_set_time(client, nullptr, kTimeout), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_get_wifi_scanf_info(client, nullptr, nullptr, kTimeout),
              QUON_MCU_INVALID);
    quon_mcu_client_disconnect(client);
}

TEST(AnAnsweredStructure, GoesBackAsTheSameBytes) {
    std::string hex = "0d";
    for (int i = 1; i < 71; ++i) {
        hex += " " + to_hex(Bytes{static_cast<uint8_t>(i * 3 + 1)});
    }
    const auto info = answered(hex, quon_mcu_client_get_wakeup_info);
    EXPECT_EQ(sent(info, quon_mcu_client_set_wakeup_info), Sent(QUON_MCU_OK, hex));
}

}  // namespace
}  // namespace quon::test
