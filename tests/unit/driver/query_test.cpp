#include <chrono>
#include <string>

#include "driver_world.h"
#include "expected_texts.h"
#include "operation_calls.h"

namespace quon::test {
namespace {

constexpr std::size_t kAreaSize = 384;  // what a caller hands to a query
constexpr std::uint8_t kUntouched = 0xee;

std::vector<ExpectedOperation> queries_that(Answer answer) {
    std::vector<ExpectedOperation> rows;
    for (const ExpectedOperation& row : expected::waiting_operations()) {
        if (row.answer == answer) {
            rows.push_back(row);
        }
    }
    return rows;
}

std::vector<ExpectedOperation> all_queries() {
    std::vector<ExpectedOperation> rows = expected::waiting_operations();
    std::erase_if(rows, [](const ExpectedOperation& row) { return !row.fills_area(); });
    return rows;
}

// What goes out for the row's query, with this selector if it has one.
Bytes request_of(const ExpectedOperation& row, std::uint8_t selector) {
    return chip_frame(row.message(), Bytes(static_cast<std::size_t>(row.request_size), selector));
}

// The caller's area with guard bytes beyond it.
struct Area {
    Bytes bytes = Bytes(kAreaSize + 32, kUntouched);

    // Exactly these bytes were written, at the start.
    [[nodiscard]] testing::AssertionResult holds_only(const Bytes& written) const {
        Bytes expected(bytes.size(), kUntouched);
        std::copy(written.begin(), written.end(), expected.begin());
        if (bytes == expected) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "area holds " << to_hex(bytes);
    }
};

class AQuery : public AStartedDriver {
  protected:
    // What a query logs when the channel refuses its request.
    static std::vector<LogLine> send_failure(const char* operation) {
        return {driver_line(1, "hi3861l_send_data", expected::kChannelFailedLine),
                driver_line(1, "hi3861l_send_msg_sync", expected::kSendDataFailedLine),
                failure_line(operation, expected::kSyncSendFailed)};
    }
};

TEST_F(AQuery, SendsAnEmptyRequestAndCopiesTheReplyByItsLength) {
    for (const ExpectedOperation& row : queries_that(Answer::kByLength)) {
        for (const std::size_t size : {1U, 10U, 71U, 383U, 384U}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(size));
            Area area;
            channel().forget();
            channel().answer(row.message(), pattern(size));
            EXPECT_EQ(call_operation(row, {0x5a}, area.bytes.data()), 0);
            EXPECT_EQ(channel().frames(), std::vector<Bytes>{request_of(row, 0x5a)});
            EXPECT_TRUE(area.holds_only(pattern(size)));
        }
    }
    EXPECT_EQ(log_lines_up_to(3), std::vector<LogLine>{});
}

TEST_F(AQuery, LeavesTheRecordUntouchedWhenTheReplyIsEmpty) {
    for (const ExpectedOperation& row : queries_that(Answer::kByLength)) {
        SCOPED_TRACE(row.name);
        Area area;
        channel().answer(row.message(), {});
        EXPECT_EQ(call_operation(row, {0x5a}, area.bytes.data()), 0);
        EXPECT_TRUE(area.holds_only({}));
    }
}

TEST_F(AQuery, NeverWritesMoreThanAPayloadWhateverTheChipDeclares) {
    for (const ExpectedOperation& row : queries_that(Answer::kByLength)) {
        SCOPED_TRACE(row.name);
        for (const std::uint32_t declared : {385U, 65536U, 0xffffffffU}) {
            Area area;
            Bytes expected(kAreaSize, 0);
            expected[0] = 0x11;
            expected[1] = 0x22;
            channel().answer_with(row.message(),
                                  {chip_frame_declaring(row.message(), declared, {0x11, 0x22})});
            EXPECT_EQ(call_operation(row, {0x5a}, area.bytes.data()), 0);
            EXPECT_TRUE(area.holds_only(expected));
        }
    }
}

TEST_F(AQuery, RefusesANullPointerWithoutAsking) {
    for (const ExpectedOperation& row : all_queries()) {
        if (row.answer != Answer::kText) {
            forget_log();
            EXPECT_EQ(call_operation(row, {1}), -1);
            EXPECT_EQ(log_lines(), std::vector{failure_line(row.name, expected::kInvalidParam)});
        }
    }
    EXPECT_TRUE(channel().frames().empty());
}

TEST_F(AQuery, ReportsAFailedSendUnderItsOwnName) {
    channel().send_result = -1;
    Area area;
    for (const ExpectedOperation& row : all_queries()) {
        forget_log();
        EXPECT_EQ(call_operation(row, {1}, area.bytes.data()), -1);
        EXPECT_EQ(log_lines(), send_failure(row.name));
    }
    EXPECT_TRUE(area.holds_only({}));
}

// Intended: the pointer of a text is not looked at before the chip has answered.
TEST_F(AQuery, ForATextAsksTheChipAlsoWithANullPointer) {
    channel().send_result = -1;
    for (const ExpectedOperation& row : queries_that(Answer::kText)) {
        forget_log();
        EXPECT_EQ(call_operation(row, {}), -1);
        EXPECT_EQ(log_lines(), send_failure(row.name));
    }
}

TEST_F(AQuery, CountsAnyNonZeroResultOfTheChannelAsAFailedSend) {
    channel().send_result = 7;
    Area area;
    EXPECT_EQ(ops->get_time(area.bytes.data()), -1);
    EXPECT_EQ(log_lines(), send_failure("hi3861l_api_get_time"));
}

// --- time-outs, on the real clock (fault_test.cpp checks every operation's)

using Clock = std::chrono::steady_clock;

TEST_F(AQuery, OfTheTimeGivesUpAfterOneSecondAndSaysSoOnce) {
    Area area;
    const auto start = Clock::now();
    EXPECT_EQ(ops->get_time(area.bytes.data()), -1);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(999));
    EXPECT_TRUE(area.holds_only({}));
    EXPECT_EQ(log_lines(),
              std::vector{failure_line("hi3861l_api_get_time", expected::kSyncSendFailed)});
    EXPECT_EQ(channel().frames().size(), 1U);  // no retry
}

