#include "quon_mcu/present.h"

#include <gtest/gtest.h>

#include "quon_mcu/describe.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

std::string people(const char* record, const byte_list& bytes) {
    return fields_text(*catalog::find_record(record), bytes);
}

std::string as_json(const char* record, const byte_list& bytes) {
    return dump(fields_json(*catalog::find_record(record), bytes));
}

TEST(Fields, StandInAlignedLines) {
    EXPECT_EQ(people("upg_start", {1, 2, 0, 0, 0}), "first   1\nsecond  2\n");
}

TEST(Fields, CarryUnitsAndMeanings) {
    EXPECT_EQ(people("socup_time", {1, 0, 0, 0, 2, 0, 0, 0, 0xdc, 5, 0, 0}),
              "socup_time1  1\nsocup_time2  2\nsince_start  1500 ms\n");
    byte_list wakeup(1);
    wakeup[0] = 13;
    EXPECT_EQ(people("wakeup_info", wakeup), "reason  13 (starts the remote wake-up hand-off)\n");
}

TEST(LongHex, IsShownInLinesOfSixteenBytes) {
    EXPECT_EQ(people("pir_info", byte_list(36, 0xab)),
              "bytes  abababababababababababababababab\n"
              "       abababababababababababababababab\n"
              "       abababab\n");
}

TEST(LongHex, ThatIsAllZeroIsSaidInWords) {
    EXPECT_EQ(people("pir_info", byte_list(36)), "bytes  36 bytes, all zero\n");
    EXPECT_EQ(people("battery_status", byte_list(5)), "bytes  0000000000\n");
}

constexpr std::string_view kZero = "zero, or not sent";

std::string people_answer(const char* record, const byte_list& bytes) {
    return fields_text(*catalog::find_record(record), bytes, kZero);
}

TEST(AFieldThatMayNotHaveBeenSent, IsADashWithTheReason) {
    EXPECT_EQ(people_answer("time", {26, 2, 3, 4, 0, 0, 0, 0, 0, 0}),
              "year    26\nmonth   2\nday     3\nhour    4\n"
              "minute  -  (zero, or not sent)\nsecond  -  (zero, or not sent)\n"
              "rest_6  -  (zero, or not sent)\n");
    EXPECT_EQ(people_answer("pir_info", byte_list(36)), "bytes  -  (zero, or not sent)\n");
}

TEST(AFieldWhoseEndMayNotHaveBeenSent, CountsTheseBytes) {
    EXPECT_EQ(people_answer("alarm", {0x20, 0x1c, 0, 0, 0, 0, 1}),
              "word   7200\nbyte4  0\nbyte5  0\nbyte6  1\n");
    EXPECT_EQ(people_answer("store_params",
                            [] {
                                byte_list bytes(48);
                                bytes[42] = 0x90;
                                return bytes;
                            }()),
              "rest_0       38 bytes, all zero\nserver_ip    0.0.0.0\n"
              "server_port  144  (last 1 byte: zero, or not sent)\n"
              "rest_44      -  (zero, or not sent)\n");
    EXPECT_EQ(people_answer("battery_status", {80, 0, 0, 0, 0}),
              "bytes  50  (4 bytes more: zero, or not sent)\n");
    byte_list info(36);
    info[17] = 0xab;
    EXPECT_EQ(people_answer("pir_info", info),
              "bytes  00000000000000000000000000000000\n"
              "       00ab\n"
              "       (18 bytes more: zero, or not sent)\n");
}

TEST(AFieldThatMayNotHaveBeenSent, IsNullInJsonWithAReason) {
    const catalog::service& service = service_named("get.time");
    EXPECT_EQ(dump(answer_json(service, byte_list{26, 2, 3, 4, 5, 0, 0, 0, 0, 0}, kZero)),
              R"({"service":"method.quon.mcu.get.time","length":10,"hex":"1a020304050000000000",)"
              R"("fields":{"year":26,"month":2,"day":3,"hour":4,"minute":5,"second":null,)"
              R"("rest_6":null},"reasons":{"second":"zero, or not sent",)"
              R"("rest_6":"zero, or not sent"}})");
    EXPECT_EQ(dump(answer_json(service, byte_list{26, 2, 3, 4, 5, 0, 0, 0, 0, 9}, kZero)),
              R"({"service":"method.quon.mcu.get.time","length":10,"hex":"1a020304050000000009",)"
              R"("fields":{"year":26,"month":2,"day":3,"hour":4,"minute":5,"second":0,)"
              R"("rest_6":"00000009"}})");
}

