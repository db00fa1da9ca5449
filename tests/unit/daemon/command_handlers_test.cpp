// Every command handler against a recorded operations table.

#include "service_handlers.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>

#include "captured_output.h"
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

enum class Payload { kByte, kWord, kRecord, kPointer, kPointerAndLength, kNone };
using enum Payload;
constexpr bool kNo = false;
constexpr bool kYes = true;

struct CommandRow {
    const char* service;  // after "signal.quon.mcu."
    const char* handler;
    int slot;
    bool null_check;
    Payload payload;
    std::size_t size;  // bytes that are passed by value
    const char* failure;
};

// clang-format off
const CommandRow kCommands[] = {
    {"set.time",                "quon_mcu_set_time",                  4,  kNo,  kPointer,          0,   "mcu_set_time failed"},
    {"set.led",                 "quon_mcu_set_led_state",             6,  kNo,  kByte,             1,   "mcu_set_led_state failed"},
    {"set.pir.switch",          "quon_mcu_set_pir_switch",            8,  kNo,  kByte,             1,   "mcu_set_pir_switch failed"},
    {"set.pir.sensitivity",     "quon_mcu_set_pir_sensivity",         9,  kNo,  kByte,             1,   "mcu_set_pir_sensitivity failed"},
    {"set.pir.info",            "quon_mcu_set_pir_info",              11, kNo,  kRecord,           36,  "mcu_set_pir_info failed"},
    {"set.wifi.connect",        "quon_mcu_set_wifi_connect",          12, kNo,  kRecord,           134, "mcu_set_wifi_connect failed"},
    {"set.wifi.disconnect",     "quon_mcu_set_wifi_disconnect",       13, kNo,  kNone,             0,   "mcu_set_wifi_disconnect failed"},
    {"set.wifi.keepalive",      "quon_mcu_set_wifi_keepalive",        16, kNo,  kRecord,           164, "mcu_set_wifi_keepalive failed"},
    {"set.wifi.extended.info",  "quon_mcu_set_wifi_extended_info",    17, kNo,  kRecord,           66,  "mcu_set_wifi_extended_info failed"},
    {"set.system.state",        "quon_mcu_set_system_state",          19, kNo,  kByte,             1,   "mcu_set_system_state failed"},
    {"set.store.params",        "quon_mcu_set_store_params",          24, kNo,  kRecord,           48,  "mcu_set_store_params failed"},
    {"set.wdg.state",           "quon_mcu_set_wdg_state",             26, kNo,  kByte,             1,   "mcu_set_wdg_state failed"},
    {"set.wdg.period",          "quon_mcu_set_wdg_period",            28, kNo,  kWord,             4,   "mcu_set_wdg_period failed"},
    {"set.wdg.feed",            "quon_mcu_set_wdg_feed",              29, kNo,  kNone,             0,   "mcu_set_wdg_feed failed"},
    {"set.alarm",               "quon_mcu_set_alarm",                 30, kNo,  kRecord,           7,   "mcu_set_alarm failed"},
    {"set.ap.start",            "quon_mcu_set_ap_start",              32, kNo,  kRecord,           166, "mcu_set_ap_start failed"},
    {"set.ap.stop",             "quon_mcu_set_ap_stop",               33, kNo,  kNone,             0,   "mcu_set_ap_stop failed"},
    {"set.crash.test",          "quon_mcu_set_crash_test",            34, kNo,  kNone,             0,   "mcu_set_crash_test failed"},
    {"set.uart.switch",         "quon_mcu_set_uart_switch",           37, kNo,  kByte,             1,   "mcu_set_uart_switch failed"},
    {"set.wakeup.info",         "quon_mcu_set_wakeup_info",           38, kNo,  kRecord,           71,  "mcu_set_wakeup_info failed"},
    {"set.charge.auto.poweron", "quon_mcu_set_charge_auto_poweron",   40, kYes, kRecord,           67,  "mcu_set_charge_auto_poweron failed"},
    {"set.cmd",                 "quon_mcu_set_cmd",                   41, kNo,  kPointerAndLength, 4,   "mcu_set_cmd failed"},
    {"set.tamper.info",         "quon_mcu_set_tamper_switch",         42, kYes, kByte,             1,   "mcu_set_tamper_switch failed"},
    {"set.log.profile",         "quon_mcu_set_log_profile",           44, kYes, kRecord,           35,  "mcu_set_log_profile failed"},
    {"set.soc.time.info",       "quon_mcu_set_soc_poweron_time_info", 49, kYes, kRecord,           44,  "mcu_set_soc_poweron_time_info failed"},
};
// clang-format on
static_assert(std::size(kCommands) == 25);

struct UpgradeRow {
    const char* service;  // after "method.quon.mcu."
    const char* handler;
    int slot;
    std::size_t size;  // bytes that are passed by value
    bool pointer;
    const char* failure;
};

// clang-format off
const UpgradeRow kUpgrades[] = {
    {"upg.start",    "quon_mcu_upg_start",    21, 5, false, "mcu_upg_start failed"},
    {"upg.transmit", "quon_mcu_upg_transmit", 22, 0, true,  "mcu_upg_transmit failed"},
    {"upg.finish",   "quon_mcu_upg_finish",   23, 0, false, "mcu_upg_finish failed"},
};
// clang-format on

// Byte 1 is the level limit of "set.log.profile": everything stays visible.
Bytes request_that_shows_the_log() {
    Bytes request = numbered_request();
    request[1] = QN_LOG_DEBUG;
    return request;
}