TEST_F(AQuery, OfTheBatteryGivesUpAfterTwoSeconds) {
    Area area;
    const auto start = Clock::now();
    EXPECT_EQ(ops->get_battery_status(area.bytes.data()), -1);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1999));
    EXPECT_EQ(log_lines(), std::vector{failure_line("hi3861l_api_get_battery_status",
                                                    expected::kSyncSendFailed)});
}

// --- texts

TEST_F(AQuery, ForATextCopiesUpToTheFirstZeroByte) {
    struct Row {
        Bytes reply;
        Bytes written;
    };
    Bytes longest = pattern(383);
    longest.push_back(0);
    const Row rows[] = {
        {bytes_of("V1.2.3"), from_hex("56 31 2e 32 2e 33 00")},
        {from_hex("56 31 00 32 33"), from_hex("56 31 00")},
        {{}, {0}},
        {from_hex("00 41 42"), {0}},
        {pattern(383), longest},
        {pattern(384), longest},  // the terminator needs the area's last byte
    };
    for (const ExpectedOperation& query : queries_that(Answer::kText)) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(query.name) + " " + to_hex(row.reply));
            Area area;
            channel().forget();
            channel().answer(query.message(), row.reply);
            EXPECT_EQ(call_operation(query, {}, area.bytes.data()), 0);
            EXPECT_EQ(channel().frames(), std::vector<Bytes>{request_of(query, 0)});
            EXPECT_TRUE(area.holds_only(row.written));
        }
    }
}

// --- lists

TEST_F(AQuery, ForAListCopiesTheCountAndAsManyEntries) {
    for (const ExpectedOperation& row : queries_that(Answer::kList)) {
        for (const int count : {0, 1, 3, 5, 8}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(count));
            Bytes reply = pattern(384);
            reply[0] = static_cast<std::uint8_t>(count);
            Area area;
            channel().forget();
            channel().answer(row.message(), reply);
            EXPECT_EQ(call_operation(row, {}, area.bytes.data()), 0);
            EXPECT_EQ(channel().frames(), std::vector<Bytes>{request_of(row, 0x5a)});
            reply.resize(1 + static_cast<std::size_t>(count * row.entry_size));
            EXPECT_TRUE(area.holds_only(reply));
        }
    }
}