struct zero_row {
    const char* service;
    const char* reason;
};

TEST(AZero, IsNoFactWhereTheAnswerMayHaveBeenShorter) {
    const zero_row rows[] = {
        {"get.time", "zero, or not in the chip's answer"},
        {"get.wdg.state", "zero, or not in the chip's answer"},
        {"get.ver", "the chip's answer has no text"},
        {"get.wifi.info", "none from the chip yet, or zero in its record"},
        {"get.allwakeup.info", "no answer at the start, or zero in it"},
        {"upg.start", ""},  // the daemon's own word
        {"get.system", ""},
        {"set.led", ""},
    };
    for (const zero_row& row : rows) {
        EXPECT_EQ(zero_reason(service_named(row.service)), row.reason) << row.service;
    }
}

TEST(AnEventInWords, HasADashForWhatMayNotHaveBeenSent) {
    byte_list event(33);
    event[1] = 1;
    event[2] = 10;
    EXPECT_EQ(line_text(*catalog::find_record("net_event"), event, kZero),
              "rest_0=00 state=1 ip=10.0.0.0 netmask=- gateway=- mac=- dns1=- dns2=- rest_28=-");
}

TEST(ALongText, StaysOnItsLineWhateverItsCharacters) {
    const std::string digest = "2fd4e1c67a2d28fced849ee1bb76e7391b93eb12";
    EXPECT_EQ(people("version", byte_list(digest.begin(), digest.end())),
              "version  " + digest + "\n");
}

TEST(FieldsAsJson, AreNumbersAndTexts) {
    EXPECT_EQ(
        as_json("time", {26, 2, 3, 4, 5, 0xff, 0, 0, 0, 1}),
        R"({"year":26,"month":2,"day":3,"hour":4,"minute":5,"second":-1,"rest_6":"00000001"})");
    EXPECT_EQ(as_json("version", {'V', '"', 0xff}), R"({"version":"V\"\\xff"})");
    EXPECT_EQ(as_json("event_info", {1, 2}), R"({"bytes":"0102"})");
}

TEST(AListAsJson, HasItsEntriesInAnArray) {
    byte_list report = {1};
    report.resize(37, 0x11);
    EXPECT_EQ(as_json("err_report", report),
              R"({"count":1,"entries":[")" + catalog::to_hex(byte_list(36, 0x11)) + R"("]})");
}

TEST(Json, ReplacesBytesThatAreNoUtf8) {
    EXPECT_EQ(dump({{"output", "a\xff"}}), "{\"output\":\"a\xEF\xBF\xBD\"}");
}

TEST(Columns, ArePaddedExceptTheLast) {
    EXPECT_EQ(aligned({{"a", "long", "x"}, {"long", "b", ""}}), "a     long  x\nlong  b\n");
}

TEST(FieldRows, AccountForEveryByteOfARecord) {
    for (const catalog::record* each : catalog::records()) {
        if (each->size == 0 || each->entry_size != 0) {
            continue;
        }
        uint32_t at = 0;
        const row_list rows = field_rows(*each);
        for (size_t i = 1; i < rows.size(); ++i) {
            EXPECT_EQ(rows[i][0], std::to_string(at)) << each->name;
            at += static_cast<uint32_t>(std::stoul(rows[i][1]));
        }
        EXPECT_EQ(at, each->size) << each->name;
    }
}

TEST(FieldRows, NameWhatTheDecoderShows) {
    for (const catalog::record* each : catalog::records()) {
        if (each->size == 0 || each->entry_size != 0) {
            continue;
        }
        const row_list rows = field_rows(*each);
        const auto shown = catalog::decode(*each, byte_list(each->size));
        ASSERT_EQ(rows.size(), shown.size() + 1) << each->name;
        for (size_t i = 0; i < shown.size(); ++i) {
            EXPECT_EQ(rows[i + 1][3], shown[i].name) << each->name;
        }
    }
}

TEST(AServiceAsJson, HasItsRecordsAndMessage) {
    const json document = service_json(service_named("set.wdg.period"));
    EXPECT_EQ(document["name"], "signal.quon.mcu.set.wdg.period");
    EXPECT_EQ(document["kind"], "signal");
    EXPECT_EQ(document["request"]["size"], 4);
    EXPECT_EQ(document["request"]["fields"][0]["type"], "u32");
    EXPECT_TRUE(document["reply"].is_null());
    EXPECT_EQ(document["message"]["type"], 0x96);
    EXPECT_EQ(document["message"]["name"], "set_wdg_period");
}

}  // namespace
}  // namespace quon::client
