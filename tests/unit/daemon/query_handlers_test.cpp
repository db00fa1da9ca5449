// Every query handler against a recorded operations table.

#include "service_handlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "expected_table.h"
#include "expected_texts.h"
#include "fake_operations.h"
#include "mcu_records.h"
#include "services.h"

namespace quon::test {
namespace {

constexpr std::string_view kText = "V2.0.0.9";  // of the chip, where it answers with one

bool is_text(const ExpectedService& row) {
    return row.reply == Reply::kTextDirect || row.reply == Reply::kTextStaged;
}

bool is_record(const ExpectedService& row) {
    return row.reply == Reply::kDirect || row.reply == Reply::kStaged;
}

int length_of(const ExpectedService& row) {
    return is_text(row) ? static_cast<int>(kText.size()) : row.reply_size;
}

const Bytes kRequest = {0x5a, 0x01, 0x02};

// What the chip answers to the row's query, and what of it becomes the reply.
Bytes chip_answer(const ExpectedService& row) {
    if (row.reply == Reply::kTextOfNumber) {
        return {7};
    }
    if (is_text(row)) {
        return bytes_of(std::string(kText) + '\0');
    }
    Bytes record(static_cast<std::size_t>(length_of(row)));
    for (std::size_t i = 0; i < record.size(); i++) {
        record[i] = static_cast<std::uint8_t>(1 + i % 251);
    }
    return record;
}

Bytes expected_reply(const ExpectedService& row) {
    if (row.reply == Reply::kTextOfNumber) {
        return bytes_of("7");
    }
    Bytes answer = chip_answer(row);
    answer.resize(static_cast<std::size_t>(length_of(row)));
    return answer;
}

method_handler* handler_of(const ExpectedService& row) {
    return service_named(row.name).handler.method;
}

Bytes first(const Bytes& bytes, std::int32_t count) {
    return {bytes.begin(), bytes.begin() + count};
}

bool untouched(const Bytes& reply) {
    return std::count(reply.begin(), reply.end(), kUntouched) ==
           static_cast<std::ptrdiff_t>(reply.size());
}

bool writes_straight_into_reply(const ExpectedService& row) {
    return row.reply == Reply::kDirect || row.reply == Reply::kTextDirect;
}

std::string failure_line(const ExpectedService& row) {
    return row.failure == nullptr ? std::string()
                                  : log_line("E/", row.handler, expected::failed(row.failure));
}

TEST(EachQuery, AsksItsOneSlotAndRepliesWithTheRecord) {
    for (const ExpectedService& row : expected::queries()) {
        SCOPED_TRACE(row.name);
        fresh_operations().reply = chip_answer(row);
        const Outcome outcome = run_method(handler_of(row), kRequest);
        EXPECT_EQ(outcome.result, length_of(row));
        EXPECT_EQ(first(outcome.reply, length_of(row)), expected_reply(row));
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(operations().called_slots(), std::vector<int>{row.slot});
    }
}

TEST(EachQuery, GivesItsReplyAreaOrALocalOneToTheOperation) {
    for (const ExpectedService& row : expected::queries()) {
        SCOPED_TRACE(row.name);
        fresh_operations().reply = chip_answer(row);
        Bytes reply(DBUS_DATA_SIZE);
        handler_of(row)(kRequest.data(), 3, reply.data(), DBUS_DATA_SIZE);
        ASSERT_EQ(operations().calls.size(), 1U);
        EXPECT_EQ(operations().calls[0].output == reply.data(), writes_straight_into_reply(row));
    }
}

TEST(EachQuery, WritesNothingBeyondItsRecord) {
    for (const ExpectedService& row : expected::queries()) {
        SCOPED_TRACE(row.name);
        fresh_operations().reply = chip_answer(row);
        const Outcome outcome = run_method(handler_of(row), kRequest);
        const int written = length_of(row) + (is_record(row) ? 0 : 1);
        EXPECT_TRUE(untouched({outcome.reply.begin() + written, outcome.reply.end()}));
    }
}

TEST(EachQuery, LogsItsOwnFailureTextAndReturnsMinusOne) {
    for (const ExpectedService& row : expected::queries()) {
        SCOPED_TRACE(row.name);
        fresh_operations().result = -1;
        const Outcome outcome = run_method(handler_of(row), kRequest);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(outcome.output, failure_line(row));
        EXPECT_EQ(operations().calls.size(), 1U);  // no retry
        EXPECT_TRUE(untouched(outcome.reply));
    }
}

TEST(EachQuery, LeavesInItsReplyWhatAFailedOperationWroteOnlyWhenItIsDirect) {
    for (const ExpectedService& row : expected::queries()) {
        SCOPED_TRACE(row.name);
        fresh_operations().result = -1;
        operations().reply = {1, 2, 3};
        const Outcome outcome = run_method(handler_of(row), kRequest);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(untouched(outcome.reply), !writes_straight_into_reply(row));
    }
}

TEST(EachQuery, TreatsAnyResultButZeroAsAFailure) {
    for (const ExpectedService& row : expected::queries()) {
        if (row.failure != nullptr) {
            SCOPED_TRACE(row.name);
            fresh_operations().result = 5;
            const Outcome outcome = run_method(handler_of(row), kRequest);
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.output, failure_line(row));
        }
    }
}

TEST(EachQuery, WithANullCheckLogsAnEmptySlotAndCallsNothing) {
    for (const ExpectedService& row : expected::queries()) {
        if (row.null_check == NullCheck::kYes) {
            SCOPED_TRACE(row.name);
            fresh_operations().empty_slot(row.slot);
            const Outcome outcome = run_method(handler_of(row), kRequest);
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.output, log_line("E/", row.handler, expected::kEmptySlot));
            EXPECT_TRUE(operations().calls.empty());
            EXPECT_TRUE(untouched(outcome.reply));
        }
    }
}

