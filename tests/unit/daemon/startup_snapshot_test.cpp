// The start-up snapshot against a recorded operations table and a clock of the test's own.

#include "startup_snapshot.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.h"
#include "expected_table.h"
#include "expected_texts.h"
#include "fake_operations.h"
#include "mcu_records.h"
#include "remote_wakeup.h"
#include "service_handlers.h"

namespace {

std::atomic<std::int64_t> test_clock_ns{-1};  // below 0: the real clock

void set_clock_ms(std::int64_t milliseconds) {
    test_clock_ns = milliseconds * 1'000'000;
}

}  // namespace

extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* now);

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    const std::int64_t ns = test_clock_ns;
    if (ns < 0 || clock != CLOCK_MONOTONIC) {
        return __real_clock_gettime(clock, now);
    }
    now->tv_sec = static_cast<time_t>(ns / 1'000'000'000);
    now->tv_nsec = static_cast<long>(ns % 1'000'000'000);
    return 0;
}

}  // extern "C"

namespace quon::test {
namespace {

// What the chip answers to each query of the snapshot.
struct Field {
    int slot;
    std::size_t offset;
    std::size_t size;
};

const Field kFields[] = {
    // in the order of the snapshot
    {3, 0, 71}, {5, 71, 10}, {7, 81, 5}, {14, 86, 70}, {15, 156, 160}, {25, 316, 48}, {2, 364, 32},
};
const std::vector<int> kOrder = {3, 5, 7, 14, 15, 25, kHandOffStart, 2};

constexpr std::size_t kContextSize = 400;
constexpr std::size_t kStartOffset = 396;

const Field& field_of(int slot) {
    for (const Field& field : kFields) {
        if (field.slot == slot) {
            return field;
        }
    }
    throw std::invalid_argument("slot");
}

Bytes answer_of(const Field& field) {
    if (field.slot == 2) {
        return bytes_of(std::string("V9.8.7") + '\0');
    }
    return Bytes(field.size, static_cast<std::uint8_t>(0x40 + field.slot));
}

// Store params whose server address is 10.1.2.3 and whose port is 0x1234.
Bytes store_params(const Bytes& address = {10, 1, 2, 3}, const Bytes& port = {0x34, 0x12}) {
    Bytes record(48, 0x77);
    std::copy(address.begin(), address.end(), record.begin() + 38);
    std::copy(port.begin(), port.end(), record.begin() + 42);
    return record;
}

Bytes little_endian(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

void put(Bytes& context, std::size_t offset, const Bytes& field) {
    std::copy(field.begin(), field.end(), context.begin() + static_cast<std::ptrdiff_t>(offset));
}

// A chip that answers every query of the snapshot, each after 10 ms.
FakeOperations& answering_operations() {
    set_clock_ms(5000);
    fresh_operations().on_call = [](int slot) {
        operations().reply = answer_of(field_of(slot));
        test_clock_ns += 10'000'000;
    };
    return operations();
}

// The same, but for one record.
void answer_with(int slot, const Bytes& record) {
    operations().on_call = [slot, record, usual = operations().on_call](int asked) {
        usual(asked);
        if (asked == slot) {
            operations().reply = record;
        }
    };
}

Bytes context() {
    const Outcome outcome = run_method(quon_mcu_get_allwakeup_info, {});
    EXPECT_EQ(outcome.result, 400);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.reply[kContextSize], kUntouched);
    return {outcome.reply.begin(), outcome.reply.begin() + kContextSize};
}

Bytes socup_time() {
    const Outcome outcome = run_method(quon_mcu_get_socup_time, {});
    EXPECT_EQ(outcome.result, 12);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.reply[12], kUntouched);
    return {outcome.reply.begin(), outcome.reply.begin() + 12};
}

std::string output_of_snapshot() {
    show_whole_log();
    return captured_output(quon_mcu_startup_snapshot);
}

TEST(TheWakeUpContext, IsZeroBeforeTheSnapshot) {
    fresh_operations();
    EXPECT_EQ(context(), Bytes(kContextSize));
    EXPECT_TRUE(operations().calls.empty());
}

TEST(TheSnapshot, AsksForEachFieldOnceInItsOrderAndStartsTheHandOffBeforeTheVersion) {
    answering_operations();
    EXPECT_EQ(output_of_snapshot(), "");
    EXPECT_EQ(operations().called_slots(), kOrder);
}

TEST(TheSnapshot, PutsEachFieldAtItsOffsetAndTheStartTimeAfterTheWakeUpQuery) {
    answering_operations();
    quon_mcu_startup_snapshot();
    Bytes expected(kContextSize);
    for (const Field& field : kFields) {
        put(expected, field.offset, answer_of(field));
    }
    put(expected, kStartOffset, little_endian(5010));
    EXPECT_EQ(context(), expected);
}

TEST(TheSnapshot, IsTakenOnceAndNeverRefreshed) {
    answering_operations();
    quon_mcu_startup_snapshot();
    const Bytes taken = context();
    const std::size_t calls = operations().calls.size();
    set_clock_ms(90000);
    EXPECT_EQ(context(), taken);
    EXPECT_EQ(operations().calls.size(), calls);
}

TEST(TheSnapshot, GoesOnWhenEveryQueryFails) {
    answering_operations().result = -1;
    operations().on_call = [](int) {};
    std::string lines;
    for (const Field& field : kFields) {
        const ExpectedService& query = expected::service_of(expected::operation_in(field.slot));
        lines += log_line("E/", query.handler, expected::failed(query.failure));
    }
    EXPECT_EQ(output_of_snapshot(), lines);
    EXPECT_EQ(operations().called_slots(), kOrder);
    Bytes expected(kContextSize);
    put(expected, kStartOffset, little_endian(5000));
    EXPECT_EQ(context(), expected);
}

TEST(TheSnapshot, KeepsWhatAFailedQueryWrote) {
    answering_operations().result = -1;
    quon_mcu_startup_snapshot();
    EXPECT_EQ(context()[0], answer_of(kFields[0])[0]);
    EXPECT_EQ(context()[71], answer_of(kFields[1])[0]);
}

TEST(TheSnapshot, DecidesFromTheReasonThatAFailedQueryLeft) {
    answering_operations().result = -1;
    answer_with(3, {13});
    quon_mcu_startup_snapshot();
    EXPECT_EQ(operations().hand_off.remote_wakeup, 1U);
}

// Every answer as long as a payload: what goes beyond its field shows nowhere, not in another field
// and not as the start time.
TEST(TheSnapshot, KeepsOfAnOverLongAnswerWhatItsFieldHolds) {
    answering_operations();
    operations().on_call = [](int slot) {
        operations().reply.assign(kMcuReplyAreaSize, static_cast<std::uint8_t>(0x40 + slot));
        if (slot == 2) {
            operations().reply.push_back('\0');
        }
    };
    quon_mcu_startup_snapshot();
    Bytes expected(kContextSize);
    for (const Field& field : kFields) {
        put(expected, field.offset,
            Bytes(field.size, static_cast<std::uint8_t>(0x40 + field.slot)));
    }
    put(expected, kStartOffset, little_endian(5000));
    EXPECT_EQ(context(), expected);
    set_clock_ms(5000 + 250);
    const Bytes socup = socup_time();
    EXPECT_EQ(Bytes(socup.begin() + 8, socup.end()), little_endian(250));
}

// ---- The hand-off record ----------------------------------------------------------------------

TEST(TheHandOffRecord, AsksForAWakeUpForTheReasons1And3And13Alone) {
    for (int reason = 0; reason < 256; reason++) {
        answering_operations();
        answer_with(3, Bytes(71, static_cast<std::uint8_t>(reason)));
        quon_mcu_startup_snapshot();
        const bool wanted = reason == 1 || reason == 3 || reason == 13;
        EXPECT_EQ(operations().hand_off.remote_wakeup, wanted ? 1U : 0U) << reason;
        EXPECT_EQ(operations().hand_off.get_ip_update_status, quon_mcu_get_ipaddr_update_status);
    }
}

struct ServerRow {
    const char* what;
    Bytes address;
    Bytes port;
    std::int32_t result;  // of the store params query
    bool taken;
};

TEST(TheHandOffRecord, TakesTheServerOnlyWhenTheQuerySucceededAndBothPartsAreThere) {
    const ServerRow rows[] = {
        {"both", {10, 1, 2, 3}, {0x34, 0x12}, 0, true},
        {"last bytes only", {0, 0, 0, 1}, {0, 0x12}, 0, true},
        {"port 0", {10, 1, 2, 3}, {0, 0}, 0, false},
        {"address 0", {0, 0, 0, 0}, {0x34, 0x12}, 0, false},
        {"failed query", {10, 1, 2, 3}, {0x34, 0x12}, -1, false},
    };
    for (const ServerRow& row : rows) {
        SCOPED_TRACE(row.what);
        answering_operations().result = row.result;
        answer_with(25, store_params(row.address, row.port));
        quon_mcu_startup_snapshot();
        std::uint32_t address = 0;
        std::memcpy(&address, row.address.data(), 4);  // as stored, into sin_addr
        const auto port = static_cast<std::uint16_t>(row.port[0] | row.port[1] << 8);
        EXPECT_EQ(operations().hand_off.server_ip, row.taken ? address : 0U);
        EXPECT_EQ(operations().hand_off.server_port, row.taken ? port : 0);
    }
}

TEST(TheHandOffRecord, MayBeRefusedWithoutAnyEffect) {
    answering_operations().hand_off_result = 7;
    EXPECT_EQ(output_of_snapshot(), "");
    EXPECT_EQ(operations().called_slots(), kOrder);
}

// ---- "get.socup.time" -------------------------------------------------------------------------

TEST(TheSocUpTime, IsTwoWordsOfTheWakeUpRecordAndTheMillisecondsSinceTheSnapshot) {
    answering_operations();
    Bytes wakeup(71);
    put(wakeup, 60, {0x01, 0x02, 0x03, 0x04, 0x11, 0x12, 0x13, 0x14});
    answer_with(3, wakeup);
    quon_mcu_startup_snapshot();
    set_clock_ms(5010 + 1500);
    Bytes expected = {0x01, 0x02, 0x03, 0x04, 0x11, 0x12, 0x13, 0x14, 0, 0, 0, 0};
    put(expected, 8, little_endian(1500));
    EXPECT_EQ(socup_time(), expected);
    EXPECT_EQ(operations().calls.size(), kOrder.size());
}

TEST(TheSocUpTime, CountsAcrossTheWrapOfTheClock) {
    answering_operations();
    set_clock_ms((std::int64_t{1} << 32) - 100);
    quon_mcu_startup_snapshot();
    set_clock_ms((std::int64_t{1} << 32) + 400);
    const Bytes time = socup_time();
    EXPECT_EQ(Bytes(time.begin() + 8, time.end()), little_endian(490));
}

TEST(TheSocUpTime, CountsFromZeroBeforeTheSnapshot) {
    fresh_operations();
    set_clock_ms(1234);
    const Bytes time = socup_time();
    EXPECT_EQ(Bytes(time.begin() + 8, time.end()), little_endian(1234));
}

TEST(TheMonotonicClock, CountsWholeMillisecondsIn32Bits) {
    const std::pair<std::int64_t, std::uint32_t> rows[] = {
        {0, 0},
        {999'999, 0},
        {1'000'000, 1},
        {1'999'999'999, 1999},
        {4'294'967'295'000'000, 4294967295U},
        {4'294'967'296'000'000, 0},
        {4'294'967'297'000'000, 1},
    };
    for (const auto& [ns, expected] : rows) {
        test_clock_ns = ns;
        EXPECT_EQ(quon_mcu_monotonic_ms(), expected) << ns;
    }
}

// ---- The question of the hand-off thread ------------------------------------------------------

TEST(TheNetworkCheck, ReturnsTheSizeOfTheFlagThatTheDriverFills) {
    fresh_operations().reply = {1, 0, 0, 0};
    int value = 0;
    EXPECT_EQ(quon_mcu_get_ipaddr_update_status(&value), 4);
    EXPECT_EQ(value, 1);
    ASSERT_EQ(operations().called_slots(), std::vector<int>{47});
    EXPECT_EQ(operations().calls[0].output, &value);
}

TEST(TheNetworkCheck, LogsAFailure) {
    fresh_operations().result = -1;
    show_whole_log();
    int value = 0;
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(quon_mcu_get_ipaddr_update_status(&value), -1); }),
              log_line("E/", "quon_mcu_get_ipaddr_update_status",
                       expected::failed("mcu_get_ipaddr_update_status failed")));
}

TEST(TheNetworkCheck, LogsAnEmptySlot) {
    fresh_operations().empty_slot(47);
    show_whole_log();
    int value = 0;
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(quon_mcu_get_ipaddr_update_status(&value), -1); }),
              log_line("E/", "quon_mcu_get_ipaddr_update_status", expected::kEmptySlot));
    EXPECT_TRUE(operations().calls.empty());
}

