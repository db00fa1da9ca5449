// Every command handler against a recorded operations table.

#include "service_handlers.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>

#include "captured_output.h"
#include "expected_table.h"
#include "expected_texts.h"
#include "fake_operations.h"
#include "quon_log.h"
#include "services.h"

namespace {

std::mutex last_profile_lock;
QnLogProfile last_profile{};  // that was set

}  // namespace

extern "C" {

int __real_QnLogSetProfile(QnLogProfile profile);

int __wrap_QnLogSetProfile(QnLogProfile profile) {
    {
        const std::lock_guard<std::mutex> hold(last_profile_lock);
        last_profile = profile;
    }
    return __real_QnLogSetProfile(profile);
}

}  // extern "C"

namespace quon::test {
namespace {

signal_handler* handler_of(const ExpectedService& row) {
    return service_named(row.name).handler.signal;
}

method_handler* method_of(const ExpectedService& row) {
    return service_named(row.name).handler.method;
}

std::string failure_line(const ExpectedService& row) {
    return log_line("E/", row.handler, expected::failed(row.failure));
}

// Byte 1 is the level limit of "set.log.profile": everything stays visible.
Bytes request_that_shows_the_log() {
    Bytes request = numbered_request();
    request[1] = QN_LOG_DEBUG;
    return request;
}

// What the row's operation gets by value out of the request.
Bytes passed_values(const ExpectedService& row, const Bytes& request) {
    if (row.passed == Passed::kPointerAndLength) {
        return {0x04, 0x11, 0, 0};  // 4356, the whole payload area
    }
    return {request.begin(),
            request.begin() + (row.passed == Passed::kPointer ? 0 : row.request_size)};
}

const void* passed_pointer(const ExpectedService& row, const Bytes& request) {
    const bool by_pointer =
        row.passed == Passed::kPointer || row.passed == Passed::kPointerAndLength;
    return by_pointer ? request.data() : nullptr;
}

TEST(EachCommand, PassesItsPayloadToItsOneSlot) {
    const Bytes request = request_that_shows_the_log();
    for (const ExpectedService& row : expected::commands()) {
        SCOPED_TRACE(row.name);
        fresh_operations();
        const Outcome outcome = run_signal(handler_of(row), request);
        EXPECT_EQ(outcome.output, "");
        ASSERT_EQ(operations().called_slots(), std::vector<int>{row.slot});
        EXPECT_EQ(operations().calls[0].values, passed_values(row, request));
        EXPECT_EQ(operations().calls[0].input, passed_pointer(row, request));
    }
}

TEST(EachCommand, LogsItsOwnFailureText) {
    const Bytes request = request_that_shows_the_log();
    for (const ExpectedService& row : expected::commands()) {
        for (const std::int32_t result : {-1, 1}) {
            SCOPED_TRACE(row.name);
            fresh_operations().result = result;
            const Outcome outcome = run_signal(handler_of(row), request);
            EXPECT_EQ(outcome.output, failure_line(row));
            EXPECT_EQ(operations().calls.size(), 1U);
        }
    }
}

TEST(EachCommand, WithANullCheckLogsAnEmptySlotAndCallsNothing) {
    for (const ExpectedService& row : expected::commands()) {
        if (row.null_check == NullCheck::kYes) {
            SCOPED_TRACE(row.name);
            fresh_operations().empty_slot(row.slot);
            const Outcome outcome = run_signal(handler_of(row), request_that_shows_the_log());
            EXPECT_EQ(outcome.output, log_line("E/", row.handler, expected::kEmptySlot));
            EXPECT_TRUE(operations().calls.empty());
        }
    }
}

TEST(EachCommandDeathTest, WithoutANullCheckCallsThroughAnEmptySlot) {
    const Bytes request = request_that_shows_the_log();
    for (const ExpectedService& row : expected::commands()) {
        if (row.null_check == NullCheck::kNo) {
            SCOPED_TRACE(row.name);
            fresh_operations().empty_slot(row.slot);
            EXPECT_DEATH(run_signal(handler_of(row), request), "");
        }
    }
}

TEST(EachCommand, ReadsAPayloadAtAnyAddress) {
    const Bytes request = request_that_shows_the_log();
    Bytes shifted(1);
    shifted.insert(shifted.end(), request.begin(), request.end());
    for (const ExpectedService& row : expected::commands()) {
        SCOPED_TRACE(row.name);
        fresh_operations();
        handler_of(row)(shifted.data() + 1, DBUS_DATA_SIZE);
        ASSERT_EQ(operations().calls.size(), 1U);
        EXPECT_EQ(operations().calls[0].values, passed_values(row, request));
    }
}

TEST(EachCommand, ReadsItsWholeRecordWhateverTheRequestLength) {
    const Bytes request = request_that_shows_the_log();
    for (const ExpectedService& row : expected::commands()) {
        for (const std::int32_t length : {0, 1, -1}) {
            if (row.passed != Passed::kPointerAndLength) {
                SCOPED_TRACE(row.name);
                fresh_operations();
                handler_of(row)(request.data(), length);
                ASSERT_EQ(operations().calls.size(), 1U);
                EXPECT_EQ(operations().calls[0].values, passed_values(row, request));
            }
        }
    }
}

TEST(TheRawCommand, PassesItsLengthOnBitForBit) {
    const std::pair<std::int32_t, Bytes> lengths[] = {
        {0, {0, 0, 0, 0}}, {3, {3, 0, 0, 0}}, {-1, {0xff, 0xff, 0xff, 0xff}}};
    const Bytes request = numbered_request();
    for (const auto& [length, image] : lengths) {
        fresh_operations();
        quon_mcu_set_cmd(request.data(), length);
        ASSERT_EQ(operations().calls.size(), 1U);
        EXPECT_EQ(operations().calls[0].input, request.data());
        EXPECT_EQ(operations().calls[0].values, image);
    }
}

TEST(EachUpgradeMethod, RepliesWithAZeroWordOf4Bytes) {
    const Bytes request = numbered_request();
    for (const ExpectedService& row : expected::upgrades()) {
        SCOPED_TRACE(row.name);
        fresh_operations();
        const Outcome outcome = run_method(method_of(row), request);
        EXPECT_EQ(outcome.result, 4);
        EXPECT_EQ(Bytes(outcome.reply.begin(), outcome.reply.begin() + 5),
                  (Bytes{0, 0, 0, 0, kUntouched}));
        EXPECT_EQ(outcome.output, "");
        ASSERT_EQ(operations().called_slots(), std::vector<int>{row.slot});
        EXPECT_EQ(operations().calls[0].input, passed_pointer(row, request));
        EXPECT_EQ(operations().calls[0].values, passed_values(row, request));
    }
}

TEST(EachUpgradeMethod, LogsItsFailureAndLeavesTheReplyAlone) {
    for (const ExpectedService& row : expected::upgrades()) {
        for (const std::int32_t result : {-1, 4}) {
            SCOPED_TRACE(row.name);
            fresh_operations().result = result;
            const Outcome outcome = run_method(method_of(row), numbered_request());
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.reply, Bytes(DBUS_DATA_SIZE, kUntouched));
            EXPECT_EQ(outcome.output, failure_line(row));
        }
    }
}

TEST(EachUpgradeMethodDeathTest, CallsThroughAnEmptySlot) {
    for (const ExpectedService& row : expected::upgrades()) {
        SCOPED_TRACE(row.name);
        fresh_operations().empty_slot(row.slot);
        EXPECT_DEATH(run_method(method_of(row), numbered_request()), "");
    }
}

TEST(AnUpgradeStart, PassesByte0AndTheLittleEndianWordAfterIt) {
    fresh_operations();
    run_method(quon_mcu_upg_start, {0xa5, 0x78, 0x56, 0x34, 0x12});
    ASSERT_EQ(operations().calls.size(), 1U);
    EXPECT_EQ(operations().calls[0].values, (Bytes{0xa5, 0x78, 0x56, 0x34, 0x12}));
}

// ---- The daemon's own log profile -------------------------------------------------------------

QnLogProfile profile_now() {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    return profile;
}

Bytes profile_request(std::uint8_t first, std::uint8_t second) {
    Bytes request(DBUS_DATA_SIZE);
    request[0] = first;
    request[1] = second;
    return request;
}

void some_hook(QnLogRecord) {}

TEST(TheLogProfileCommand, SetsTheLevelLimitFromByte1AndKeepsTheOtherMembers) {
    fresh_operations();
    QnLogProfile before = profile_now();
    before.fmt_mask = 0x33;
    before.hook = some_hook;
    QnLogSetProfile(before);
    quon_mcu_set_log_profile(profile_request(2, 3).data(), 2);
    const QnLogProfile after = profile_now();
    EXPECT_EQ(after.level_limit, 3U);
    EXPECT_EQ(after.fmt_mask, 0x33U);
    EXPECT_EQ(after.hook, some_hook);
    EXPECT_EQ(after.enable, 1);  // a profile that is set never changes it
}

TEST(TheLogProfileCommand, PutsByte0IntoTheFirstMemberAndByte1IntoTheThird) {
    fresh_operations();
    quon_mcu_set_log_profile(profile_request(2, 1).data(), 2);
    EXPECT_EQ(last_profile.enable, 2);
    EXPECT_EQ(last_profile.level_limit, 1U);
}

TEST(TheLogProfileCommand, TurnsEveryLevelOnWith01And04) {
    fresh_operations();
    quon_mcu_set_log_profile(profile_request(1, 4).data(), 2);
    EXPECT_EQ(profile_now().level_limit, 4U);
}

TEST(TheLogProfileCommand, ExtendsByte1WithZeros) {
    fresh_operations();
    quon_mcu_set_log_profile(profile_request(0, 0xff).data(), 2);
    EXPECT_EQ(profile_now().level_limit, 255U);
    EXPECT_EQ(profile_now().enable, 1);
}

TEST(TheLogProfileCommand, ChangesTheDaemonsProfileBeforeItReportsTheEmptySlot) {
    fresh_operations().empty_slot(44);
    EXPECT_EQ(run_signal(quon_mcu_set_log_profile, profile_request(2, 1)).output,
              log_line("E/", "quon_mcu_set_log_profile", expected::kEmptySlot));
    EXPECT_EQ(profile_now().level_limit, 1U);
    EXPECT_EQ(run_signal(quon_mcu_set_log_profile, profile_request(2, 0)).output, "");
    EXPECT_EQ(profile_now().level_limit, 0U);
}

TEST(TheLogProfileCommand, AlsoPasses35BytesToAChipThatHasTheSlot) {
    fresh_operations();
    Bytes request = numbered_request();
    request[1] = QN_LOG_ERROR;
    quon_mcu_set_log_profile(request.data(), 35);
    ASSERT_EQ(operations().called_slots(), std::vector<int>{44});
    EXPECT_EQ(operations().calls[0].values, Bytes(request.begin(), request.begin() + 35));
}

TEST(TheLogProfileCommand, MayRunConcurrentlyAndTheLastOneWins) {
    fresh_operations().empty_slot(44);
    const Bytes one = profile_request(0, 0);
    const Bytes other = profile_request(0, 0);
    const auto repeat = [](const Bytes& request) {
        for (int i = 0; i < 200; i++) {
            quon_mcu_set_log_profile(request.data(), 2);
        }
    };
    std::thread thread([&] { repeat(one); });
    repeat(other);
    thread.join();
    EXPECT_EQ(profile_now().level_limit, 0U);
}

}  // namespace
}  // namespace quon::test
