#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "catalog/catalog.h"
#include "hi3861l_protocol.h"
#include "mcu_records.h"
#include "quon_mcu_services.h"

namespace quon::catalog {
namespace {

struct daemon_row {
    int index;
    std::string_view name;
};
constexpr daemon_row kDaemonTable[] = {
#define ROW(index, name, handler) {index, name},
    QUON_MCU_SERVICES(ROW)
#undef ROW
};

TEST(TheServices, AreTheDaemonsTableInTheSameOrderAndKind) {
    ASSERT_EQ(services().size(), std::size(kDaemonTable));
    int methods = 0;
    for (size_t i = 0; i < services().size(); ++i) {
        const service& each = services()[i];
        EXPECT_EQ(each.index, kDaemonTable[i].index);
        EXPECT_EQ(each.index, static_cast<int>(i));
        EXPECT_EQ(each.name, kDaemonTable[i].name);
        EXPECT_EQ(each.kind == service_kind::signal, each.name.starts_with("signal.")) << each.name;
        EXPECT_EQ(find_service(each.name), &each);
        methods += each.kind == service_kind::method ? 1 : 0;
    }
    EXPECT_EQ(methods, 28);
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

// What the daemon sends back, and what it reads of a request.
struct size_row {
    std::string_view name;
    uint32_t request;
    uint32_t reply;
};
constexpr size_row kSizes[] = {
    // reply records
    {"method.quon.mcu.get.wakeup.info", 0, 71},
    {"method.quon.mcu.get.time", 0, 10},
    {"method.quon.mcu.get.battery.status", 0, 5},
    {"method.quon.mcu.get.pir.info", 0, 36},
    {"method.quon.mcu.get.wifi.status", 0, 70},
    {"method.quon.mcu.get.wifi.info", 0, 160},
    {"method.quon.mcu.get.wifi.scanf.info", 1, 241},
    {"method.quon.mcu.get.store.params", 0, 48},
    {"method.quon.mcu.get.wdg.state", 0, 1},
    {"method.quon.mcu.get.alarm", 0, 7},
    {"method.quon.mcu.get.err.report", 0, 181},
    {"method.quon.mcu.get.status.info", 0, 136},
    {"method.quon.mcu.get.config.info", 0, 256},
    {"method.quon.mcu.get.bit.err.rate", 0, 259},
    {"method.quon.mcu.get.wifi.extended.status", 0, 264},
    {"method.quon.mcu.get.soc.time.list", 0, 221},
    {"method.quon.mcu.get.soc.time.cur.info", 0, 212},
    {"method.quon.mcu.get.log.profile", 0, 35},
    {"method.quon.mcu.get.event.info", 0, 33},
    {"method.quon.mcu.get.allwakeup.info", 0, 400},
    {"method.quon.mcu.get.socup.time", 0, 12},
    {"method.quon.mcu.upg.start", 5, 4},
    {"method.quon.mcu.upg.transmit", 265, 4},
    {"method.quon.mcu.upg.finish", 0, 4},
    // request records
    {"signal.quon.mcu.set.time", 10, 0},
    {"signal.quon.mcu.set.led", 1, 0},
    {"signal.quon.mcu.set.pir.switch", 1, 0},
    {"signal.quon.mcu.set.pir.sensitivity", 1, 0},
    {"signal.quon.mcu.set.pir.info", 36, 0},
    {"signal.quon.mcu.set.wifi.connect", 134, 0},
    {"signal.quon.mcu.set.wifi.disconnect", 0, 0},
    {"signal.quon.mcu.set.wifi.keepalive", 164, 0},
    {"signal.quon.mcu.set.wifi.extended.info", 66, 0},
    {"signal.quon.mcu.set.system.state", 1, 0},
    {"signal.quon.mcu.set.store.params", 48, 0},
    {"signal.quon.mcu.set.wdg.state", 1, 0},
    {"signal.quon.mcu.set.wdg.period", 4, 0},
    {"signal.quon.mcu.set.wdg.feed", 0, 0},
    {"signal.quon.mcu.set.alarm", 7, 0},
    {"signal.quon.mcu.set.crash.test", 0, 0},
    {"signal.quon.mcu.set.ap.start", 166, 0},
    {"signal.quon.mcu.set.ap.stop", 0, 0},
    {"signal.quon.mcu.set.log.profile", 35, 0},
    {"signal.quon.mcu.set.uart.switch", 1, 0},
    {"signal.quon.mcu.set.wakeup.info", 71, 0},
    {"signal.quon.mcu.set.charge.auto.poweron", 67, 0},
    {"signal.quon.mcu.set.tamper.info", 1, 0},
    {"signal.quon.mcu.set.soc.time.info", 44, 0},
};
// Texts, shell commands and the raw command are as long as their sender makes them.
constexpr std::string_view kAnyLength[] = {
    "method.quon.mcu.get.ver", "method.quon.mcu.get.soc.min.ver", "method.quon.mcu.get.system",
    "method.quon.mcu.get.popen", "signal.quon.mcu.set.cmd"};

TEST(TheServices, HaveTheSizesOfTheDaemonsRecords) {
    EXPECT_EQ(std::size(kSizes) + std::size(kAnyLength), services().size());
    for (const size_row& row : kSizes) {
        const service* found = find_service(row.name);
        ASSERT_NE(found, nullptr) << row.name;
        EXPECT_EQ(found->request == nullptr ? 0 : found->request->size, row.request) << row.name;
        EXPECT_EQ(found->reply == nullptr ? 0 : found->reply->size, row.reply) << row.name;
    }
    for (const std::string_view name : kAnyLength) {
        const service* found = find_service(name);
        ASSERT_NE(found, nullptr) << name;
        for (const record* each : {found->request, found->reply}) {
            EXPECT_EQ(each == nullptr ? 0 : each->size, 0u) << name;
        }
    }
}

struct message_row {
    uint8_t type;
    std::string_view service;  // empty: none
    int timeout_ms;
    uint32_t body;
};
constexpr message_row kCommands[] = {
    {0x80, "method.quon.mcu.get.ver", 1000, 0},
    {0x81, "", 1000, 0},
    {0x82, "method.quon.mcu.get.wakeup.info", 2000, 0},
    {0x83, "signal.quon.mcu.set.time", 0, 10},
    {0x84, "method.quon.mcu.get.time", 1000, 0},
    {0x85, "signal.quon.mcu.set.led", 0, 1},
    {0x86, "method.quon.mcu.get.battery.status", 2000, 0},
    {0x87, "signal.quon.mcu.set.pir.switch", 0, 1},
    {0x88, "signal.quon.mcu.set.pir.sensitivity", 0, 1},
    {0x89, "method.quon.mcu.get.pir.info", 1000, 0},
    {0xA2, "signal.quon.mcu.set.pir.info", 0, 36},
    {0x8A, "signal.quon.mcu.set.wifi.connect", 0, 134},
    {0x8B, "signal.quon.mcu.set.wifi.disconnect", 0, 0},
    {0x8C, "method.quon.mcu.get.wifi.status", 1000, 0},
    {0x8D, "signal.quon.mcu.set.wifi.keepalive", 0, 164},
    {0x9D, "signal.quon.mcu.set.wifi.extended.info", 0, 66},
    {0xA9, "method.quon.mcu.get.wifi.scanf.info", 2000, 1},
    {0x8E, "signal.quon.mcu.set.system.state", 0, 1},
    {0x8F, "method.quon.mcu.upg.start", 3000, 5},
    {0x90, "method.quon.mcu.upg.transmit", 3000, 265},
    {0x91, "method.quon.mcu.upg.finish", 0, 0},
    {0x92, "signal.quon.mcu.set.store.params", 0, 48},
    {0x93, "method.quon.mcu.get.store.params", 1000, 0},
    {0x94, "signal.quon.mcu.set.wdg.state", 0, 1},
    {0x95, "method.quon.mcu.get.wdg.state", 1000, 0},
    {0x96, "signal.quon.mcu.set.wdg.period", 0, 4},
    {0x97, "signal.quon.mcu.set.wdg.feed", 0, 0},
    {0x98, "signal.quon.mcu.set.alarm", 0, 7},
    {0x99, "method.quon.mcu.get.alarm", 1000, 0},
    {0x9A, "signal.quon.mcu.set.ap.start", 0, 166},
    {0x9B, "signal.quon.mcu.set.ap.stop", 0, 0},
    {0x9C, "signal.quon.mcu.set.crash.test", 0, 0},
    {0x9E, "method.quon.mcu.get.err.report", 1000, 0},
    {0x9F, "method.quon.mcu.get.soc.min.ver", 1000, 0},
    {0xA0, "signal.quon.mcu.set.uart.switch", 0, 1},
    {0xA1, "signal.quon.mcu.set.wakeup.info", 0, 71},
    {0xA3, "method.quon.mcu.get.status.info", 1000, 0},
    {0xA4, "signal.quon.mcu.set.charge.auto.poweron", 0, 67},
    {0xA5, "signal.quon.mcu.set.cmd", 0, 0},
    {0xA6, "signal.quon.mcu.set.tamper.info", 0, 1},
    {0xA7, "method.quon.mcu.get.config.info", 1000, 0},
    {0xAA, "method.quon.mcu.get.wifi.extended.status", 1000, 0},
    {0xAB, "signal.quon.mcu.set.soc.time.info", 0, 44},
    {0xAC, "method.quon.mcu.get.soc.time.list", 1000, 0},
    {0xAD, "method.quon.mcu.get.soc.time.cur.info", 1000, 0},
};

TEST(TheCommandMessages, BelongToTheServicesThatSendThem) {
    std::map<std::string_view, const message_row*> by_service;
    for (const message_row& row : kCommands) {
        const message* found = find_message(row.type);
        ASSERT_NE(found, nullptr) << int{row.type};
        EXPECT_EQ(found->timeout_ms, row.timeout_ms) << found->name;
        EXPECT_EQ(found->request == nullptr ? 0 : found->request->size, row.body) << found->name;
        EXPECT_EQ(found->reply != nullptr, row.timeout_ms != 0) << found->name;
        by_service[row.service] = &row;
    }
    for (const service& each : services()) {
        const auto row = by_service.find(each.name);
        ASSERT_EQ(each.message.has_value(), row != by_service.end()) << each.name;
        if (row != by_service.end()) {
            EXPECT_EQ(*each.message, row->second->type) << each.name;
            EXPECT_EQ(each.timeout_ms, row->second->timeout_ms) << each.name;
        }
    }
}

// The daemon makes a digit of the watchdog state and a zero word of the upgrade's answers; all else
// goes through it unchanged.
TEST(TheCommandMessages, CarryTheRecordsOfTheirServices) {
    const std::set<std::string_view> other_reply = {
        "method.quon.mcu.get.wdg.state", "method.quon.mcu.upg.start",
        "method.quon.mcu.upg.transmit", "method.quon.mcu.upg.finish"};
    for (const service& each : services()) {
        if (!each.message) {
            continue;
        }
        const message* sent = find_message(*each.message);
        ASSERT_NE(sent, nullptr) << each.name;
        EXPECT_EQ(sent->request, each.request) << each.name;
        EXPECT_EQ(sent->reply == each.reply, !other_reply.contains(each.name)) << each.name;
    }
}

TEST(TheMessages, AreTheSixEventsAndTheCommandsInOrderOfType) {
    constexpr size_t kEvents = 6;
    ASSERT_EQ(messages().size(), kEvents + std::size(kCommands));
    for (size_t i = 0; i < messages().size(); ++i) {
        const message& each = messages()[i];
        EXPECT_EQ(find_message(each.type), &each);
        EXPECT_EQ(message_name(each.type), each.name);
        if (i < kEvents) {
            EXPECT_EQ(each.type, i);
            EXPECT_EQ(each.timeout_ms, 0);
        } else {
            EXPECT_GT(each.type, messages()[i - 1].type);
        }
    }
    EXPECT_EQ(message_name(HI3861L_EVENT_NET), "event_net");
    EXPECT_EQ(message_name(HI3861L_GET_TIME), "get_time");
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
