// Record definitions of the camera's maker: what they change, and how each mistake is told.
#include "catalog/definitions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "catalog/catalog.h"
#include "shared/failure.h"

namespace quon::catalog {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBattery = R"({
  // as our board has it
  "battery_status": {
    "size": 5,
    "fields": [
      {"name": "charge", "offset": 0, "kind": "u8", "unit": "%", "meaning": "charge"},
      {"name": "voltage", "offset": 1, "kind": "u16", "unit": "mV"},
      {"name": "state", "offset": 3, "kind": "u8", "values": {"0": "idle", "0x01": "charging"}}
    ]
  }
})";

class RecordDefinitions : public testing::Test {
  protected:
    void TearDown() override { forget_definitions(); }

    static std::string refusal_of(const std::string& text) {
        try {
            add_definitions(text, "f.json");
        } catch (const failure& error) {
            EXPECT_EQ(error.status(), exit_status::usage);
            return error.what();
        }
        return "(none)";
    }
};

std::string line_of(std::string_view record, byte_list bytes) {
    return one_line(find_record(record), bytes);
}

TEST_F(RecordDefinitions, NameTheBytesOfAKnownRecord) {
    ASSERT_EQ(line_of("battery_status", {0x2a, 0x30, 0x11, 1, 9}),
              "2a3011"
              "0109");
    add_definitions(kBattery, "f.json");
    EXPECT_EQ(line_of("battery_status", {0x2a, 0x30, 0x11, 1, 9}),
              "charge=42 voltage=4400 state=1 rest_4=09");
    const auto fields = decode(*find_record("battery_status"), byte_list{0x2a, 0x30, 0x11, 1, 9});
    EXPECT_EQ(fields[0].unit, "%");
    EXPECT_EQ(fields[1].unit, "mV");
    EXPECT_EQ(fields[2].meaning, "charging");
}

TEST_F(RecordDefinitions, ReachServicesAndMessagesOfTheRecord) {
    add_definitions(kBattery, "f.json");
    const record* battery = find_record("battery_status");
    const service* asked = find_service("method.quon.mcu.get.battery.status");
    EXPECT_EQ(asked->reply, battery);
    EXPECT_EQ(find_message(*asked->message)->reply, battery);
    EXPECT_EQ(std::ranges::count(records(), battery), 1);
    EXPECT_EQ(describe_payload(direction::from_chip, *asked->message, byte_list{1, 2, 0, 0, 0}),
              "charge=1 voltage=2 state=0 rest_4=00");
    EXPECT_FALSE(zero_reason(*asked).empty());
}

TEST_F(RecordDefinitions, AreForgottenWhole) {
    const record* before = find_record("battery_status");
    add_definitions(kBattery, "f.json");
    EXPECT_NE(find_record("battery_status"), before);
    EXPECT_TRUE(find_record("battery_status")->is_makers);
    forget_definitions();
    EXPECT_EQ(find_record("battery_status"), before);
    EXPECT_FALSE(before->is_makers);
}

TEST_F(RecordDefinitions, KeepTheFieldsThatTheyLeaveRoomFor) {
    add_definitions(R"({"wakeup_info": {"fields": [
        {"name": "why", "offset": 0, "kind": "u8"},
        {"name": "mac", "offset": 10, "kind": "mac"},
        {"name": "serial", "offset": 66, "kind": "u16"}]}})",
                    "f.json");
    std::vector<std::string> names;
    for (const field& each : find_record("wakeup_info")->fields) {
        names.emplace_back(each.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"why", "mac", "socup_time1", "serial"}));
    EXPECT_EQ(find_record("wakeup_info")->fields[1].offset, 10U);
}

TEST_F(RecordDefinitions, MayStandInAnyOrderAndOfEveryKind) {
    add_definitions(R"({"camera_event": {"fields": [
        {"name": "tail", "offset": 24, "kind": "text"},
        {"name": "a", "offset": 0, "kind": "u8"}, {"name": "b", "offset": 1, "kind": "s8"},
        {"name": "c", "offset": 2, "kind": "u16"}, {"name": "d", "offset": 4, "kind": "u32"},
        {"name": "e", "offset": 8, "kind": "ipv4"}, {"name": "f", "offset": 12, "kind": "mac"},
        {"name": "g", "offset": 18, "kind": "text", "size": 4},
        {"name": "h", "offset": 22, "kind": "bytes", "size": 2}]}})",
                    "f.json");
    byte_list bytes = {1, 0xff, 2, 1, 4, 3, 2, 1, 10, 0, 0, 7, 2, 0, 0, 0, 0, 9, 'a', 'b', 0, 'x'};
    bytes.insert(bytes.end(), {0xbe, 0xef, 'e', 'n', 'd'});
    EXPECT_EQ(line_of("camera_event", bytes),
              "a=1 b=-1 c=258 d=16909060 e=10.0.0.7 f=02:00:00:00:00:09 g=ab h=beef tail=end");
}

