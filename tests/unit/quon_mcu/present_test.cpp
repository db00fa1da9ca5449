#include "quon_mcu/present.h"

#include <gtest/gtest.h>

#include "quon_mcu/describe.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

using octets = std::vector<uint8_t>;

std::string people(const char* record, const octets& bytes) {
    return fields_text(*catalog::find_record(record), bytes);
}

std::string as_json(const char* record, const octets& bytes) {
    return dump(fields_json(*catalog::find_record(record), bytes));
}

TEST(Fields, StandInAlignedLines) {
    EXPECT_EQ(people("upg_start", {1, 2, 0, 0, 0}), "first   1\nsecond  2\n");
}

TEST(Fields, CarryUnitsAndMeanings) {
    EXPECT_EQ(people("socup_time", {1, 0, 0, 0, 2, 0, 0, 0, 0xdc, 5, 0, 0}),
              "socup_time1  1\nsocup_time2  2\nsince_start  1500 ms\n");
    octets wakeup(1);
    wakeup[0] = 13;
    EXPECT_EQ(people("wakeup_info", wakeup), "reason  13 (starts the remote wake-up hand-off)\n");
}

TEST(LongHex, StandsInLinesOfSixteenBytes) {
    EXPECT_EQ(people("pir_info", octets(36, 0xab)),
              "bytes  abababababababababababababababab\n"
              "       abababababababababababababababab\n"
              "       abababab\n");
}

TEST(LongHex, ThatIsAllZeroIsSaidInWords) {
    EXPECT_EQ(people("pir_info", octets(36)), "bytes  36 bytes, all zero\n");
    EXPECT_EQ(people("battery_status", octets(5)), "bytes  0000000000\n");
}

TEST(ALongText, StaysOnItsLineWhateverItsCharacters) {
    const std::string digest = "2fd4e1c67a2d28fced849ee1bb76e7391b93eb12";
    EXPECT_EQ(people("version", octets(digest.begin(), digest.end())), "version  " + digest + "\n");
}

TEST(FieldsAsJson, AreNumbersAndTexts) {
    EXPECT_EQ(
        as_json("time", {26, 2, 3, 4, 5, 0xff, 0, 0, 0, 1}),
        R"({"year":26,"month":2,"day":3,"hour":4,"minute":5,"second":-1,"rest_6":"00000001"})");
    EXPECT_EQ(as_json("version", {'V', '"', 0xff}), R"({"version":"V\"\\xff"})");
    EXPECT_EQ(as_json("event_info", {1, 2}), R"({"bytes":"0102"})");
}

TEST(AListAsJson, HasItsEntriesInAnArray) {
    octets report = {1};
    report.resize(37, 0x11);
    EXPECT_EQ(as_json("err_report", report),
              R"({"count":1,"entries":[")" + catalog::to_hex(octets(36, 0x11)) + R"("]})");
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
        const auto shown = catalog::decode(*each, octets(each->size));
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
