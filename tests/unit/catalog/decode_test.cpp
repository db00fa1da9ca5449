#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "catalog/catalog.h"
#include "hi3861l_protocol.h"
#include "mcu_records.h"

namespace quon::catalog {
namespace {

std::string line_of(std::string_view record_name, const byte_list& bytes) {
    return one_line(find_record(record_name), bytes);
}

TEST(ATimeRecord, ShowsSixSignedFieldsAndTheRest) {
    EXPECT_EQ(line_of("time", {26, 2, 3, 0xff, 5, 6, 0xde, 0xad, 0xbe, 0xef}),
              "year=26 month=2 day=3 hour=-1 minute=5 second=6 rest_6=deadbeef");
}

TEST(ANumber, IsReadLittleEndian) {
    EXPECT_EQ(line_of("wdg_period", {0x1e, 0x02, 0x00, 0x80}), "period=2147484190");
}

TEST(AKnownValue, CarriesItsMeaning) {
    const byte_list frame = {0, 0, 0, 0, 0xa1};
    const auto fields = decode(*find_record("upg_transmit_answer"), frame);
    ASSERT_EQ(fields.size(), 2u);
    EXPECT_EQ(fields[0].name, "rest_0");
    EXPECT_EQ(fields[1].name, "answer");
    EXPECT_EQ(fields[1].value, "161");
    EXPECT_EQ(fields[1].kind, field_kind::u8);
    EXPECT_EQ(fields[1].meaning, "accepted");
}

TEST(AnUnknownValue, CarriesNoMeaning) {
    const byte_list frame = {0, 0, 0, 0, 0xa2};
    EXPECT_EQ(decode(*find_record("upg_transmit_answer"), frame)[1].meaning, "");
}

TEST(ANetworkEvent, ShowsItsStateAndAddresses) {
    byte_list event(33);
    event[0] = 7;
    event[1] = 1;
    const byte_list record = {192, 168, 1, 20, 255, 255, 255, 0, 192, 168, 1, 1, 2,
                              0,   0,   0, 0,  1,   8,   8,   8, 8,   1,   1, 1, 1};
    ASSERT_EQ(record.size(), sizeof(hi3861l_net_info));
    std::ranges::copy(record, event.begin() + kHi3861lNetEventRecordOffset);
    EXPECT_EQ(describe_payload(direction::from_chip, HI3861L_EVENT_NET, event),
              "rest_0=07 state=1 ip=192.168.1.20 netmask=255.255.255.0 gateway=192.168.1.1 "
              "mac=02:00:00:00:00:01 dns1=8.8.8.8 dns2=1.1.1.1 rest_28=0000000000");
}

TEST(AText, EndsAtItsZeroByteAndEscapesWhatIsNotPrintable) {
    EXPECT_EQ(line_of("version", {'V', '1', '\\', 0x1b, 0xc3, 0, 'x'}),
              "version=V1\\x5c\\x1b\\xc3");
}

TEST(AFieldThatIsCutShort, ComesAsRest) {
    EXPECT_EQ(line_of("store_params", byte_list(41, 0xab)), "bytes=" + to_hex(byte_list(41, 0xab)));
    EXPECT_EQ(line_of("time", {26, 2}), "year=26 month=2");
    EXPECT_EQ(line_of("alarm", {1, 0, 0, 0, 9}), "word=1 byte4=9");
}

TEST(ALongerReplyThanItsRecord, ShowsTheSurplusAsRest) {
    EXPECT_EQ(line_of("wdg_period", {1, 0, 0, 0, 0xee}), "period=1 rest_4=ee");
}

TEST(AList, ShowsItsCountAndTheEntriesThatAreThere) {
    byte_list report = {2};
    report.insert(report.end(), 36, 0x11);
    report.insert(report.end(), 36, 0x22);
    report.insert(report.end(), 3, 0x33);
    EXPECT_EQ(line_of("err_report", report), "count=2 entry[0]=" + to_hex(byte_list(36, 0x11)) +
                                                 " entry[1]=" + to_hex(byte_list(36, 0x22)) +
                                                 " rest_73=333333");
}

TEST(AListThatClaimsMoreThanItHolds, StopsAtTheLastWholeEntry) {
    byte_list report = {255};
    report.insert(report.end(), 36, 0x11);
    report.insert(report.end(), 35, 0x22);
    EXPECT_EQ(line_of("err_report", report), "count=255 entry[0]=" + to_hex(byte_list(36, 0x11)) +
                                                 " rest_37=" + to_hex(byte_list(35, 0x22)));
}

TEST(ARecordWithoutKnownFields, IsPlainHex) {
    EXPECT_EQ(line_of("battery_status", {0x0a, 0xff}), "0aff");
    EXPECT_EQ(one_line(nullptr, byte_list{0x01}), "01");
}

TEST(APayloadWithoutBytes, IsCalledEmpty) {
    EXPECT_EQ(line_of("time", {}), "empty");
    EXPECT_EQ(line_of("err_report", {}), "empty");
    EXPECT_EQ(describe_payload(direction::to_chip, HI3861L_SET_WDG_FEED, {}), "empty");
}

TEST(APayload, IsReadByItsDirection) {
    const byte_list one = {3};
    EXPECT_EQ(describe_payload(direction::to_chip, HI3861L_GET_WIFI_SCANF_INFO, one), "selector=3");
    EXPECT_EQ(describe_payload(direction::from_chip, HI3861L_GET_WIFI_SCANF_INFO, one), "03");
    EXPECT_EQ(describe_payload(direction::to_chip, HI3861L_SET_LED, one), "value=3");
    EXPECT_EQ(describe_payload(direction::from_chip, 0xee, one), "03");
}

// --- what a record that was filled up with zeros may hide

struct proof_row {
    std::string_view record;
    byte_list bytes;  // filled up to the record's size
    std::vector<std::string> blank;
    std::vector<std::pair<std::string, size_t>> open;  // unproven bytes of the others
};

TEST(ZerosUpToTheEndOfAnAnswer, AreNotProven) {
    const proof_row rows[] = {
        {"time", {26, 2, 3}, {"hour", "minute", "second", "rest_6"}, {}},
        {"time", {26, 2, 3, 0, 0, 1}, {"rest_6"}, {}},
        {"time", {26, 0, 0, 0, 0, 0, 0, 0, 0, 1}, {}, {{"rest_6", 0}}},
        {"alarm", {0x20, 0x1c}, {"byte4", "byte5", "byte6"}, {{"word", 2}}},
        {"battery_status", {80}, {}, {{"bytes", 4}}},
        {"battery_status", {}, {"bytes"}, {}},
        {"err_report", {}, {"count", "rest_1"}, {}},
        {"err_report", {1, 0, 7}, {"rest_37"}, {{"count", 0}, {"entry[0]", 34}}},
        {"wdg_state_text", {'0'}, {"state"}, {}},
        {"wdg_state_text", {'1'}, {}, {{"state", 0}}},
    };
    for (const proof_row& row : rows) {
        const record& what = *find_record(row.record);
        byte_list bytes = row.bytes;
        bytes.resize(what.size);
        std::vector<std::string> blank;
        std::map<std::string, size_t> open;
        for (const decoded_field& each : decode(what, bytes)) {
            if (each.blank) {
                blank.push_back(each.name);
            } else {
                open[each.name] = each.unproven;
            }
        }
        EXPECT_EQ(blank, row.blank) << row.record;
        for (const auto& [name, count] : row.open) {
            EXPECT_EQ(open.at(name), count) << row.record << "." << name;
        }
    }
}

std::vector<std::string> blank_fields(std::string_view record_name, const byte_list& bytes) {
    std::vector<std::string> names;
    for (const decoded_field& each : decode(*find_record(record_name), bytes)) {
        if (each.blank) {
            names.push_back(each.name);
        }
    }
    return names;
}

TEST(TheWakeUpContext, IsJudgedAnswerByAnswer) {
    byte_list context(400);
    context[70] = 1;   // the end of the wake-up info
    context[71] = 26;  // a year alone
    context[396] = 1;
    EXPECT_EQ(
        blank_fields("wakeup_context", context),
        (std::vector<std::string>{"time_month", "time_day", "time_hour", "time_minute",
                                  "time_second", "rest_77", "battery_status", "wifi_status",
                                  "wifi_mac", "wifi_ip", "wifi_gateway", "wifi_dns1", "wifi_dns2",
                                  "rest_316", "server_ip", "server_port", "rest_360", "version"}));
}

TEST(AnAddressInWords, IsBlankWhenItIsZero) {
    byte_list info(160);
    const auto put = [&info](size_t at, std::string_view text) {
        std::ranges::copy(text, info.begin() + static_cast<ptrdiff_t>(at));
    };
    put(0, "00:00:00:00:00:00");
    put(32, "0.0.0.0");
    put(64, "10.0.0.1");
    EXPECT_EQ(blank_fields("wifi_info", info),
              (std::vector<std::string>{"mac", "ip", "dns1", "dns2"}));
}

TEST(TheDaemonsOwnMeasures, AreNoPartOfAnAnswer) {
    byte_list times(12);
    times[0] = 5;
    times[4] = 6;
    times[8] = 1;
    for (const decoded_field& each : decode(*find_record("socup_time"), times)) {
        EXPECT_FALSE(each.blank) << each.name;
        EXPECT_EQ(each.unproven, each.name == "socup_time2" ? 3u : 0u) << each.name;
    }
}

TEST(EveryRecord, IsShownAtEveryLengthUpToBeyondItsOwn) {
    for (const record* each : records()) {
        for (size_t size = 1; size <= each->size + 40; ++size) {
            const byte_list bytes(size, 0x41);
            EXPECT_FALSE(decode(*each, bytes).empty()) << each->name << " " << size;
            EXPECT_NE(one_line(each, bytes), "") << each->name << " " << size;
        }
    }
}

}  // namespace
}  // namespace quon::catalog