// What the row's operation gets by value out of the request.
Bytes passed_values(const CommandRow& row, const Bytes& request) {
    if (row.payload == kPointerAndLength) {
        return {0x04, 0x11, 0, 0};  // 4356, the whole payload area
    }
    return {request.begin(), request.begin() + static_cast<std::ptrdiff_t>(row.size)};
}

TEST(EachCommand, PassesItsPayloadToItsOneSlot) {
    const Bytes request = request_that_shows_the_log();
    for (const CommandRow& row : kCommands) {
        SCOPED_TRACE(row.service);
        fresh_operations();
        const Outcome outcome = run_signal(signal_named(row.service), request);
        EXPECT_EQ(outcome.output, "");
        ASSERT_EQ(operations().called_slots(), std::vector<int>{row.slot});
        EXPECT_EQ(operations().calls[0].values, passed_values(row, request));
        const bool by_pointer = row.payload == kPointer || row.payload == kPointerAndLength;
        EXPECT_EQ(operations().calls[0].input, by_pointer ? request.data() : nullptr);
    }
}

TEST(EachCommand, LogsItsOwnFailureText) {
    const Bytes request = request_that_shows_the_log();
    for (const CommandRow& row : kCommands) {
        for (const std::int32_t result : {-1, 1}) {
            SCOPED_TRACE(row.service);
            fresh_operations().result = result;
            const Outcome outcome = run_signal(signal_named(row.service), request);
            EXPECT_EQ(outcome.output,
                      log_line("E/", row.handler, std::string("[") + row.failure + "] failed\n"));
            EXPECT_EQ(operations().calls.size(), 1U);
        }
    }
}

TEST(EachCommand, WithANullCheckLogsAnEmptySlotAndCallsNothing) {
    int checked = 0;
    for (const CommandRow& row : kCommands) {
        if (row.null_check) {
            SCOPED_TRACE(row.service);
            fresh_operations().empty_slot(row.slot);
            const Outcome outcome =
                run_signal(signal_named(row.service), request_that_shows_the_log());
            EXPECT_EQ(outcome.output, log_line("E/", row.handler, "func is null\n"));
            EXPECT_TRUE(operations().calls.empty());
            checked++;
        }
    }
    EXPECT_EQ(checked, 4);
}

TEST(EachCommandDeathTest, WithoutANullCheckCallsThroughAnEmptySlot) {
    const Bytes request = request_that_shows_the_log();
    for (const CommandRow& row : kCommands) {
        if (!row.null_check) {
            SCOPED_TRACE(row.service);
            fresh_operations().empty_slot(row.slot);
            EXPECT_DEATH(run_signal(signal_named(row.service), request), "");
        }
    }
}

TEST(EachCommand, ReadsAPayloadAtAnyAddress) {
    const Bytes request = request_that_shows_the_log();
    Bytes shifted(1);
    shifted.insert(shifted.end(), request.begin(), request.end());
    for (const CommandRow& row : kCommands) {
        SCOPED_TRACE(row.service);
        fresh_operations();
        signal_named(row.service)(shifted.data() + 1, DBUS_DATA_SIZE);
        ASSERT_EQ(operations().calls.size(), 1U);
        EXPECT_EQ(operations().calls[0].values, passed_values(row, request));
    }
}

TEST(EachCommand, ReadsItsWholeRecordWhateverTheRequestLength) {
    const Bytes request = request_that_shows_the_log();
    for (const CommandRow& row : kCommands) {
        for (const std::int32_t length : {0, 1, -1}) {
            if (row.payload != kPointerAndLength) {
                SCOPED_TRACE(row.service);
                fresh_operations();
                signal_named(row.service)(request.data(), length);
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
    for (const UpgradeRow& row : kUpgrades) {
        SCOPED_TRACE(row.service);
        fresh_operations();
        const Outcome outcome = run_method(method_named(row.service), request);
        EXPECT_EQ(outcome.result, 4);
        EXPECT_EQ(Bytes(outcome.reply.begin(), outcome.reply.begin() + 5),
                  (Bytes{0, 0, 0, 0, kUntouched}));
        EXPECT_EQ(outcome.output, "");
        ASSERT_EQ(operations().called_slots(), std::vector<int>{row.slot});
        EXPECT_EQ(operations().calls[0].input, row.pointer ? request.data() : nullptr);
        EXPECT_EQ(operations().calls[0].values,
                  Bytes(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(row.size)));
    }
}

TEST(EachUpgradeMethod, LogsItsFailureAndLeavesTheReplyAlone) {
    for (const UpgradeRow& row : kUpgrades) {
        for (const std::int32_t result : {-1, 4}) {
            SCOPED_TRACE(row.service);
            fresh_operations().result = result;
            const Outcome outcome = run_method(method_named(row.service), numbered_request());
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.reply, Bytes(DBUS_DATA_SIZE, kUntouched));
            EXPECT_EQ(outcome.output,
                      log_line("E/", row.handler, std::string("[") + row.failure + "] failed\n"));
        }
    }
}

TEST(EachUpgradeMethodDeathTest, CallsThroughAnEmptySlot) {
    for (const UpgradeRow& row : kUpgrades) {
        SCOPED_TRACE(row.service);
        fresh_operations().empty_slot(row.slot);
        EXPECT_DEATH(run_method(method_named(row.service), numbered_request()), "");
    }
}

TEST(AnUpgradeStart, PassesByte0AndTheLittleEndianWordBehindIt) {
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
              log_line("E/", "quon_mcu_set_log_profile", "func is null\n"));
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
