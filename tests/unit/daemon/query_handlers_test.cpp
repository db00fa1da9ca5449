// Every query handler against a recorded operations table.

#include "service_handlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "fake_operations.h"
#include "mcu_records.h"
#include "services.h"

namespace quon::test {
namespace {

enum class Source { kDirect, kStaged, kTextDirect, kTextOfNumber, kTextStaged };
using enum Source;
constexpr bool kNo = false;
constexpr bool kYes = true;

struct QueryRow {
    const char* service;  // after "method.quon.mcu."
    const char* handler;
    int slot;
    bool null_check;
    Source source;
    int length;           // of the reply; texts: that of the text which the chip gives here
    const char* failure;  // null: no log line
};

// clang-format off
const QueryRow kQueries[] = {
    {"get.ver",                  "quon_mcu_get_version",                   2,  kNo,  kTextDirect,   8,   "mcu_get_version failed"},
    {"get.wakeup.info",          "quon_mcu_get_wakeup_info",               3,  kNo,  kDirect,       71,  "mcu_get_wakeup_info failed"},
    {"get.time",                 "quon_mcu_get_time",                      5,  kNo,  kDirect,       10,  "mcu_get_time failed"},
    {"get.battery.status",       "quon_mcu_get_battery_status",            7,  kNo,  kDirect,       5,   "mcu_get_battery_status failed"},
    {"get.pir.info",             "quon_mcu_get_pir_info",                  10, kNo,  kDirect,       36,  "mcu_get_pir_info failed"},
    {"get.wifi.status",          "quon_mcu_get_wifi_status",               14, kNo,  kDirect,       70,  "mcu_get_wifi_status failed"},
    {"get.wifi.info",            "quon_mcu_get_wifi_info",                 15, kNo,  kDirect,       160, "mcu_get_wifi_info failed"},
    {"get.wifi.scanf.info",      "quon_mcu_get_wifi_scanf_info",           18, kYes, kStaged,       241, "quon_mcu_get_wifi_scanf_info failed"},
    {"get.event.info",           "quon_mcu_get_event_info",                20, kNo,  kDirect,       33,  nullptr},
    {"get.store.params",         "quon_mcu_get_store_params",              25, kNo,  kDirect,       48,  "mcu_get_store_params failed"},
    {"get.wdg.state",            "quon_mcu_get_wdg_state",                 27, kNo,  kTextOfNumber, 1,   "mcu_get_wdg_state failed"},
    {"get.alarm",                "quon_mcu_get_alarm",                     31, kNo,  kDirect,       7,   "mcu_get_alarm failed"},
    {"get.err.report",           "quon_mcu_get_err_report",                35, kNo,  kDirect,       181, "mcu_get_err_report failed"},
    {"get.soc.min.ver",          "quon_mcu_get_soc_min_version",           36, kNo,  kTextStaged,   8,   "mcu_get_soc_min_version failed"},
    {"get.status.info",          "quon_mcu_get_status_info",               39, kYes, kDirect,       136, "mcu_get_status_info failed"},
    {"get.config.info",          "quon_mcu_get_config_info",               43, kYes, kDirect,       256, "mcu_get_config_info failed"},
    {"get.log.profile",          "quon_mcu_get_log_profile",               45, kYes, kStaged,       35,  "mcu_get_log_profile failed"},
    {"get.bit.err.rate",         "quon_mcu_get_bit_err_rate",              46, kYes, kStaged,       259, "mcu_get_bit_err_rate failed"},
    {"get.wifi.extended.status", "quon_mcu_get_wifi_extended_status",      48, kYes, kDirect,       264, "mcu_get_wifi_extended_status failed"},
    {"get.soc.time.list",        "quon_mcu_get_soc_poweron_time_list",     50, kYes, kDirect,       221, "mcu_get_soc_poweron_time_info_list failed"},
    {"get.soc.time.cur.info",    "quon_mcu_get_soc_poweron_time_cur_info", 51, kYes, kDirect,       212, "mcu_get_soc_poweron_time_cur_info failed"},
};
// clang-format on
static_assert(std::size(kQueries) == 21);

const Bytes kRequest = {0x5a, 0x01, 0x02};

// What the chip answers to the row's query, and what of it becomes the reply.
Bytes chip_answer(const QueryRow& row) {
    if (row.source == kTextOfNumber) {
        return {7};
    }
    if (row.source == kTextDirect || row.source == kTextStaged) {
        return bytes_of(std::string("V2.0.0.9") + '\0');
    }
    Bytes record(static_cast<std::size_t>(row.length));
    for (std::size_t i = 0; i < record.size(); i++) {
        record[i] = static_cast<std::uint8_t>(1 + i % 251);
    }
    return record;
}

Bytes expected_reply(const QueryRow& row) {
    if (row.source == kTextOfNumber) {
        return bytes_of("7");
    }
    Bytes answer = chip_answer(row);
    answer.resize(static_cast<std::size_t>(row.length));
    return answer;
}

Bytes first(const Bytes& bytes, std::int32_t count) {
    return {bytes.begin(), bytes.begin() + count};
}

bool untouched(const Bytes& reply) {
    return std::count(reply.begin(), reply.end(), kUntouched) ==
           static_cast<std::ptrdiff_t>(reply.size());
}

bool writes_straight_into_reply(Source source) {
    return source == kDirect || source == kTextDirect;
}

std::string failure_line(const QueryRow& row) {
    return row.failure == nullptr
               ? std::string()
               : log_line("E/", row.handler, std::string("[") + row.failure + "] failed\n");
}

TEST(EachQuery, AsksItsOneSlotAndRepliesWithTheRecord) {
    for (const QueryRow& row : kQueries) {
        SCOPED_TRACE(row.service);
        fresh_operations().reply = chip_answer(row);
        const Outcome outcome = run_method(method_named(row.service), kRequest);
        EXPECT_EQ(outcome.result, row.length);
        EXPECT_EQ(first(outcome.reply, row.length), expected_reply(row));
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(operations().called_slots(), std::vector<int>{row.slot});
    }
}

TEST(EachQuery, GivesItsReplyAreaOrALocalOneToTheOperation) {
    for (const QueryRow& row : kQueries) {
        SCOPED_TRACE(row.service);
        fresh_operations().reply = chip_answer(row);
        Bytes reply(DBUS_DATA_SIZE);
        method_named(row.service)(kRequest.data(), 3, reply.data(), DBUS_DATA_SIZE);
        ASSERT_EQ(operations().calls.size(), 1U);
        EXPECT_EQ(operations().calls[0].output == reply.data(),
                  writes_straight_into_reply(row.source));
    }
}

TEST(EachQuery, WritesNothingBehindItsRecord) {
    for (const QueryRow& row : kQueries) {
        SCOPED_TRACE(row.service);
        fresh_operations().reply = chip_answer(row);
        const Outcome outcome = run_method(method_named(row.service), kRequest);
        const int written = row.length + (row.source == kDirect || row.source == kStaged ? 0 : 1);
        EXPECT_TRUE(untouched({outcome.reply.begin() + written, outcome.reply.end()}));
    }
}

TEST(EachQuery, LogsItsOwnFailureTextAndReturnsMinusOne) {
    for (const QueryRow& row : kQueries) {
        SCOPED_TRACE(row.service);
        fresh_operations().result = -1;
        const Outcome outcome = run_method(method_named(row.service), kRequest);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(outcome.output, failure_line(row));
        EXPECT_EQ(operations().calls.size(), 1U);  // no retry
        EXPECT_TRUE(untouched(outcome.reply));
    }
}

TEST(EachQuery, LeavesInItsReplyWhatAFailedOperationWroteOnlyWhenItIsDirect) {
    for (const QueryRow& row : kQueries) {
        SCOPED_TRACE(row.service);
        fresh_operations().result = -1;
        operations().reply = {1, 2, 3};
        const Outcome outcome = run_method(method_named(row.service), kRequest);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(untouched(outcome.reply), !writes_straight_into_reply(row.source));
    }
}

TEST(EachQuery, TreatsAnyResultButZeroAsAFailure) {
    for (const QueryRow& row : kQueries) {
        if (row.failure != nullptr) {
            SCOPED_TRACE(row.service);
            fresh_operations().result = 5;
            const Outcome outcome = run_method(method_named(row.service), kRequest);
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.output, failure_line(row));
        }
    }
}

TEST(EachQuery, WithANullCheckLogsAnEmptySlotAndCallsNothing) {
    int checked = 0;
    for (const QueryRow& row : kQueries) {
        if (row.null_check) {
            SCOPED_TRACE(row.service);
            fresh_operations().empty_slot(row.slot);
            const Outcome outcome = run_method(method_named(row.service), kRequest);
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.output, log_line("E/", row.handler, "func is null\n"));
            EXPECT_TRUE(operations().calls.empty());
            EXPECT_TRUE(untouched(outcome.reply));
            checked++;
        }
    }
    EXPECT_EQ(checked, 8);
}

