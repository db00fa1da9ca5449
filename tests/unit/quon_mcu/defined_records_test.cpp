// What the client makes of records that the camera's maker has defined.
#include <gtest/gtest.h>

#include "catalog/definitions.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/present.h"

namespace quon::client {
namespace {

class DefinedRecords : public testing::Test {
  protected:
    void TearDown() override { catalog::forget_definitions(); }

    static void define(const std::string& record, const std::string& fields) {
        catalog::add_definitions("{\"" + record + "\": {\"fields\": [" + fields + "]}}", "f.json");
    }
    static const catalog::record& record(const std::string& name) {
        return *catalog::find_record(name);
    }
};

constexpr const char* kCodeAndName =
    R"({"name": "code", "offset": 0, "kind": "u8"}, {"name": "who", "offset": 1, "kind": "text"})";

TEST_F(DefinedRecords, ThatAreListsHaveTheirEntriesAsObjects) {
    define("err_report", kCodeAndName);
    byte_list bytes(record("err_report").size);
    bytes[0] = 2;
    bytes[1] = 7;
    bytes[2] = 'a';
    bytes[37] = 8;
    const json fields = fields_json(record("err_report"), bytes);
    EXPECT_EQ(fields["count"], 2);
    EXPECT_EQ(dump(fields["entries"]), R"([{"code":7,"who":"a"},{"code":8,"who":""}])");
}

TEST_F(DefinedRecords, ThatAreListsAreDescribedByTheirFirstEntry) {
    define("err_report", kCodeAndName);
    EXPECT_EQ(answer_fields(record("err_report")),
              (std::vector<std::string>{"count", "entry[0].code", "entry[0].who"}));
    const row_list rows = field_rows(record("err_report"));
    EXPECT_EQ(rows[3], (std::vector<std::string>{"2", "35", "text", "entry[0].who", "", ""}));
}

TEST_F(DefinedRecords, CanBeSetByTheNamesOfTheirFieldsAndValues) {
    define("pir_info", R"({"name": "mode", "offset": 2, "kind": "u16", "values": {"258": "night"}},
                          {"name": "gain", "offset": 35, "kind": "s8"})");
    const std::vector<std::string> words = {"mode=night", "gain=-2"};
    byte_list expected(36);
    expected[2] = 0x02;
    expected[3] = 0x01;
    expected[35] = 0xfe;
    EXPECT_EQ(encode(record("pir_info"), {}, words), expected);
}

TEST_F(DefinedRecords, AreShownWithUnitsAndMeanings) {
    define("battery_status",
           R"({"name": "charge", "offset": 0, "kind": "u8", "unit": "%"},
              {"name": "state", "offset": 1, "kind": "u8", "values": {"1": "charging"}})");
    EXPECT_EQ(fields_text(record("battery_status"), byte_list{42, 1, 0, 0, 9}),
              "charge  42 %\nstate   1 (charging)\nrest_2  000009\n");
}

}  // namespace
}  // namespace quon::client
