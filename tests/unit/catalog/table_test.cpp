#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "catalog/catalog.h"
#include "expected_table.h"

namespace quon::catalog {
namespace {

namespace expected = quon::test::expected;
using quon::test::ExpectedOperation;
using quon::test::ExpectedService;
using quon::test::Reply;

// Texts, shell commands and the raw command are as long as their sender makes them: 0.
void expect_size(const record* found, int size, std::string_view name) {
    const int stated = size == quon::test::kAnySize ? 0 : size;
    EXPECT_EQ(found == nullptr ? 0 : static_cast<int>(found->size), stated) << name;
}

TEST(TheServices, AreThoseOfTheDaemonInTheSameOrderAndKind) {
    ASSERT_EQ(services().size(), std::size(expected::kServices));
    for (const ExpectedService& row : expected::kServices) {
        const service& each = services()[static_cast<size_t>(row.index)];
        EXPECT_EQ(each.index, row.index);
        EXPECT_EQ(each.name, row.name);
        EXPECT_EQ(each.kind == service_kind::signal, row.is_signal()) << row.name;
        EXPECT_EQ(find_service(row.name), &each);
    }
}

TEST(TheServices, HaveAMeaningAndOnlyMethodsReply) {
    for (const service& each : services()) {
        EXPECT_FALSE(each.meaning.empty()) << each.name;
        EXPECT_EQ(each.reply != nullptr, each.kind == service_kind::method) << each.name;
    }
}

TEST(TheServices, AreNotFoundByAnotherName) {
    EXPECT_EQ(find_service("method.quon.mcu.get.tim"), nullptr);
    EXPECT_EQ(find_service(""), nullptr);
}

TEST(TheServices, HaveTheSizesOfTheDaemonsRecords) {
    for (const ExpectedService& row : expected::kServices) {
        const service* found = find_service(row.name);
        ASSERT_NE(found, nullptr) << row.name;
        expect_size(found->request, row.request_size, row.name);
        expect_size(found->reply, row.reply_size, row.name);
    }
}

TEST(TheCommandMessages, AreThoseOfTheOperations) {
    for (const ExpectedOperation& row : expected::messages()) {
        const message* found = find_message(row.message());
        ASSERT_NE(found, nullptr) << row.name;
        EXPECT_EQ(found->timeout_ms, row.timeout_ms) << row.name;
        expect_size(found->request, row.request_size, row.name);
        EXPECT_EQ(found->reply != nullptr, row.waits()) << row.name;
    }
}

TEST(TheCommandMessages, BelongToTheServicesThatSendThem) {
    for (const ExpectedService& row : expected::kServices) {
        const service* found = find_service(row.name);
        ASSERT_NE(found, nullptr) << row.name;
        const ExpectedOperation& operation = expected::operation_of(row);
        ASSERT_EQ(found->message.has_value(), operation.sends()) << row.name;
        if (operation.sends()) {
            EXPECT_EQ(*found->message, operation.message()) << row.name;
            EXPECT_EQ(found->timeout_ms, operation.timeout_ms) << row.name;
        }
    }
}

// The daemon makes a digit of the watchdog state and a zero word of the upgrade's answers; all else
// goes through it unchanged.
TEST(TheCommandMessages, CarryTheRecordsOfTheirServices) {
    for (const ExpectedService& row : expected::kServices) {
        const service& each = *find_service(row.name);
        if (!each.message) {
            continue;
        }
        const message* sent = find_message(*each.message);
        ASSERT_NE(sent, nullptr) << row.name;
        EXPECT_EQ(sent->request, each.request) << row.name;
        const bool made = row.reply == Reply::kTextOfNumber || row.reply == Reply::kZeroWord;
        EXPECT_EQ(sent->reply == each.reply, !made) << row.name;
    }
}

TEST(TheMessages, AreTheSixEventsAndTheCommandsInOrderOfType) {
    constexpr size_t kEvents = std::size(expected::kEvents);
    ASSERT_EQ(messages().size(), kEvents + expected::messages().size());
    for (size_t i = 0; i < messages().size(); ++i) {
        const message& each = messages()[i];
        EXPECT_EQ(find_message(each.type), &each);
        EXPECT_EQ(message_name(each.type), each.name);
        if (i < kEvents) {
            EXPECT_EQ(each.type, expected::kEvents[i]);
            EXPECT_EQ(each.timeout_ms, 0);
        } else {
            EXPECT_GT(each.type, messages()[i - 1].type);
        }
    }
    EXPECT_EQ(message_name(0x03), "event_net");
    EXPECT_EQ(message_name(expected::message_of("get.time")), "get_time");
    EXPECT_EQ(find_message(0xA8), nullptr);
    EXPECT_EQ(message_name(0xA8), "unknown");
}

TEST(TheRecords, HaveNamesOfTheirOwnAndAreFoundByThem) {
    std::set<std::string_view> names;
    for (const record* each : records()) {
        EXPECT_TRUE(names.insert(each->name).second) << each->name;
        EXPECT_EQ(find_record(each->name), each);
    }
    EXPECT_EQ(find_record("nothing"), nullptr);
}

TEST(TheRecords, AreAllThatServicesAndMessagesName) {
    std::set<const record*> listed(records().begin(), records().end());
    std::set<const record*> named;
    for (const service& each : services()) {
        named.insert({each.request, each.reply});
    }
    for (const message& each : messages()) {
        named.insert({each.request, each.reply});
    }
    named.erase(nullptr);
    EXPECT_EQ(listed, named);
}

uint32_t size_of(field_kind kind, uint32_t stated) {
    switch (kind) {
        case field_kind::u8:
        case field_kind::s8:
            return 1;
        case field_kind::u16:
            return 2;
        case field_kind::u32:
        case field_kind::ipv4:
            return 4;
        case field_kind::mac:
            return 6;
        case field_kind::text:
        case field_kind::address_text:
        case field_kind::digit_text:
        case field_kind::bytes:
            break;
    }
    return stated;
}

TEST(TheFields, LieWithinTheirRecordsInOrderWithoutOverlap) {
    for (const record* each : records()) {
        const uint32_t room = each->entry_size != 0 ? each->entry_size : each->size;
        uint32_t end = 0;
        std::set<std::string_view> names;
        for (const field& one : each->fields) {
            const std::string where = std::string(each->name) + "." + std::string(one.name);
            EXPECT_GE(one.offset, end) << where;
            EXPECT_EQ(one.size, size_of(one.kind, one.size)) << where;
            EXPECT_TRUE(one.size != 0 || (room == 0 && &one == &each->fields.back())) << where;
            end = one.offset + one.size;
            EXPECT_TRUE(room == 0 || end <= room) << where;
            EXPECT_TRUE(names.insert(one.name).second) << where;
            EXPECT_FALSE(one.meaning.empty()) << where;
            EXPECT_FALSE(one.name.starts_with("rest")) << where;
        }
    }
}

TEST(TheLists, AreACountByteAndWholeEntries) {
    const record* errors = find_record("err_report");
    const record* times = find_record("soc_time_list");
    ASSERT_TRUE(errors != nullptr && times != nullptr);
    EXPECT_EQ(errors->entry_size, 36u);
    EXPECT_EQ(times->entry_size, 44u);
    for (const record* each : records()) {
        if (each->entry_size != 0) {
            EXPECT_EQ((each->size - 1) % each->entry_size, 0u) << each->name;
        }
    }
}

struct field_row {
    std::string_view record;
    std::string_view field;
    uint32_t offset;
    uint32_t size;
    field_kind kind;
    std::string_view unit;
};
constexpr field_row kStatedFields[] = {
    {"version", "version", 0, 0, field_kind::text, ""},
    {"net_info", "ip", 0, 4, field_kind::ipv4, ""},
    {"net_info", "netmask", 4, 4, field_kind::ipv4, ""},
    {"net_info", "gateway", 8, 4, field_kind::ipv4, ""},
    {"net_info", "mac", 12, 6, field_kind::mac, ""},
    {"net_info", "dns1", 18, 4, field_kind::ipv4, ""},
    {"net_info", "dns2", 22, 4, field_kind::ipv4, ""},
    {"wakeup_info", "reason", 0, 1, field_kind::u8, ""},
    {"wakeup_info", "mac", 54, 6, field_kind::mac, ""},
    {"wakeup_info", "socup_time1", 60, 4, field_kind::u32, ""},
    {"wakeup_info", "socup_time2", 64, 4, field_kind::u32, ""},
    {"time", "year", 0, 1, field_kind::s8, ""},
    {"time", "month", 1, 1, field_kind::s8, ""},
    {"time", "day", 2, 1, field_kind::s8, ""},
    {"time", "hour", 3, 1, field_kind::s8, ""},
    {"time", "minute", 4, 1, field_kind::s8, ""},
    {"time", "second", 5, 1, field_kind::s8, ""},
    {"wifi_info", "mac", 0, 32, field_kind::address_text, ""},
    {"wifi_info", "ip", 32, 32, field_kind::address_text, ""},
    {"wifi_info", "gateway", 64, 32, field_kind::address_text, ""},
    {"wifi_info", "dns1", 96, 32, field_kind::text, ""},
    {"wifi_info", "dns2", 128, 32, field_kind::text, ""},
    {"store_params", "server_ip", 38, 4, field_kind::ipv4, ""},
    {"store_params", "server_port", 42, 2, field_kind::u16, ""},
    {"wdg_state_byte", "state", 0, 1, field_kind::u8, ""},
    {"wdg_state_text", "state", 0, 1, field_kind::digit_text, ""},
    {"alarm", "word", 0, 4, field_kind::u32, ""},
    {"alarm", "byte4", 4, 1, field_kind::u8, ""},
    {"alarm", "byte5", 5, 1, field_kind::u8, ""},
    {"alarm", "byte6", 6, 1, field_kind::u8, ""},
    {"soc_min_version", "version", 0, 0, field_kind::text, ""},
    {"wakeup_context", "wakeup_reason", 0, 1, field_kind::u8, ""},
    {"wakeup_context", "wakeup_mac", 54, 6, field_kind::mac, ""},
    {"wakeup_context", "socup_time1", 60, 4, field_kind::u32, ""},
    {"wakeup_context", "socup_time2", 64, 4, field_kind::u32, ""},
    {"wakeup_context", "time_year", 71, 1, field_kind::s8, ""},
    {"wakeup_context", "time_month", 72, 1, field_kind::s8, ""},
    {"wakeup_context", "time_day", 73, 1, field_kind::s8, ""},
    {"wakeup_context", "time_hour", 74, 1, field_kind::s8, ""},
    {"wakeup_context", "time_minute", 75, 1, field_kind::s8, ""},
    {"wakeup_context", "time_second", 76, 1, field_kind::s8, ""},
    {"wakeup_context", "battery_status", 81, 5, field_kind::bytes, ""},
    {"wakeup_context", "wifi_status", 86, 70, field_kind::bytes, ""},
    {"wakeup_context", "wifi_mac", 156, 32, field_kind::address_text, ""},
    {"wakeup_context", "wifi_ip", 188, 32, field_kind::address_text, ""},
    {"wakeup_context", "wifi_gateway", 220, 32, field_kind::address_text, ""},
    {"wakeup_context", "wifi_dns1", 252, 32, field_kind::text, ""},
    {"wakeup_context", "wifi_dns2", 284, 32, field_kind::text, ""},
    {"wakeup_context", "server_ip", 354, 4, field_kind::ipv4, ""},
    {"wakeup_context", "server_port", 358, 2, field_kind::u16, ""},
    {"wakeup_context", "version", 364, 32, field_kind::text, ""},
    {"wakeup_context", "start_ms", 396, 4, field_kind::u32, "ms"},
    {"socup_time", "socup_time1", 0, 4, field_kind::u32, ""},
    {"socup_time", "socup_time2", 4, 4, field_kind::u32, ""},
    {"socup_time", "since_start", 8, 4, field_kind::u32, "ms"},
    {"zero_word", "zero", 0, 4, field_kind::u32, ""},
    {"upg_transmit_answer", "answer", 4, 1, field_kind::u8, ""},
    {"shell_status", "status", 0, 0, field_kind::text, ""},
    {"shell_output", "output", 0, 0, field_kind::bytes, ""},
    {"value", "value", 0, 1, field_kind::u8, ""},
    {"selector", "selector", 0, 1, field_kind::u8, ""},
    {"wdg_period", "period", 0, 4, field_kind::u32, ""},
    {"upg_start", "first", 0, 1, field_kind::u8, ""},
    {"upg_start", "second", 1, 4, field_kind::u32, ""},
    {"upg_block", "word", 0, 4, field_kind::u32, ""},
    {"upg_block", "length", 4, 4, field_kind::u32, "B"},
    {"upg_block", "data", 8, 256, field_kind::bytes, ""},
    {"upg_block", "tail", 264, 1, field_kind::u8, ""},
    {"log_profile_request", "enable", 0, 1, field_kind::u8, ""},
    {"log_profile_request", "level_limit", 1, 1, field_kind::u8, ""},
    {"shell_command", "command", 0, 0, field_kind::text, ""},
    {"net_event", "state", 1, 1, field_kind::u8, ""},
    {"net_event", "ip", 2, 4, field_kind::ipv4, ""},
    {"net_event", "netmask", 6, 4, field_kind::ipv4, ""},
    {"net_event", "gateway", 10, 4, field_kind::ipv4, ""},
    {"net_event", "mac", 14, 6, field_kind::mac, ""},
    {"net_event", "dns1", 20, 4, field_kind::ipv4, ""},
    {"net_event", "dns2", 24, 4, field_kind::ipv4, ""},
};

TEST(TheFields, StandWhereTheRecordsHaveThemAndThereAreNoOthers) {
    size_t known = 0;
    for (const record* each : records()) {
        known += each->fields.size();
    }
    EXPECT_EQ(known, std::size(kStatedFields));
    for (const field_row& row : kStatedFields) {
        const record* holder = find_record(row.record);
        ASSERT_NE(holder, nullptr) << row.record;
        const auto found = std::ranges::find(holder->fields, row.field, &field::name);
        ASSERT_NE(found, holder->fields.end()) << row.record << "." << row.field;
        EXPECT_EQ(found->offset, row.offset) << row.record << "." << row.field;
        EXPECT_EQ(found->size, row.size) << row.record << "." << row.field;
        EXPECT_EQ(found->kind, row.kind) << row.record << "." << row.field;
        EXPECT_EQ(found->unit, row.unit) << row.record << "." << row.field;
    }
}

struct values_row {
    std::string_view record;
    std::string_view field;
    std::vector<uint32_t> values;
};

TEST(TheKnownValues, AreTheStatedOnesAndThereAreNoOthers) {
    const values_row rows[] = {
        {"wakeup_info", "reason", {1, 3, 13}},
        {"wakeup_context", "wakeup_reason", {1, 3, 13}},
        {"net_event", "state", {1, 2}},
        {"upg_transmit_answer", "answer", {0xa1}},
        {"log_profile_request", "level_limit", {0, 1, 2, 3, 4}},
    };
    for (const record* each : records()) {
        for (const field& one : each->fields) {
            const auto row = std::ranges::find_if(rows, [&](const values_row& stated) {
                return stated.record == each->name && stated.field == one.name;
            });
            const std::vector<uint32_t> stated =
                row == std::end(rows) ? std::vector<uint32_t>{} : row->values;
            std::vector<uint32_t> known;
            for (const known_value& value : one.values) {
                known.push_back(value.value);
                EXPECT_FALSE(value.meaning.empty()) << each->name << "." << one.name;
            }
            EXPECT_EQ(known, stated) << each->name << "." << one.name;
        }
    }
}

struct range_row {
    std::string_view field;
    int32_t least;
    int32_t most;
};

TEST(TheRanges, AreThoseOfAClockAndThereAreNoOthers) {
    const range_row rows[] = {
        {"year", 0, 127}, {"month", 1, 12},  {"day", 1, 31},
        {"hour", 0, 23},  {"minute", 0, 59}, {"second", 0, 59},
    };
    for (const record* each : records()) {
        for (const field& one : each->fields) {
            const auto row = std::ranges::find(rows, one.name, &range_row::field);
            const bool stated = each->name == "time" && row != std::end(rows);
            EXPECT_EQ(one.range.least, stated ? row->least : 0) << each->name << "." << one.name;
            EXPECT_EQ(one.range.most, stated ? row->most : 0) << each->name << "." << one.name;
        }
    }
}

TEST(TheServicesWithoutAnExchange, SayWhyTheyFail) {
    EXPECT_EQ(find_service("method.quon.mcu.get.log.profile")->refusal, "this chip has none");
    EXPECT_EQ(find_service("method.quon.mcu.get.bit.err.rate")->refusal, "this chip has none");
    EXPECT_EQ(find_service("method.quon.mcu.get.event.info")->refusal, "the event queue is empty");
    EXPECT_EQ(find_service("method.quon.mcu.get.time")->refusal, "");
}

TEST(TheLogLevels, HaveTheirNames) {
    const record* profile = find_record("log_profile_request");
    ASSERT_NE(profile, nullptr);
    std::vector<std::string_view> names;
    for (const known_value& each : profile->fields[1].values) {
        names.push_back(each.meaning);
    }
    EXPECT_EQ(names,
              (std::vector<std::string_view>{"fatal", "error", "warning", "information", "debug"}));
}

}  // namespace
}  // namespace quon::catalog