TEST(EachQueryDeathTest, WithoutANullCheckCallsThroughAnEmptySlot) {
    for (const ExpectedService& row : expected::queries()) {
        if (row.null_check == NullCheck::kNo) {
            SCOPED_TRACE(row.name);
            fresh_operations().empty_slot(row.slot);
            EXPECT_DEATH(run_method(handler_of(row), kRequest), "");
        }
    }
}

TEST(EachQuery, HasRoomForAReplyAsLongAsAPayload) {
    for (const ExpectedService& row : expected::queries()) {
        SCOPED_TRACE(row.name);
        fresh_operations().reply.assign(kMcuReplyAreaSize, 'x');
        if (row.reply == Reply::kTextDirect) {
            operations().reply.push_back('\0');
        }
        const Outcome outcome = run_method(handler_of(row), kRequest);
        EXPECT_EQ(outcome.result, is_text(row) ? kMcuReplyAreaSize : length_of(row));
        if (row.reply == Reply::kStaged) {
            EXPECT_EQ(outcome.reply[static_cast<std::size_t>(length_of(row))], kUntouched);
        }
    }
}

TEST(EachQuery, NeedsNoCapacityForARecord) {
    for (const ExpectedService& row : expected::queries()) {
        if (is_record(row)) {
            SCOPED_TRACE(row.name);
            fresh_operations().reply = chip_answer(row);
            const Outcome outcome = run_method(handler_of(row), kRequest, 0);
            EXPECT_EQ(outcome.result, length_of(row));
            EXPECT_EQ(first(outcome.reply, length_of(row)), expected_reply(row));
        }
    }
}

TEST(TheStagedQueries, ClearTheirLocalRecordFirst) {
    for (const ExpectedService& row : expected::queries()) {
        if (row.reply == Reply::kStaged) {
            SCOPED_TRACE(row.name);
            fresh_operations().reply = {9};
            const Outcome outcome = run_method(handler_of(row), kRequest);
            Bytes expected(static_cast<std::size_t>(length_of(row)));
            expected[0] = 9;
            EXPECT_EQ(first(outcome.reply, length_of(row)), expected);
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