TEST_F(AQuery, ForAListCopiesTheCountAsItStandsAndTheEntriesThatThePayloadHolds) {
    for (const ExpectedOperation& row : queries_that(Answer::kList)) {
        for (const int count : {11, 100, 255}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(count));
            Bytes reply = pattern(384);
            reply[0] = static_cast<std::uint8_t>(count);
            Area area;
            channel().answer(row.message(), reply);
            EXPECT_EQ(call_operation(row, {}, area.bytes.data()), 0);
            EXPECT_TRUE(area.holds_only(reply));
        }
    }
}

TEST_F(AQuery, ForAListDoesNotCopyByTheReplysLength) {
    for (const ExpectedOperation& row : queries_that(Answer::kList)) {
        SCOPED_TRACE(row.name);
        Area area;
        channel().answer(row.message(), {2, 0x77});  // two entries announced, one byte sent
        EXPECT_EQ(call_operation(row, {}, area.bytes.data()), 0);
        Bytes expected(static_cast<std::size_t>(1 + 2 * row.entry_size), 0);
        expected[0] = 2;
        expected[1] = 0x77;
        EXPECT_TRUE(area.holds_only(expected));

        Area rest;
        Bytes reply = pattern(384);  // more bytes sent than announced
        reply[0] = 0;
        channel().answer(row.message(), reply);
        EXPECT_EQ(call_operation(row, {}, rest.bytes.data()), 0);
        EXPECT_TRUE(rest.holds_only({0}));
    }
}

// --- the scan, which has a selector

TEST_F(AQuery, ForTheScanSendsTheSelector) {
    Area area;
    channel().answer(0xa9, pattern(241));
    EXPECT_EQ(ops->get_wifi_scanf_info(0x5a, area.bytes.data()), 0);
    EXPECT_EQ(channel().frames(), (std::vector<Bytes>{{0xa9, 1, 0, 0, 0, 0x5a}}));
    EXPECT_TRUE(area.holds_only(pattern(241)));
}

// --- the second MAC

TEST_F(AQuery, OfTheWakeUpInfoKeepsTheMacAtByte54) {
    Bytes info = pattern(71);
    const Bytes mac = from_hex("0a 1b 2c 3d 4e 5f");
    std::copy(mac.begin(), mac.end(), info.begin() + 54);
    channel().answer(0x82, info);
    Area area;
    ASSERT_EQ(ops->get_wakeup_info(area.bytes.data()), 0);
    Area wifi;
    ASSERT_EQ(ops->get_wifi_info(wifi.bytes.data()), 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(wifi.bytes.data()), "0a:1b:2c:3d:4e:5f");
}

// The MAC is taken from the caller's record, where bytes that the answer does not reach stay.
TEST_F(AQuery, OfTheWakeUpInfoThatIsCutShortKeepsTheMacThatTheRecordThenHolds) {
    struct Row {
        std::size_t answer_size;
        const char* mac;
    };
    for (const Row& row : {Row{0, "ee:ee:ee:ee:ee:ee"}, Row{10, "ee:ee:ee:ee:ee:ee"},
                           Row{57, "37:38:39:ee:ee:ee"}, Row{60, "37:38:39:3a:3b:3c"}}) {
        SCOPED_TRACE(row.answer_size);
        channel().answer(0x82, pattern(row.answer_size));
        Area area;
        ASSERT_EQ(ops->get_wakeup_info(area.bytes.data()), 0);
        Area wifi;
        ASSERT_EQ(ops->get_wifi_info(wifi.bytes.data()), 0);
        EXPECT_STREQ(reinterpret_cast<const char*>(wifi.bytes.data()), row.mac);
    }
}

TEST_F(AQuery, OfTheWakeUpInfoThatFailsKeepsTheMacOfTheLastOne) {
    channel().answer(0x82, pattern(71));
    Area area;
    ASSERT_EQ(ops->get_wakeup_info(area.bytes.data()), 0);
    channel().send_result = -1;
    ASSERT_EQ(ops->get_wakeup_info(area.bytes.data()), -1);
    Area wifi;
    ASSERT_EQ(ops->get_wifi_info(wifi.bytes.data()), 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(wifi.bytes.data()), "37:38:39:3a:3b:3c");
}

}  // namespace
}  // namespace quon::test