TEST_F(RecordDefinitions, OfAListAreThoseOfAnEntry) {
    add_definitions(R"({"err_report": {"fields": [{"name": "code", "offset": 0, "kind": "u8"}]}})",
                    "f.json");
    const record& list = *find_record("err_report");
    byte_list bytes(1 + 2 * list.entry_size);
    bytes[0] = 2;
    bytes[1] = 7;
    bytes[1 + list.entry_size] = 9;
    const auto fields = decode(list, bytes);
    ASSERT_GE(fields.size(), 3U);
    EXPECT_EQ(fields[1].name, "entry[0].code");
    EXPECT_EQ(fields[1].value, "7");
}

TEST_F(RecordDefinitions, OfTextWithoutASizeReachTheEnd) {
    add_definitions(
        R"({"battery_status": {"fields": [{"name": "all", "offset": 1, "kind": "bytes"}]}})",
        "f.json");
    EXPECT_EQ(find_record("battery_status")->fields[0].size, 4U);
    EXPECT_EQ(line_of("battery_status", {1, 2, 3, 4, 5}), "rest_0=01 all=02030405");
}

struct mistake {
    const char* text;
    const char* refusal;
};

constexpr mistake kMistakes[] = {
    {"{",
     "f.json:1: syntax error while parsing object key - unexpected end of input; expected string "
     "literal"},
    {"{\n\n  \"a\" 1}",
     "f.json:3: syntax error while parsing object separator - unexpected number literal; expected "
     "':'"},
    {"[]", "f.json:1: the file is no { } of records"},
    {"\n7", "f.json:2: the file is no { } of records"},
    {"{\"a\": {},\n\"a\": {}}", "f.json:2: 'a' stands there twice"},
    {"[[[[[[[[[]]]]]]]]]", "f.json:1: nested too deep"},
    {"{\"Battery\": {}}",
     "f.json:1: 'Battery' is no name of a record: small letters, digits and '_'"},
    {"{\"b\": 5}", "f.json:1: 'b' is no { } of size, fields"},
    {"{\"b\":\n {\"feilds\": []}}", "f.json:2: unknown name 'feilds'; did you mean 'fields'?"},
    {"{\"b\": {}}", "f.json:1: b has no [ ] of fields"},
    {"{\"b\": {\n\"fields\": []}}", "f.json:2: b has no [ ] of fields"},
    {"{\"time\": {\"fields\": []}}", "f.json:1: time is the daemon's own and stays as it is"},
    {"{\"battery_status\": {\n\"size\": 6,\n\"fields\": []}}",
     "f.json:2: battery_status has 5 bytes, not 6"},
    {"{\"version\": {\"size\": 6, \"fields\": []}}",
     "f.json:1: version has any number of bytes, not 6"},
    {"{\"b\": {\"size\": 4357}}", "f.json:1: 'size' is no number from 0 to 4356"},
    {"{\"b\": {\"size\": -1}}", "f.json:1: 'size' is no number from 0 to 4356"},
    {"{\"b\": {\"size\": 1.5}}", "f.json:1: 'size' is no number from 0 to 4356"},
    {"{\"b\": {\"size\": 18446744073709551615}}", "f.json:1: 'size' is no number from 0 to 4356"},
};

// Of one field on line 2.
constexpr mistake kFieldMistakes[] = {
    {"7", "a field is no { } of name, offset, kind"},
    {R"({"nam": "a"})", "unknown name 'nam'; did you mean 'name'?"},
    {R"({"offset": 0, "kind": "u8"})",
     "'' is no name of a field: small letters, digits and '_', and none of bytes, count, rest_..., "
     "entry..."},
    {R"({"name": "rest_1", "offset": 0, "kind": "u8"})",
     "'rest_1' is no name of a field: small letters, digits and '_', and none of bytes, count, "
     "rest_..., entry..."},
    {R"({"name": 5})", "'name' is no text of at most 120 bytes on one line"},
    {R"({"name": "a", "offset": 0})", "'a': it has no kind"},
    {R"({"name": "a", "offset": 0, "kind": "u9"})",
     "'a': unknown kind 'u9'; did you mean 'u8', 'u16', 'u32'?"},
    {R"({"name": "a", "kind": "u8"})", "'a' has no offset"},
    {R"({"name": "a", "kind": "u8", "offset": "0"})", "'offset' is no number from 0 to 4356"},
    {R"({"name": "a", "offset": 5, "kind": "u8"})",
     "the field ends beyond the 5 bytes of its record"},
    {R"({"name": "a", "offset": 4, "kind": "u16"})",
     "the field ends beyond the 5 bytes of its record"},
    {R"({"name": "a", "offset": 5, "kind": "bytes"})",
     "the field ends beyond the 5 bytes of its record"},
    {R"({"name": "a", "offset": 0, "kind": "u16", "size": 1})", "u16 has 2 bytes"},
    {R"({"name": "a", "offset": 0, "kind": "text", "size": 0})", "a field has a size of 1 or more"},
    {R"({"name": "a", "offset": 0, "kind": "text", "values": {"1": "x"}})",
     "'values' is the { } of a number's meanings"},
    {R"({"name": "a", "offset": 0, "kind": "u8", "values": {"256": "x"}})",
     "'256' is no number from 0 to 255"},
    {R"({"name": "a", "offset": 0, "kind": "u8", "values": {"1": "x", "2": "y", "0x1": "z"}})",
     "the value 1 stands twice"},
    {R"({"name": "a", "offset": 0, "kind": "s8", "values": {"-1": "x", "-01": "z"}})",
     "the value -1 stands twice"},
    {R"({"name": "a", "offset": 0, "kind": "u8", "unit": "a\nb"})",
     "'unit' is no text of at most 120 bytes on one line"},
    {R"({"name": "a", "offset": 0, "kind": "u16"}, {"name": "b", "offset": 1, "kind": "u8"})",
     "'b' has bytes in common with 'a'"},
    {R"({"name": "a", "offset": 0, "kind": "u8"}, {"name": "a", "offset": 1, "kind": "u8"})",
     "a second field 'a'"},
};