TEST(EachQueryDeathTest, WithoutANullCheckCallsThroughAnEmptySlot) {
    for (const QueryRow& row : kQueries) {
        if (!row.null_check) {
            SCOPED_TRACE(row.service);
            fresh_operations().empty_slot(row.slot);
            EXPECT_DEATH(run_method(method_named(row.service), kRequest), "");
        }
    }
}

TEST(EachQuery, HasRoomForAReplyAsLongAsAPayload) {
    for (const QueryRow& row : kQueries) {
        SCOPED_TRACE(row.service);
        fresh_operations().reply.assign(MCU_REPLY_AREA_SIZE, 'x');
        if (row.source == kTextDirect) {
            operations().reply.push_back('\0');
        }
        const Outcome outcome = run_method(method_named(row.service), kRequest);
        const bool whole_text = row.source == kTextDirect || row.source == kTextStaged;
        EXPECT_EQ(outcome.result, whole_text ? MCU_REPLY_AREA_SIZE : row.length);
        if (row.source == kStaged) {
            EXPECT_EQ(outcome.reply[static_cast<std::size_t>(row.length)], kUntouched);
        }
    }
}

TEST(EachQuery, NeedsNoCapacityForARecord) {
    for (const QueryRow& row : kQueries) {
        if (row.source == kDirect || row.source == kStaged) {
            SCOPED_TRACE(row.service);
            fresh_operations().reply = chip_answer(row);
            const Outcome outcome = run_method(method_named(row.service), kRequest, 0);
            EXPECT_EQ(outcome.result, row.length);
            EXPECT_EQ(first(outcome.reply, row.length), expected_reply(row));
        }
    }
}

