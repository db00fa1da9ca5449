#include <chrono>
#include <string>

#include "driver_world.h"

namespace quon::test {
namespace {

constexpr std::size_t kAreaSize = 384;  // what a caller hands to a query
constexpr std::uint8_t kUntouched = 0xee;

struct QueryRow {
    std::size_t slot;
    const char* operation;
    std::uint8_t type;
};

// clang-format off
const QueryRow kRecordQueries[] = {
    {3, "hi3861l_api_get_wakeup_info", 0x82},
    {5, "hi3861l_api_get_time", 0x84},
    {7, "hi3861l_api_get_battery_status", 0x86},
    {10, "hi3861l_api_get_pir_info", 0x89},
    {14, "hi3861l_api_get_wifi_status", 0x8c},
    {25, "hi3861l_api_get_store_params", 0x93},
    {27, "hi3861l_api_get_wdg_state", 0x95},
    {31, "hi3861l_api_get_alarm", 0x99},
    {39, "hi3861l_api_get_status_info", 0xa3},
    {43, "hi3861l_api_get_config_info", 0xa7},
    {48, "hi3861l_api_get_wifi_extended_status", 0xaa},
    {51, "hi3861l_api_get_soc_poweron_time_cur_info", 0xad},
};

const QueryRow kTextQueries[] = {
    {2, "hi3861l_api_get_version", 0x80},
    {36, "hi3861l_api_get_soc_min_version", 0x9f},
};

struct ListRow {
    QueryRow query;
    std::size_t entry_size;
};
const ListRow kListQueries[] = {
    {{35, "hi3861l_api_get_err_report", 0x9e}, 36},
    {{50, "hi3861l_api_get_soc_poweron_time_info_list", 0xac}, 44},
};
// clang-format on

// The caller's area with guard bytes behind it.
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
        return {driver_line(1, "hi3861l_send_data", "hi_channel_send_to_dev failed\n"),
                driver_line(1, "hi3861l_send_msg_sync", "hi3861l_send_data failed\n"),
                failure_line(operation, "hi3861l_send_msg_sync failed")};
    }
};

TEST_F(AQuery, SendsAnEmptyRequestAndCopiesTheReplyByItsLength) {
    for (const QueryRow& row : kRecordQueries) {
        for (const std::size_t size : {1U, 10U, 71U, 383U, 384U}) {
            SCOPED_TRACE(std::string(row.operation) + " " + std::to_string(size));
            Area area;
            channel().forget();
            channel().answer(row.type, pattern(size));
            EXPECT_EQ(slot<Query>(row.slot)(area.bytes.data()), 0);
            EXPECT_EQ(channel().frames(), (std::vector<Bytes>{{row.type, 0, 0, 0, 0}}));
            EXPECT_TRUE(area.holds_only(pattern(size)));
        }
    }
    EXPECT_EQ(log_lines_up_to(3), std::vector<LogLine>{});
}

TEST_F(AQuery, LeavesTheRecordUntouchedWhenTheReplyIsEmpty) {
    for (const QueryRow& row : kRecordQueries) {
        SCOPED_TRACE(row.operation);
        Area area;
        channel().answer(row.type, {});
        EXPECT_EQ(slot<Query>(row.slot)(area.bytes.data()), 0);
        EXPECT_TRUE(area.holds_only({}));
    }
}

TEST_F(AQuery, NeverWritesMoreThanAPayloadWhateverTheChipDeclares) {
    for (const QueryRow& row : kRecordQueries) {
        SCOPED_TRACE(row.operation);
        for (const std::uint32_t declared : {385U, 65536U, 0xffffffffU}) {
            Area area;
            Bytes expected(kAreaSize, 0);
            expected[0] = 0x11;
            expected[1] = 0x22;
            channel().answer_with(row.type,
                                  {chip_frame_declaring(row.type, declared, {0x11, 0x22})});
            EXPECT_EQ(slot<Query>(row.slot)(area.bytes.data()), 0);
            EXPECT_TRUE(area.holds_only(expected));
        }
    }
}

TEST_F(AQuery, RefusesANullPointerWithoutAsking) {
    std::vector<QueryRow> rows(std::begin(kRecordQueries), std::end(kRecordQueries));
    for (const ListRow& row : kListQueries) {
        rows.push_back(row.query);
    }
    for (const QueryRow& row : rows) {
        forget_log();
        EXPECT_EQ(slot<Query>(row.slot)(nullptr), -1);
        EXPECT_EQ(log_lines(), std::vector{failure_line(row.operation, "param is invalid")});
    }
    EXPECT_TRUE(channel().frames().empty());
}