TEST_F(RecordDefinitions, AreRefusedWithTheLineAndTheReason) {
    for (const mistake& each : kMistakes) {
        EXPECT_EQ(refusal_of(each.text), each.refusal) << each.text;
    }
    for (const mistake& each : kFieldMistakes) {
        const std::string text =
            "{\"battery_status\": {\"fields\": [\n" + std::string(each.text) + "]}}";
        EXPECT_EQ(refusal_of(text), "f.json:2: " + std::string(each.refusal)) << text;
    }
}

TEST_F(RecordDefinitions, ChangeNothingWhenOneOfThemIsRefused) {
    const record* before = find_record("battery_status");
    EXPECT_EQ(
        refusal_of(R"({"battery_status": {"fields": [{"name": "a", "offset": 0, "kind": "u8"}]},
                            "pir_info": {}})"),
        "f.json:2: pir_info has no [ ] of fields");
    EXPECT_EQ(find_record("battery_status"), before);
}

// ---- Where the file is

class TheUsualPlaces : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "records.XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        top_ = name;
        unsetenv("QUON_MCU_RECORDS");
        setenv("XDG_CONFIG_HOME", top_.c_str(), 1);
    }
    void TearDown() override {
        forget_definitions();
        unsetenv("QUON_MCU_RECORDS");
        unsetenv("XDG_CONFIG_HOME");
        fs::remove_all(top_);
    }

    // A record of that name, in a file of that name below the folder.
    std::string write(const std::string& file, const std::string& record) const {
        const fs::path path = top_ / file;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "{\"" + record +
                                   R"(": {"fields": [{"name": "a", "offset": 0, "kind": "u8"}]}})";
        return path.string();
    }

    fs::path top_;
};

TEST_F(TheUsualPlaces, AreTheOptionThenTheVariableThenTheFolderOfTheUser) {
    const std::string given = write("given.json", "by_option");
    const std::string named = write("named.json", "by_variable");
    write("quon-mcu/records.json", "by_folder");
    load_definitions("");
    EXPECT_NE(find_record("by_folder"), nullptr);
    forget_definitions();
    setenv("QUON_MCU_RECORDS", named.c_str(), 1);
    load_definitions("");
    EXPECT_NE(find_record("by_variable"), nullptr);
    EXPECT_EQ(find_record("by_folder"), nullptr);
    forget_definitions();
    load_definitions(given);
    EXPECT_NE(find_record("by_option"), nullptr);
    EXPECT_EQ(find_record("by_variable"), nullptr);
}

TEST_F(TheUsualPlaces, MayBeRuledOutByAnEmptyVariable) {
    write("quon-mcu/records.json", "by_folder");
    setenv("QUON_MCU_RECORDS", "", 1);
    load_definitions("");
    EXPECT_EQ(find_record("by_folder"), nullptr);
}

TEST_F(TheUsualPlaces, AreNamedWhenTheirFileCannotBeRead) {
    const auto refusal = [](const std::string& file) -> std::string {
        try {
            load_definitions(file);
        } catch (const failure& error) {
            return error.what();
        }
        return "(none)";
    };
    const std::string missing = (top_ / "missing").string();
    EXPECT_EQ(refusal(missing), "cannot read '" + missing + "': No such file or directory");
    EXPECT_EQ(refusal(top_.string()), "cannot read '" + top_.string() + "': Is a directory");
    const std::string large = (top_ / "large").string();
    std::ofstream(large) << std::string((1 << 20) + 1, ' ');
    EXPECT_EQ(refusal(large), "'" + large + "' has more than 1048576 bytes");
}

}  // namespace
}  // namespace quon::catalog