TEST(TheStagedQueries, ClearTheirLocalRecordFirst) {
    for (const QueryRow& row : kQueries) {
        if (row.source == kStaged) {
            SCOPED_TRACE(row.service);
            fresh_operations().reply = {9};
            const Outcome outcome = run_method(method_named(row.service), kRequest);
            Bytes expected(static_cast<std::size_t>(row.length));
            expected[0] = 9;
            EXPECT_EQ(first(outcome.reply, row.length), expected);
        }
    }
}

TEST(TheScanQuery, PassesRequestByte0AsItsSelector) {
    for (const std::uint8_t selector : Bytes{0, 1, 0x7f, 0xff}) {
        fresh_operations();
        run_method(quon_mcu_get_wifi_scanf_info, {selector, 0x33});
        ASSERT_EQ(operations().calls.size(), 1U);
        EXPECT_EQ(operations().calls[0].values, Bytes{selector});
    }
}

TEST(TheEventQuery, PassesAnyOtherResultBackUnchangedAndSilently) {
    for (const std::int32_t result : {-1, -7, 1, 34}) {
        fresh_operations().result = result;
        const Outcome outcome = run_method(quon_mcu_get_event_info, {});
        EXPECT_EQ(outcome.result, result);
        EXPECT_EQ(outcome.output, "");
    }
}

TEST(TheVersionQuery, RepliesWithAnEmptyTextOfLength0) {
    fresh_operations().reply = {0};
    EXPECT_EQ(run_method(quon_mcu_get_version, {}).result, 0);
}

TEST(TheWatchdogQuery, RepliesWithOneCharacterWhateverTheState) {
    const std::pair<std::uint8_t, char> states[] = {{0, '0'}, {1, '1'}, {12, '1'}, {255, '2'}};
    for (const auto& [state, digit] : states) {
        fresh_operations().reply = {state};
        const Outcome outcome = run_method(quon_mcu_get_wdg_state, {});
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.reply[0], digit);
    }
}

TEST(TheWatchdogQuery, Reads0WhenTheOperationFillsNothing) {
    fresh_operations();
    EXPECT_EQ(first(run_method(quon_mcu_get_wdg_state, {}).reply, 2), (Bytes{'0', 0}));
}

TEST(TheWatchdogQuery, StaysWithinTheCapacity) {
    fresh_operations().reply = {255};
    const Outcome outcome = run_method(quon_mcu_get_wdg_state, {}, 3);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(first(outcome.reply, 4), (Bytes{'2', '5', 0, kUntouched}));
}

TEST(TheSocMinimumVersionQuery, RepliesWithAnEmptyTextOfLength0) {
    fresh_operations();
    EXPECT_EQ(run_method(quon_mcu_get_soc_min_version, {}).result, 0);
}

TEST(TheSocMinimumVersionQuery, StaysWithinTheCapacityAndReturnsTheWholeLength) {
    fresh_operations().reply = bytes_of("1.2.3");
    const Outcome outcome = run_method(quon_mcu_get_soc_min_version, {}, 4);
    EXPECT_EQ(outcome.result, 5);
    EXPECT_EQ(first(outcome.reply, 5), (Bytes{'1', '.', '2', 0, kUntouched}));
}

}  // namespace
}  // namespace quon::test