// ---- Peers that ask too early -----------------------------------------------------------------

TEST(APeerThatAsksDuringTheSnapshot, GetsAPartOfItAndNoRaceIsReported) {
    answering_operations();
    std::atomic<bool> done{false};
    std::vector<std::thread> peers;
    peers.reserve(3);
    for (int i = 0; i < 3; i++) {
        peers.emplace_back([&done] {
            Bytes reply(DBUS_DATA_SIZE);
            while (!done) {
                EXPECT_EQ(quon_mcu_get_allwakeup_info(nullptr, 0, reply.data(), DBUS_DATA_SIZE),
                          400);
                EXPECT_EQ(quon_mcu_get_socup_time(nullptr, 0, reply.data(), DBUS_DATA_SIZE), 12);
            }
        });
    }
    for (int i = 0; i < 200; i++) {
        quon_mcu_startup_snapshot();
    }
    done = true;
    for (std::thread& peer : peers) {
        peer.join();
    }
    EXPECT_EQ(context()[71], answer_of(kFields[1])[0]);
}

TEST(APeerThatAsksDuringTheSnapshot, SeesTheFieldsThatAreThere) {
    answering_operations();
    Bytes seen;
    operations().on_call = [&seen, usual = operations().on_call](int slot) {
        if (slot == 14) {
            seen = context();
        }
        usual(slot);
    };
    quon_mcu_startup_snapshot();
    Bytes expected(kContextSize);
    for (const Field& field : kFields) {
        if (field.offset < 86) {
            put(expected, field.offset, answer_of(field));
        }
    }
    put(expected, kStartOffset, little_endian(5010));
    EXPECT_EQ(seen, expected);
}

}  // namespace
}  // namespace quon::test
