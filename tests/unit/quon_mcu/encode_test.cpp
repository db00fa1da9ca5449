#include "quon_mcu/encode.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "client_run.h"
#include "failure_of.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

using quon::test::failure_of;
using words = std::vector<std::string>;

byte_list encoded(const char* record, const words& given, byte_list base = {}) {
    return encode(*catalog::find_record(record), std::move(base), given);
}

std::string refusal(const char* record, const words& given) {
    const auto refused = failure_of([&] { encoded(record, given); });
    EXPECT_EQ(refused.status, 2);
    return refused.text;
}

std::string hex(const char* record, const words& given) {
    return catalog::to_hex(encoded(record, given));
}

TEST(Values, FillTheFieldsInTheirOrderLittleEndian) {
    EXPECT_EQ(hex("value", {"1"}), "01");
    EXPECT_EQ(hex("value", {"0xff"}), "ff");
    EXPECT_EQ(hex("wdg_period", {"30"}), "1e000000");
    EXPECT_EQ(hex("wdg_period", {"4294967295"}), "ffffffff");
    EXPECT_EQ(hex("alarm", {"0x01020304", "5", "6", "7"}), "04030201050607");
    EXPECT_EQ(hex("upg_start", {"2", "65536"}), "0200000100");
}

TEST(Values, AreRefusedOutsideTheirRange) {
    EXPECT_EQ(refusal("value", {"256"}), "value: '256' is no number from 0 to 255");
    EXPECT_EQ(refusal("value", {"-1"}), "value: '-1' is no number from 0 to 255");
    EXPECT_EQ(refusal("time", {"year=128"}), "year: '128' is no number from 0 to 127");
    EXPECT_EQ(refusal("wdg_period", {"4294967296"}),
              "period: '4294967296' is no number from 0 to 4294967295");
    EXPECT_EQ(refusal("store_params", {"server_port=65536"}),
              "server_port: '65536' is no number from 0 to 65535");
}

TEST(AClocksParts, AreRefusedWhenNoClockShowsThem) {
    EXPECT_EQ(refusal("time", {"month=13"}), "month: '13' is no number from 1 to 12");
    EXPECT_EQ(refusal("time", {"month=0"}), "month: '0' is no number from 1 to 12");
    EXPECT_EQ(refusal("time", {"day=32"}), "day: '32' is no number from 1 to 31");
    EXPECT_EQ(refusal("time", {"hour=24"}), "hour: '24' is no number from 0 to 23");
    EXPECT_EQ(refusal("time", {"minute=60"}), "minute: '60' is no number from 0 to 59");
    EXPECT_EQ(refusal("time", {"second=-1"}), "second: '-1' is no number from 0 to 59");
    EXPECT_EQ(refusal("time", {"26", "2", "30", "0", "0", "0"}), "month 2 has no day 30");
    EXPECT_EQ(refusal("time", {"year=25", "month=2", "day=29"}), "month 2 has no day 29");
    EXPECT_EQ(hex("time", {"year=24", "month=2", "day=29"}), "18021d00000000000000");
    EXPECT_EQ(hex("time", {"hour=3"}), "00000003000000000000");
}