TEST_F(AQuery, ReportsAFailedSendUnderItsOwnName) {
    channel().send_result = -1;
    Area area;
    std::vector<QueryRow> rows(std::begin(kRecordQueries), std::end(kRecordQueries));
    for (const ListRow& row : kListQueries) {
        rows.push_back(row.query);
    }
    for (const QueryRow& row : rows) {
        forget_log();
        EXPECT_EQ(slot<Query>(row.slot)(area.bytes.data()), -1);
        EXPECT_EQ(log_lines(), send_failure(row.operation));
    }
    for (const QueryRow& row : kTextQueries) {
        forget_log();
        EXPECT_EQ(slot<TextQuery>(row.slot)(reinterpret_cast<char*>(area.bytes.data())), -1);
        EXPECT_EQ(log_lines(), send_failure(row.operation));
    }
    EXPECT_TRUE(area.holds_only({}));
}

// Intended: the pointer of a text is not looked at before the chip has answered.
TEST_F(AQuery, ForATextAsksTheChipAlsoWithANullPointer) {
    channel().send_result = -1;
    for (const QueryRow& row : kTextQueries) {
        forget_log();
        EXPECT_EQ(slot<TextQuery>(row.slot)(nullptr), -1);
        EXPECT_EQ(log_lines(), send_failure(row.operation));
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
              std::vector{failure_line("hi3861l_api_get_time", "hi3861l_send_msg_sync failed")});
    EXPECT_EQ(channel().frames().size(), 1U);  // no retry
}

TEST_F(AQuery, OfTheBatteryGivesUpAfterTwoSeconds) {
    Area area;
    const auto start = Clock::now();
    EXPECT_EQ(ops->get_battery_status(area.bytes.data()), -1);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1999));
    EXPECT_EQ(log_lines(), std::vector{failure_line("hi3861l_api_get_battery_status",
                                                    "hi3861l_send_msg_sync failed")});
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
    for (const QueryRow& query : kTextQueries) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(query.operation) + " " + to_hex(row.reply));
            Area area;
            channel().forget();
            channel().answer(query.type, row.reply);
            EXPECT_EQ(slot<TextQuery>(query.slot)(reinterpret_cast<char*>(area.bytes.data())), 0);
            EXPECT_EQ(channel().frames(), (std::vector<Bytes>{{query.type, 0, 0, 0, 0}}));
            EXPECT_TRUE(area.holds_only(row.written));
        }
    }
}

// --- lists

TEST_F(AQuery, ForAListCopiesTheCountAndAsManyEntries) {
    for (const ListRow& row : kListQueries) {
        for (const int count : {0, 1, 3, 5, 8}) {
            SCOPED_TRACE(std::string(row.query.operation) + " " + std::to_string(count));
            Bytes reply = pattern(384);
            reply[0] = static_cast<std::uint8_t>(count);
            Area area;
            channel().forget();
            channel().answer(row.query.type, reply);
            EXPECT_EQ(slot<Query>(row.query.slot)(area.bytes.data()), 0);
            EXPECT_EQ(channel().frames(), (std::vector<Bytes>{{row.query.type, 0, 0, 0, 0}}));
            reply.resize(1 + static_cast<std::size_t>(count) * row.entry_size);
            EXPECT_TRUE(area.holds_only(reply));
        }
    }
}

TEST_F(AQuery, ForAListCopiesTheCountAsItStandsAndTheEntriesThatThePayloadHolds) {
    for (const ListRow& row : kListQueries) {
        for (const int count : {11, 100, 255}) {
            SCOPED_TRACE(std::string(row.query.operation) + " " + std::to_string(count));
            Bytes reply = pattern(384);
            reply[0] = static_cast<std::uint8_t>(count);
            Area area;
            channel().answer(row.query.type, reply);
            EXPECT_EQ(slot<Query>(row.query.slot)(area.bytes.data()), 0);
            EXPECT_TRUE(area.holds_only(reply));
        }
    }
}

TEST_F(AQuery, ForAListDoesNotCopyByTheReplysLength) {
    for (const ListRow& row : kListQueries) {
        SCOPED_TRACE(row.query.operation);
        Area area;
        channel().answer(row.query.type, {2, 0x77});  // two entries announced, one byte sent
        EXPECT_EQ(slot<Query>(row.query.slot)(area.bytes.data()), 0);
        Bytes expected(1 + 2 * row.entry_size, 0);
        expected[0] = 2;
        expected[1] = 0x77;
        EXPECT_TRUE(area.holds_only(expected));

        Area rest;
        Bytes reply = pattern(384);  // more bytes sent than announced
        reply[0] = 0;
        channel().answer(row.query.type, reply);
        EXPECT_EQ(slot<Query>(row.query.slot)(rest.bytes.data()), 0);
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

TEST_F(AQuery, ForTheScanFailsAsTheOthersDo) {
    Area area;
    EXPECT_EQ(ops->get_wifi_scanf_info(1, nullptr), -1);
    EXPECT_EQ(log_lines(),
              std::vector{failure_line("hi3861l_api_get_wifi_scanf_info", "param is invalid")});
    EXPECT_TRUE(channel().frames().empty());
    forget_log();
    channel().send_result = -1;
    EXPECT_EQ(ops->get_wifi_scanf_info(1, area.bytes.data()), -1);
    EXPECT_EQ(log_lines(), send_failure("hi3861l_api_get_wifi_scanf_info"));
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
