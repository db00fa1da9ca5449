#include <chrono>
#include <string>

#include "driver_world.h"
#include "expected_texts.h"
#include "operation_calls.h"

namespace quon::test {
namespace {

// What a command logs when the channel refuses it.
std::vector<LogLine> send_failure(const char* operation) {
    return {driver_line(1, "hi3861l_send_data", expected::kChannelFailedLine),
            driver_line(1, "hi3861l_send_msg_async", expected::kSendDataFailedLine),
            failure_line(operation, expected::kAsyncSendFailed)};
}

// What a synchronous one logs then.
std::vector<LogLine> exchange_failure(const char* operation) {
    return {driver_line(1, "hi3861l_send_data", expected::kChannelFailedLine),
            driver_line(1, "hi3861l_send_msg_sync", expected::kSendDataFailedLine),
            failure_line(operation, expected::kSyncSendFailed)};
}

// The bytes of `body` that the operation sends.
Bytes sent_of(const ExpectedOperation& row, const Bytes& body) {
    return row.request_size == kAnySize ? body
                                        : Bytes(body.begin(), body.begin() + row.request_size);
}

class ACommand : public AStartedDriver {};

TEST_F(ACommand, SendsItsTypeItsLengthAndItsArgumentWithoutWaiting) {
    for (const ExpectedOperation& row : expected::sending_operations()) {
        SCOPED_TRACE(row.name);
        channel().forget();
        forget_log();
        EXPECT_EQ(call_operation(row, pattern(200)), 0);
        EXPECT_EQ(channel().frames(),
                  (std::vector<Bytes>{chip_frame(row.message(), sent_of(row, pattern(200)))}));
        EXPECT_EQ(log_lines_up_to(2), std::vector<LogLine>{});
    }
}

TEST_F(ACommand, ReportsAFailedSendUnderItsOwnName) {
    channel().send_result = -1;
    for (const ExpectedOperation& row : expected::sending_operations()) {
        SCOPED_TRACE(row.name);
        forget_log();
        EXPECT_EQ(call_operation(row, pattern(200)), -1);
        EXPECT_EQ(log_lines_up_to(2), send_failure(row.name));
    }
}

TEST_F(ACommand, ThatFeedsTheWatchdogIsFiveBytesLong) {
    EXPECT_EQ(ops->set_wdg_feed(), 0);
    EXPECT_EQ(channel().frames(), (std::vector<Bytes>{from_hex("97 00 00 00 00")}));
}

TEST_F(ACommand, ForTheWatchdogPeriodIsLittleEndian) {
    EXPECT_EQ(ops->set_wdg_period(0x89abcdef), 0);
    EXPECT_EQ(channel().frames(), (std::vector<Bytes>{from_hex("96 04 00 00 00 ef cd ab 89")}));
}

TEST_F(ACommand, ForTheTimeRefusesANullPointer) {
    EXPECT_EQ(ops->set_time(nullptr), -1);
    EXPECT_EQ(log_lines(),
              std::vector{failure_line("hi3861l_api_set_time", expected::kInvalidParam)});
    EXPECT_TRUE(channel().frames().empty());
}

TEST_F(ACommand, ForTheTimeLogsItAfterSending) {
    struct Row {
        const char* record;
        const char* text;
    };
    const Row rows[] = {
        {"18 0b 10 07 3b 01 00 00 00 00", "time: 2024-11-16 07:59:01\n"},
        {"00 01 02 03 04 05 06 07 08 09", "time: 2000-01-02 03:04:05\n"},
        {"ff fe fd fc fb fa 00 00 00 00", "time: 1999--2--3 -4:-5:-6\n"},  // signed bytes
    };
    for (const Row& row : rows) {
        forget_log();
        EXPECT_EQ(ops->set_time(from_hex(row.record).data()), 0);
        EXPECT_EQ(log_lines(), std::vector{driver_line(3, "hi3861l_api_set_time", row.text)});
    }
    forget_log();
    channel().send_result = -1;
    EXPECT_EQ(ops->set_time(from_hex(rows[0].record).data()), -1);
    EXPECT_EQ(log_lines(), send_failure("hi3861l_api_set_time"));
}

TEST_F(ACommand, ForTheSystemStateLogsItBeforeSending) {
    channel().send_result = -1;
    EXPECT_EQ(ops->set_system_state(200), -1);
    std::vector<LogLine> lines = send_failure("hi3861l_api_set_system_state");
    lines.insert(lines.begin(),
                 driver_line(3, "hi3861l_api_set_system_state", "enSysState: 200\n"));
    EXPECT_EQ(log_lines(), lines);
}

// --- the raw command

TEST_F(ACommand, ThatIsRawCarriesTheCallersBytes) {
    for (const std::size_t size : {0U, 1U, 100U, 383U, 384U}) {
        SCOPED_TRACE(size);
        channel().forget();
        EXPECT_EQ(ops->set_cmd(pattern(384).data(), static_cast<std::int32_t>(size)), 0);
        EXPECT_EQ(channel().frames(), (std::vector<Bytes>{chip_frame(0xa5, pattern(size))}));
    }
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});
}

TEST_F(ACommand, ThatIsRawMustFitAPayload) {
    struct Row {
        bool null;
        std::int32_t len;
    };
    const Row rows[] = {{false, 385},       {false, 4356}, {false, INT32_MAX}, {false, -1},
                        {false, INT32_MIN}, {true, 0},     {true, 5}};
    const Bytes bytes = pattern(385);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.len);
        forget_log();
        EXPECT_EQ(ops->set_cmd(row.null ? nullptr : bytes.data(), row.len), -1);
        EXPECT_EQ(log_lines(),
                  std::vector{failure_line("hi3861l_api_set_cmd", expected::kInvalidParam)});
    }
    EXPECT_TRUE(channel().frames().empty());
}