TEST(AClocksParts, MakeADateWithThoseThatStay) {
    const byte_list january = {26, 1, 31, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(failure_of([&] { encoded("time", {"month=2"}, january); }).text,
              "month 2 has no day 31");
    EXPECT_EQ(catalog::to_hex(encoded("time", {"month=3"}, january)), "1a031f00000000000000");
}

TEST(Values, AreRefusedWhenTheirNumberIsWrong) {
    EXPECT_EQ(refusal("alarm", {"1", "2"}), "expected 4 values: word byte4 byte5 byte6");
}

TEST(Assignments, LeaveTheOtherBytesOfTheBase) {
    const byte_list base(48, 0xee);
    byte_list expected = base;
    expected[42] = 0x90;
    expected[43] = 0x1f;
    EXPECT_EQ(encoded("store_params", {"server_port=8080"}, base), expected);
}

TEST(Assignments, StandOverZerosWithoutABase) {
    byte_list expected(48);
    expected[38] = 192;
    expected[39] = 168;
    expected[40] = 1;
    expected[41] = 2;
    EXPECT_EQ(encoded("store_params", {"server_ip=192.168.1.2"}), expected);
}

TEST(Assignments, AreRefusedWhenAFieldIsGivenTwice) {
    EXPECT_EQ(refusal("alarm", {"word=1", "byte4=2", "word=1"}), "word is given twice");
}

TEST(AShellCommand, MayHaveAnEqualsSignAfterItsFirstWord) {
    EXPECT_EQ(hex("shell_command", {"x a=b"}), "7820613d6200");
    EXPECT_EQ(hex("shell_command", {"command=A=1 x"}), "413d31207800");
    EXPECT_EQ(hex("shell_command", {"A=1 x"}), "413d31207800");
}

TEST(Assignments, AreRefusedForUnknownFieldsAndMixedWithValues) {
    EXPECT_EQ(refusal("store_params", {"server_prt=1"})
                  .find("unknown field 'server_prt'; did you mean 'server_port'"),
              0u);
    EXPECT_EQ(refusal("alarm", {"word=1", "2"}), "'2' is no NAME=VALUE");
}

TEST(AnAddress, IsRefusedWhenItIsNone) {
    EXPECT_EQ(refusal("store_params", {"server_ip=300.1.1.1"}), "'300.1.1.1' is no IPv4 address");
    EXPECT_EQ(refusal("wakeup_info", {"mac=02:00"}), "'02:00' is no MAC address");
    EXPECT_EQ(refusal("wakeup_info", {"mac=020000000001"}), "'020000000001' is no MAC address");
}

TEST(AMac, StandsAtItsOffset) {
    const byte_list record = encoded("wakeup_info", {"mac=02:00:00:00:00:0A", "reason=13"});
    ASSERT_EQ(record.size(), 71u);
    EXPECT_EQ(record[0], 13);
    EXPECT_EQ(catalog::to_hex(std::span(record).subspan(54, 6)), "02000000000a");
}

TEST(AKnownValue, MayBeGivenByItsMeaning) {
    EXPECT_EQ(hex("log_profile_request", {"enable=1", "level_limit=debug"}).substr(0, 6), "010400");
    EXPECT_EQ(encoded("log_profile_request", {"level_limit=debug"}).size(), 35u);
}

TEST(AText, EndsWithAZeroByteOrFillsItsField) {
    EXPECT_EQ(hex("shell_command", {"command=ls"}), "6c7300");
    const catalog::record& info = *catalog::find_record("wifi_info");
    EXPECT_EQ(encode_field(info.fields[0], std::string(32, 'x')), byte_list(32, 'x'));
    EXPECT_EQ(failure_of([&] { encode_field(info.fields[0], std::string(33, 'x')); }).text,
              "mac has room for 32 characters");
}

TEST(Bytes, HaveTheLengthOfTheirField) {
    const catalog::field& data = field_named(*catalog::find_record("upg_block"), "data");
    EXPECT_EQ(failure_of([&] { encode_field(data, "0102"); }).text, "data has 256 bytes, not 2");
    EXPECT_EQ(encode_field(data, std::string(512, '1')), byte_list(256, 0x11));
}

TEST(ATime, IsADateAndATimeOfDay) {
    EXPECT_EQ(hex("time", {"2026-02-03", "04:05:06"}), "1a020304050600000000");
    EXPECT_EQ(hex("time", {"2026-02-03T04:05:06"}), "1a020304050600000000");
    EXPECT_EQ(hex("time", {"2000-01-01 00:00:00"}), "00010100000000000000");
    EXPECT_EQ(hex("time", {"year=26", "second=7"}), "1a000000000700000000");
}

TEST(ATime, IsRefusedWhenNoCalendarHasIt) {
    for (const char* text : {"2026-02-30 00:00:00", "2026-13-01 00:00:00", "2026-01-01 24:00:00",
                             "1999-12-31 23:59:59", "2128-01-01 00:00:00"}) {
        EXPECT_EQ(refusal("time", {text}), "no such time; years are 2000 to 2127") << text;
    }
    EXPECT_EQ(refusal("time", {"2026-02-03"}),
              "expected 6 values: year month day hour minute second");
}

TEST(ATime, CanBeTheMachinesOwn) {
    const std::time_t before = std::time(nullptr);
    const byte_list now = encoded("time", {"now"});
    const std::time_t after = std::time(nullptr);
    ASSERT_EQ(now.size(), 10u);
    std::tm parts{};
    parts.tm_year = now[0] + 100;
    parts.tm_mon = now[1] - 1;
    parts.tm_mday = now[2];
    parts.tm_hour = now[3];
    parts.tm_min = now[4];
    parts.tm_sec = now[5];
    parts.tm_isdst = -1;
    const std::time_t shown = std::mktime(&parts);
    EXPECT_GE(shown, before);
    EXPECT_LE(shown, after);
}

struct complete_row {
    const char* record;
    words given;
    bool complete;
};

TEST(Words, SayWhetherTheyGiveEveryByte) {
    const complete_row rows[] = {
        {"value", {"1"}, true},
        {"wdg_period", {"30"}, true},
        {"alarm", {"1", "2", "3", "4"}, true},
        {"alarm", {"word=1"}, false},
        {"alarm", {"word=1", "byte4=1", "byte5=1", "byte6=1"}, true},
        {"time", {"now"}, true},
        {"time", {"2026-02-03 04:05:06"}, true},
        {"time", {"26", "1", "1", "1", "1", "1"}, false},  // bytes 6 to 9 have no name
        {"store_params", {"server_ip=1.1.1.1", "server_port=1"}, false},
        {"shell_command", {"command=x"}, true},
    };
    for (const complete_row& row : rows) {
        EXPECT_EQ(is_complete(*catalog::find_record(row.record), row.given), row.complete)
            << row.record << " " << row.given[0];
    }
}

}  // namespace
}  // namespace quon::client
