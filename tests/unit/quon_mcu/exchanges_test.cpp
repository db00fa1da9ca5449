#include "quon_mcu/exchanges.h"

#include <gtest/gtest.h>

namespace quon::client {
namespace {

using lines = std::vector<std::string>;

lines exchanges_in(const lines& log) {
    lines found;
    exchange_reader reader([&found](const exchange& what) {
        found.push_back(what.time + (what.time.empty() ? "" : " ") + exchange_text(what));
    });
    for (const std::string& each : log) {
        reader.line(each);
    }
    reader.end();
    return found;
}

TEST(AnExchange, IsOneLineWithTheTimeBetween) {
    EXPECT_EQ(exchanges_in({
                  "2026-02-03T04:05:06.789 host->chip 0x84 get_time len 0 empty",
                  "2026-02-03T04:05:06.801 chip->host 0x84 get_time len 2 year=26 month=2",
              }),
              lines{"2026-02-03T04:05:06.789 get_time -> year=26 month=2 (12 ms)"});
}

TEST(AnExchange, ShowsWhatItsQuestionHolds) {
    EXPECT_EQ(exchanges_in({
                  "04:05:06.100 host->chip 0xa9 get_wifi_scanf_info len 1 value=2",
                  "04:05:06.350 chip->host 0xa9 get_wifi_scanf_info len 3 0a0b0c",
              }),
              lines{"04:05:06.100 get_wifi_scanf_info value=2 -> 0a0b0c (250 ms)"});
}

TEST(AnExchange, HasNoAnswerWhenTheNextQuestionOrTheEndComesFirst) {
    EXPECT_EQ(exchanges_in({
                  "04:05:06.100 host->chip 0x84 get_time len 0 empty",
                  "04:05:07.100 host->chip 0x86 get_battery_status len 0 empty",
              }),
              (lines{"04:05:06.100 get_time -> no answer",
                     "04:05:07.100 get_battery_status -> no answer"}));
}

TEST(ACommand, IsALineByItself) {
    EXPECT_EQ(exchanges_in({
                  "04:05:06.100 host->chip 0x85 set_led len 1 value=2",
                  "04:05:06.101 host->chip 0x97 set_wdg_feed len 0 empty",
              }),
              (lines{"04:05:06.100 set_led value=2", "04:05:06.101 set_wdg_feed (command)"}));
}

TEST(AnEvent, ComesBetweenAQuestionAndItsAnswer) {
    EXPECT_EQ(
        exchanges_in({
            "04:05:06.100 host->chip 0x84 get_time len 0 empty",
            "04:05:06.150 chip->host 0x04 event_4 len 2 0102",
            "04:05:06.200 chip->host 0x84 get_time len 1 year=26",
        }),
        (lines{"04:05:06.150 event_4 (event) 0102", "04:05:06.100 get_time -> year=26 (100 ms)"}));
}

TEST(AnAnswer, WhoseQuestionIsNotInTheLogStandsAlone) {
    EXPECT_EQ(exchanges_in({"D/HEX recv msg: 0000-000F: 84 02 00 00 00 1A 02     "}),
              lines{"get_time -> year=26 month=2"});
}

TEST(AnAnswer, ThatComesAfterItsTimeOutStandsAlone) {
    EXPECT_EQ(exchanges_in({
                  "04:05:06.100 host->chip 0x84 get_time len 0 empty",
                  "E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_time:24) "
                  "[hi3861l_send_msg_sync failed] failed",
                  "04:05:07.200 chip->host 0x84 get_time len 1 year=26",
              }),
              (lines{"04:05:07.200 get_time -> year=26", "04:05:06.100 get_time -> no answer"}));
}

TEST(AnExchangeWithoutAnAnswer, TellsWhoAskedAsTheLogDoes) {
    EXPECT_EQ(
        exchanges_in({
            "\x1b[31;1mE/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_time:24) "
            "[hi3861l_send_msg_sync failed] failed",
            "\x1b[0m\x1b[31;1mE/QUON_MCU_DAEMON [02-03 04:05:07.101] (quon_mcu_get_time:47) "
            "[mcu_get_time failed] failed",
            "\x1b[0m\x1b[31;1mE/HI3861L  [02-03 04:05:08.000] (hi3861l_get_ip_info:24) "
            "[hi3861l_send_msg_sync failed] failed",
            "\x1b[0m\x1b[31;1mE/HI3861L  [02-03 04:05:08.001] (hi3861l_wlan_init_mac:45) "
            "[hi3861l_get_ip_info failed] failed",
        }),
        (lines{"02-03 04:05:07.100 get_time -> no answer (asked by get.time or the daemon's start)",
               "02-03 04:05:08.000 get_net_info -> no answer (asked by the daemon's start)"}));
}

// The log cuts a function's name to 31 letters.
TEST(AnExchangeWithoutAnAnswer, IsNamedByItsFunctionWhereTwoWouldFit) {
    EXPECT_EQ(exchanges_in({"E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_soc_poweron_tim:24) "
                            "[hi3861l_send_msg_sync failed] failed"}),
              lines{"02-03 04:05:07.100 hi3861l_api_get_soc_poweron_tim -> no answer"});
    EXPECT_EQ(exchanges_in({"E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_wifi_extended_s:24) "
                            "[hi3861l_send_msg_sync failed] failed",
                            "E/QUON_MCU_DAEMON [02-03 04:05:07.101] "
                            "(quon_mcu_get_wifi_extended_stat:24) "
                            "[mcu_get_wifi_extended_status failed] failed"}),
              lines{"02-03 04:05:07.100 get_wifi_extended_status -> no answer (asked by "
                    "get.wifi.extended.status)"});
}

const char* const kDriverFails =
    "E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_battery_status:24) "
    "[hi3861l_send_msg_sync failed] failed";
const char* const kHandlerFails =
    "E/QUON_MCU_DAEMON [02-03 04:05:07.101] (quon_mcu_get_battery_status:47) "
    "[mcu_get_battery_status failed] failed";
const char* const kFailure =
    "02-03 04:05:07.100 get_battery_status -> no answer (asked by get.battery.status or the "
    "daemon's start)";

TEST(AnExchangeWithoutAnAnswer, ComesBeforeTheNextFrameOfALogWithoutQuestions) {
    EXPECT_EQ(exchanges_in({
                  kDriverFails,
                  kHandlerFails,
                  "D/HEX recv msg: 0000-000F: 84 02 00 00 00 1A 02     ",
              }),
              (lines{kFailure, "get_time -> year=26 month=2"}));
}

TEST(AnExchangeWithoutAnAnswer, IsShownWhenItsAskerIsKnownAndNoLineFollowsForNow) {
    lines found;
    exchange_reader reader(
        [&found](const exchange& what) { found.push_back(what.time + " " + exchange_text(what)); });
    reader.line(kDriverFails);
    reader.idle();
    EXPECT_EQ(found, lines{}) << "its asker is still to come";
    reader.line(kHandlerFails);
    reader.idle();
    EXPECT_EQ(found, lines{kFailure});
    reader.end();
    EXPECT_EQ(found, lines{kFailure}) << "once";
}

TEST(AnExchangeWithoutAnAnswer, IsOfTheServiceAloneWhereTheStartDoesNotAskIt) {
    EXPECT_EQ(exchanges_in({"E/HI3861L  [02-03 04:05:07.100] (hi3861l_api_get_wdg_state:24) "
                            "[hi3861l_send_msg_sync failed] failed",
                            "E/QUON_MCU_DAEMON [02-03 04:05:07.101] (quon_mcu_get_wdg_state:47) "
                            "[mcu_get_wdg_state failed] failed"}),
              lines{"02-03 04:05:07.100 get_wdg_state -> no answer (asked by get.wdg.state)"});
}

TEST(AFrameOfAnUnknownType, IsNamedByItsNumber) {
    EXPECT_EQ(exchanges_in({"04:05:06.100 chip->host 0x09 unknown len 2 0102",
                            "D/HEX recv msg: 0000-000F: 09 02 00 00 00 01 02     "}),
              (lines{"04:05:06.100 0x09 -> 0102", "0x09 -> 0102"}));
}

TEST(AMalformedFrame, IsALineAsItStands) {
    EXPECT_EQ(exchanges_in({"04:05:06.100 chip->host malformed, 2 bytes 8400"}),
              lines{"04:05:06.100 malformed, 2 bytes 8400"});
    EXPECT_EQ(exchanges_in({"04:05:06.100 chip->host 0x84 get_time len 9 malformed, 1 payload "
                            "bytes 00"})
                  .size(),
              1u);
}

}  // namespace
}  // namespace quon::client