TEST_F(ACommand, ThatIsRawReportsAFailedSend) {
    channel().send_result = -1;
    EXPECT_EQ(ops->set_cmd(pattern(1).data(), 1), -1);
    EXPECT_EQ(log_lines(), send_failure("hi3861l_api_set_cmd"));
}

// --- firmware upgrade

class AnUpgrade : public AStartedDriver {
  protected:
    // A block of the caller: word, N, 256 data bytes, trailing byte.
    static Bytes block(std::uint32_t data_length) {
        Bytes bytes = pattern(265);
        for (std::size_t i = 0; i < 4; i++) {
            bytes[4 + i] = static_cast<std::uint8_t>(data_length >> (8 * i));
        }
        return bytes;
    }

    static Bytes answer_of(std::uint8_t byte4) { return {0xa1, 0xa1, 0xa1, 0xa1, byte4, 0xa1}; }
};

TEST_F(AnUpgrade, StartsWithAByteAndALittleEndianWord) {
    channel().answer(0x8f, {});
    EXPECT_EQ(ops->upg_start(0x7f, 0x12345678), 0);
    EXPECT_EQ(channel().frames(), (std::vector<Bytes>{from_hex("8f 05 00 00 00 7f 78 56 34 12")}));
    EXPECT_EQ(log_lines(), std::vector{driver_line(3, "hi3861l_api_upg_start", "upgrade start\n")});
}

TEST_F(AnUpgrade, ReportsAStartThatCannotBeSent) {
    channel().send_result = -1;
    EXPECT_EQ(ops->upg_start(1, 2), -1);
    std::vector<LogLine> lines = exchange_failure("hi3861l_api_upg_start");
    lines.insert(lines.begin(), driver_line(3, "hi3861l_api_upg_start", "upgrade start\n"));
    EXPECT_EQ(log_lines(), lines);
}

TEST_F(AnUpgrade, WaitsThreeSecondsForTheAnswerToItsStart) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ops->upg_start(1, 2), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2999));
    EXPECT_EQ(log_lines_up_to(1),
              std::vector{failure_line("hi3861l_api_upg_start", expected::kSyncSendFailed)});
}

TEST_F(AnUpgrade, SendsABlockWithAsMuchDataAsItSaysItHas) {
    struct Row {
        std::uint32_t announced;
        std::size_t copied;
    };
    const Row rows[] = {{0, 0},     {1, 1},     {255, 255},       {256, 256},
                        {257, 256}, {384, 256}, {0xffffffff, 256}};
    channel().answer(0x90, answer_of(0xa1));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.announced);
        Bytes body = block(row.announced);
        channel().forget();
        EXPECT_EQ(ops->upg_transmit(body.data()), 0);
        std::fill(body.begin() + 8 + static_cast<std::ptrdiff_t>(row.copied), body.begin() + 264,
                  std::uint8_t{0});
        EXPECT_EQ(channel().frames(), (std::vector<Bytes>{chip_frame(0x90, body)}));
    }
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});
}

TEST_F(AnUpgrade, TakesABlockAsAcceptedOnlyByByte4OfTheAnswer) {
    struct Row {
        Bytes answer;
        std::int32_t result;
    };
    const Row rows[] = {{answer_of(0xa1), 0},
                        {answer_of(0x00), -1},
                        {answer_of(0xa0), -1},
                        {{0xa1, 0xa1, 0xa1, 0xa1}, -1},
                        {{}, -1},
                        {{0, 0, 0, 0, 0xa1}, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(to_hex(row.answer));
        channel().answer(0x90, row.answer);
        EXPECT_EQ(ops->upg_transmit(block(256).data()), row.result);
    }
    EXPECT_EQ(log_lines(), std::vector<LogLine>{});  // a refusal is not logged
}

TEST_F(AnUpgrade, ReportsABlockThatCannotBeSentAndRefusesANullPointer) {
    channel().send_result = -1;
    EXPECT_EQ(ops->upg_transmit(block(1).data()), -1);
    EXPECT_EQ(log_lines(), exchange_failure("hi3861l_api_upg_transmit"));
    forget_log();
    EXPECT_EQ(ops->upg_transmit(nullptr), -1);
    EXPECT_EQ(log_lines(),
              std::vector{failure_line("hi3861l_api_upg_transmit", expected::kInvalidParam)});
}

TEST_F(AnUpgrade, FinishesWithAnEmptyMessageAndALogLine) {
    EXPECT_EQ(ops->upg_finish(), 0);
    EXPECT_EQ(channel().frames(), (std::vector<Bytes>{from_hex("91 00 00 00 00")}));
    EXPECT_EQ(log_lines(),
              std::vector{driver_line(3, "hi3861l_api_upg_finish", "upgrade finish\n")});
    forget_log();
    channel().send_result = -1;
    EXPECT_EQ(ops->upg_finish(), -1);
    std::vector<LogLine> lines = send_failure("hi3861l_api_upg_finish");
    lines.insert(lines.begin(), driver_line(3, "hi3861l_api_upg_finish", "upgrade finish\n"));
    EXPECT_EQ(log_lines(), lines);
}

}  // namespace
}  // namespace quon::test
