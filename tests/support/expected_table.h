// The services on the bus and the messages to the chip, typed independently: the tests' only copy.
// It includes and computes nothing from the code, so that an error there cannot change the
// expectation. The texts of failures are in expected_texts.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quon::test {

// How a handler passes its request to its operation.
enum class Passed {
    kNothing,
    kByte,  // request byte 0
    kWord,  // request bytes 0 to 3
    kRecord,
    kByteAndWord,
    kPointer,
    kPointerAndLength,
    kText,  // of a shell command
};

// The source of a reply.
enum class Reply {
    kNone,          // a signal's
    kDirect,        // the operation writes into the reply
    kStaged,        // into a local record, copied on success
    kTextDirect,    // a text, written into the reply
    kTextStaged,    // a text, through a local one
    kTextOfNumber,  // one digit
    kZeroWord,
    kSnapshot,  // no operation
    kShell,     // no operation either
};

enum class NullCheck : bool { kNo, kYes };

inline constexpr int kNoSlot = -1;
inline constexpr int kAnySize = -1;  // chosen by the sender

struct ExpectedService {
    int index;
    const char* name;
    const char* handler;
    int slot;
    NullCheck null_check;
    Passed passed;
    int request_size;
    Reply reply;
    int reply_size;
    const char* failure;  // null: no log line

    constexpr bool is_signal() const { return reply == Reply::kNone; }
    constexpr bool is_upgrade() const { return reply == Reply::kZeroWord; }
    constexpr bool is_query() const { return slot != kNoSlot && !is_signal() && !is_upgrade(); }
    // Without "method.quon.mcu." or "signal.quon.mcu.".
    constexpr const char* short_name() const { return name + 16; }
};

enum class Answer {
    kNone,      // the message is sent without waiting
    kByLength,  // copied by the answer's own length
    kText,
    kList,     // a count byte, then that many entries
    kAwaited,  // its bytes are not used
};

inline constexpr int kNoMessage = -1;

struct ExpectedOperation {
    int slot;
    const char* name;
    int type;
    int timeout_ms;    // 0: no answer is awaited
    int request_size;  // of the payload
    Answer answer;
    int entry_size;  // of a list

    constexpr bool sends() const { return type != kNoMessage; }
    constexpr bool waits() const { return answer != Answer::kNone; }
    constexpr bool only_sends() const { return sends() && !waits(); }
    constexpr bool fills_area() const { return waits() && answer != Answer::kAwaited; }
    constexpr std::uint8_t message() const { return static_cast<std::uint8_t>(type); }
};

namespace expected {

using enum Passed;
using enum NullCheck;

// clang-format off
inline constexpr ExpectedService kServices[] = {
    // index, service, handler, slot, null check, request passed as, bytes, reply, bytes, failure
    {0,  "method.quon.mcu.get.ver",                  "quon_mcu_get_version",                   2,       kNo,  kNothing,          0,        Reply::kTextDirect,   kAnySize, "mcu_get_version failed"},
    {1,  "method.quon.mcu.get.wakeup.info",          "quon_mcu_get_wakeup_info",               3,       kNo,  kNothing,          0,        Reply::kDirect,       71,       "mcu_get_wakeup_info failed"},
    {2,  "method.quon.mcu.get.allwakeup.info",       "quon_mcu_get_allwakeup_info",            kNoSlot, kNo,  kNothing,          0,        Reply::kSnapshot,     400,      nullptr},
    {3,  "signal.quon.mcu.set.time",                 "quon_mcu_set_time",                      4,       kNo,  kPointer,          10,       Reply::kNone,         0,        "mcu_set_time failed"},
    {4,  "method.quon.mcu.get.time",                 "quon_mcu_get_time",                      5,       kNo,  kNothing,          0,        Reply::kDirect,       10,       "mcu_get_time failed"},
    {5,  "signal.quon.mcu.set.led",                  "quon_mcu_set_led_state",                 6,       kNo,  kByte,             1,        Reply::kNone,         0,        "mcu_set_led_state failed"},
    {6,  "method.quon.mcu.get.battery.status",       "quon_mcu_get_battery_status",            7,       kNo,  kNothing,          0,        Reply::kDirect,       5,        "mcu_get_battery_status failed"},
    {7,  "signal.quon.mcu.set.pir.switch",           "quon_mcu_set_pir_switch",                8,       kNo,  kByte,             1,        Reply::kNone,         0,        "mcu_set_pir_switch failed"},
    {8,  "signal.quon.mcu.set.pir.sensitivity",      "quon_mcu_set_pir_sensivity",             9,       kNo,  kByte,             1,        Reply::kNone,         0,        "mcu_set_pir_sensitivity failed"},
    {9,  "method.quon.mcu.get.pir.info",             "quon_mcu_get_pir_info",                  10,      kNo,  kNothing,          0,        Reply::kDirect,       36,       "mcu_get_pir_info failed"},
    {10, "signal.quon.mcu.set.pir.info",             "quon_mcu_set_pir_info",                  11,      kNo,  kRecord,           36,       Reply::kNone,         0,        "mcu_set_pir_info failed"},
    {11, "signal.quon.mcu.set.wifi.connect",         "quon_mcu_set_wifi_connect",              12,      kNo,  kRecord,           134,      Reply::kNone,         0,        "mcu_set_wifi_connect failed"},
    {12, "signal.quon.mcu.set.wifi.disconnect",      "quon_mcu_set_wifi_disconnect",           13,      kNo,  kNothing,          0,        Reply::kNone,         0,        "mcu_set_wifi_disconnect failed"},
    {13, "method.quon.mcu.get.wifi.status",          "quon_mcu_get_wifi_status",               14,      kNo,  kNothing,          0,        Reply::kDirect,       70,       "mcu_get_wifi_status failed"},
    {14, "method.quon.mcu.get.wifi.info",            "quon_mcu_get_wifi_info",                 15,      kNo,  kNothing,          0,        Reply::kDirect,       160,      "mcu_get_wifi_info failed"},
    {15, "signal.quon.mcu.set.wifi.keepalive",       "quon_mcu_set_wifi_keepalive",            16,      kNo,  kRecord,           164,      Reply::kNone,         0,        "mcu_set_wifi_keepalive failed"},
    {16, "signal.quon.mcu.set.wifi.extended.info",   "quon_mcu_set_wifi_extended_info",        17,      kNo,  kRecord,           66,       Reply::kNone,         0,        "mcu_set_wifi_extended_info failed"},
    {17, "method.quon.mcu.get.wifi.scanf.info",      "quon_mcu_get_wifi_scanf_info",           18,      kYes, kByte,             1,        Reply::kStaged,       241,      "quon_mcu_get_wifi_scanf_info failed"},
    {18, "signal.quon.mcu.set.system.state",         "quon_mcu_set_system_state",              19,      kNo,  kByte,             1,        Reply::kNone,         0,        "mcu_set_system_state failed"},
    {19, "method.quon.mcu.get.event.info",           "quon_mcu_get_event_info",                20,      kNo,  kNothing,          0,        Reply::kDirect,       33,       nullptr},
    {20, "method.quon.mcu.upg.start",                "quon_mcu_upg_start",                     21,      kNo,  kByteAndWord,      5,        Reply::kZeroWord,     4,        "mcu_upg_start failed"},
    {21, "method.quon.mcu.upg.transmit",             "quon_mcu_upg_transmit",                  22,      kNo,  kPointer,          265,      Reply::kZeroWord,     4,        "mcu_upg_transmit failed"},
    {22, "method.quon.mcu.upg.finish",               "quon_mcu_upg_finish",                    23,      kNo,  kNothing,          0,        Reply::kZeroWord,     4,        "mcu_upg_finish failed"},
    {23, "signal.quon.mcu.set.store.params",         "quon_mcu_set_store_params",              24,      kNo,  kRecord,           48,       Reply::kNone,         0,        "mcu_set_store_params failed"},
    {24, "method.quon.mcu.get.store.params",         "quon_mcu_get_store_params",              25,      kNo,  kNothing,          0,        Reply::kDirect,       48,       "mcu_get_store_params failed"},
    {25, "signal.quon.mcu.set.wdg.state",            "quon_mcu_set_wdg_state",                 26,      kNo,  kByte,             1,        Reply::kNone,         0,        "mcu_set_wdg_state failed"},
    {26, "method.quon.mcu.get.wdg.state",            "quon_mcu_get_wdg_state",                 27,      kNo,  kNothing,          0,        Reply::kTextOfNumber, 1,        "mcu_get_wdg_state failed"},
    {27, "signal.quon.mcu.set.wdg.period",           "quon_mcu_set_wdg_period",                28,      kNo,  kWord,             4,        Reply::kNone,         0,        "mcu_set_wdg_period failed"},
    {28, "signal.quon.mcu.set.wdg.feed",             "quon_mcu_set_wdg_feed",                  29,      kNo,  kNothing,          0,        Reply::kNone,         0,        "mcu_set_wdg_feed failed"},
    {29, "signal.quon.mcu.set.alarm",                "quon_mcu_set_alarm",                     30,      kNo,  kRecord,           7,        Reply::kNone,         0,        "mcu_set_alarm failed"},
    {30, "method.quon.mcu.get.alarm",                "quon_mcu_get_alarm",                     31,      kNo,  kNothing,          0,        Reply::kDirect,       7,        "mcu_get_alarm failed"},
    {31, "signal.quon.mcu.set.crash.test",           "quon_mcu_set_crash_test",                34,      kNo,  kNothing,          0,        Reply::kNone,         0,        "mcu_set_crash_test failed"},
    {32, "signal.quon.mcu.set.ap.start",             "quon_mcu_set_ap_start",                  32,      kNo,  kRecord,           166,      Reply::kNone,         0,        "mcu_set_ap_start failed"},
    {33, "signal.quon.mcu.set.ap.stop",              "quon_mcu_set_ap_stop",                   33,      kNo,  kNothing,          0,        Reply::kNone,         0,        "mcu_set_ap_stop failed"},
    {34, "method.quon.mcu.get.err.report",           "quon_mcu_get_err_report",                35,      kNo,  kNothing,          0,        Reply::kDirect,       181,      "mcu_get_err_report failed"},
    {35, "method.quon.mcu.get.system",               "system_call",                            kNoSlot, kNo,  kText,             kAnySize, Reply::kShell,        kAnySize, nullptr},
    {36, "method.quon.mcu.get.popen",                "popen_call",                             kNoSlot, kNo,  kText,             kAnySize, Reply::kShell,        kAnySize, nullptr},
    {37, "signal.quon.mcu.set.log.profile",          "quon_mcu_set_log_profile",               44,      kYes, kRecord,           35,       Reply::kNone,         0,        "mcu_set_log_profile failed"},
    {38, "method.quon.mcu.get.log.profile",          "quon_mcu_get_log_profile",               45,      kYes, kNothing,          0,        Reply::kStaged,       35,       "mcu_get_log_profile failed"},
    {39, "method.quon.mcu.get.soc.min.ver",          "quon_mcu_get_soc_min_version",           36,      kNo,  kNothing,          0,        Reply::kTextStaged,   kAnySize, "mcu_get_soc_min_version failed"},
    {40, "signal.quon.mcu.set.uart.switch",          "quon_mcu_set_uart_switch",               37,      kNo,  kByte,             1,        Reply::kNone,         0,        "mcu_set_uart_switch failed"},
    {41, "signal.quon.mcu.set.wakeup.info",          "quon_mcu_set_wakeup_info",               38,      kNo,  kRecord,           71,       Reply::kNone,         0,        "mcu_set_wakeup_info failed"},
    {42, "method.quon.mcu.get.status.info",          "quon_mcu_get_status_info",               39,      kYes, kNothing,          0,        Reply::kDirect,       136,      "mcu_get_status_info failed"},
    {43, "signal.quon.mcu.set.charge.auto.poweron",  "quon_mcu_set_charge_auto_poweron",       40,      kYes, kRecord,           67,       Reply::kNone,         0,        "mcu_set_charge_auto_poweron failed"},
    {44, "signal.quon.mcu.set.cmd",                  "quon_mcu_set_cmd",                       41,      kNo,  kPointerAndLength, kAnySize, Reply::kNone,         0,        "mcu_set_cmd failed"},
    {45, "signal.quon.mcu.set.tamper.info",          "quon_mcu_set_tamper_switch",             42,      kYes, kByte,             1,        Reply::kNone,         0,        "mcu_set_tamper_switch failed"},
    {46, "method.quon.mcu.get.config.info",          "quon_mcu_get_config_info",               43,      kYes, kNothing,          0,        Reply::kDirect,       256,      "mcu_get_config_info failed"},
    {47, "method.quon.mcu.get.bit.err.rate",         "quon_mcu_get_bit_err_rate",              46,      kYes, kNothing,          0,        Reply::kStaged,       259,      "mcu_get_bit_err_rate failed"},
    {48, "method.quon.mcu.get.socup.time",           "quon_mcu_get_socup_time",                kNoSlot, kNo,  kNothing,          0,        Reply::kSnapshot,     12,       nullptr},
    {49, "method.quon.mcu.get.wifi.extended.status", "quon_mcu_get_wifi_extended_status",      48,      kYes, kNothing,          0,        Reply::kDirect,       264,      "mcu_get_wifi_extended_status failed"},
    {50, "signal.quon.mcu.set.soc.time.info",        "quon_mcu_set_soc_poweron_time_info",     49,      kYes, kRecord,           44,       Reply::kNone,         0,        "mcu_set_soc_poweron_time_info failed"},
    {51, "method.quon.mcu.get.soc.time.list",        "quon_mcu_get_soc_poweron_time_list",     50,      kYes, kNothing,          0,        Reply::kDirect,       221,      "mcu_get_soc_poweron_time_info_list failed"},
    {52, "method.quon.mcu.get.soc.time.cur.info",    "quon_mcu_get_soc_poweron_time_cur_info", 51,      kYes, kNothing,          0,        Reply::kDirect,       212,      "mcu_get_soc_poweron_time_cur_info failed"},
};

// The slots of the operations table as filled by the Hi3861L's driver.
inline constexpr ExpectedOperation kOperations[] = {
    // slot, operation, message type, time-out, payload bytes, answer, bytes of a list's entry
    {0,  "hi3861l_api_init",                           kNoMessage, 0,    0,        Answer::kNone,     0},
    {1,  "hi3861l_api_deinit",                         kNoMessage, 0,    0,        Answer::kNone,     0},
    {2,  "hi3861l_api_get_version",                    0x80,       1000, 0,        Answer::kText,     0},
    {3,  "hi3861l_api_get_wakeup_info",                0x82,       2000, 0,        Answer::kByLength, 0},
    {4,  "hi3861l_api_set_time",                       0x83,       0,    10,       Answer::kNone,     0},
    {5,  "hi3861l_api_get_time",                       0x84,       1000, 0,        Answer::kByLength, 0},
    {6,  "hi3861l_api_set_led",                        0x85,       0,    1,        Answer::kNone,     0},
    {7,  "hi3861l_api_get_battery_status",             0x86,       2000, 0,        Answer::kByLength, 0},
    {8,  "hi3861l_api_set_pir_switch",                 0x87,       0,    1,        Answer::kNone,     0},
    {9,  "hi3861l_api_set_pir_sensitivity",            0x88,       0,    1,        Answer::kNone,     0},
    {10, "hi3861l_api_get_pir_info",                   0x89,       1000, 0,        Answer::kByLength, 0},
    {11, "hi3861l_api_set_pir_info",                   0xa2,       0,    36,       Answer::kNone,     0},
    {12, "hi3861l_api_set_wifi_connect",               0x8a,       0,    134,      Answer::kNone,     0},
    {13, "hi3861l_api_set_wifi_disconnect",            0x8b,       0,    0,        Answer::kNone,     0},
    {14, "hi3861l_api_get_wifi_status",                0x8c,       1000, 0,        Answer::kByLength, 0},
    {15, "hi3861l_api_get_wifi_info",                  kNoMessage, 0,    0,        Answer::kNone,     0},
    {16, "hi3861l_api_set_wifi_keepalive",             0x8d,       0,    164,      Answer::kNone,     0},
    {17, "hi3861l_api_set_wifi_extended_info",         0x9d,       0,    66,       Answer::kNone,     0},
    {18, "hi3861l_api_get_wifi_scanf_info",            0xa9,       2000, 1,        Answer::kByLength, 0},
    {19, "hi3861l_api_set_system_state",               0x8e,       0,    1,        Answer::kNone,     0},
    {20, "hi3861l_api_get_event_info",                 kNoMessage, 0,    0,        Answer::kNone,     0},
    {21, "hi3861l_api_upg_start",                      0x8f,       3000, 5,        Answer::kAwaited,  0},
    {22, "hi3861l_api_upg_transmit",                   0x90,       3000, 265,      Answer::kAwaited,  0},
    {23, "hi3861l_api_upg_finish",                     0x91,       0,    0,        Answer::kNone,     0},
    {24, "hi3861l_api_set_store_params",               0x92,       0,    48,       Answer::kNone,     0},
    {25, "hi3861l_api_get_store_params",               0x93,       1000, 0,        Answer::kByLength, 0},
    {26, "hi3861l_api_set_wdg_state",                  0x94,       0,    1,        Answer::kNone,     0},
    {27, "hi3861l_api_get_wdg_state",                  0x95,       1000, 0,        Answer::kByLength, 0},
    {28, "hi3861l_api_set_wdg_period",                 0x96,       0,    4,        Answer::kNone,     0},
    {29, "hi3861l_api_set_wdg_feed",                   0x97,       0,    0,        Answer::kNone,     0},
    {30, "hi3861l_api_set_alarm",                      0x98,       0,    7,        Answer::kNone,     0},
    {31, "hi3861l_api_get_alarm",                      0x99,       1000, 0,        Answer::kByLength, 0},
    {32, "hi3861l_api_set_ap_start",                   0x9a,       0,    166,      Answer::kNone,     0},
    {33, "hi3861l_api_set_ap_stop",                    0x9b,       0,    0,        Answer::kNone,     0},
    {34, "hi3861l_api_set_crash_test",                 0x9c,       0,    0,        Answer::kNone,     0},
    {35, "hi3861l_api_get_err_report",                 0x9e,       1000, 0,        Answer::kList,     36},
    {36, "hi3861l_api_get_soc_min_version",            0x9f,       1000, 0,        Answer::kText,     0},
    {37, "hi3861l_api_set_uart_switch",                0xa0,       0,    1,        Answer::kNone,     0},
    {38, "hi3861l_api_set_wakeup_info",                0xa1,       0,    71,       Answer::kNone,     0},
    {39, "hi3861l_api_get_status_info",                0xa3,       1000, 0,        Answer::kByLength, 0},
    {40, "hi3861l_api_set_charge_auto_poweron",        0xa4,       0,    67,       Answer::kNone,     0},
    {41, "hi3861l_api_set_cmd",                        0xa5,       0,    kAnySize, Answer::kNone,     0},
    {42, "hi3861l_api_set_tamper_switch",              0xa6,       0,    1,        Answer::kNone,     0},
    {43, "hi3861l_api_get_config_info",                0xa7,       1000, 0,        Answer::kByLength, 0},
    {44, "",                                           kNoMessage, 0,    0,        Answer::kNone,     0},
    {45, "",                                           kNoMessage, 0,    0,        Answer::kNone,     0},
    {46, "",                                           kNoMessage, 0,    0,        Answer::kNone,     0},
    {47, "hi3861l_api_get_ipaddr_update_status",       kNoMessage, 0,    0,        Answer::kNone,     0},
    {48, "hi3861l_api_get_wifi_extended_status",       0xaa,       1000, 0,        Answer::kByLength, 0},
    {49, "hi3861l_api_set_soc_poweron_time_info",      0xab,       0,    44,       Answer::kNone,     0},
    {50, "hi3861l_api_get_soc_poweron_time_info_list", 0xac,       1000, 0,        Answer::kList,     44},
    {51, "hi3861l_api_get_soc_poweron_time_cur_info",  0xad,       1000, 0,        Answer::kByLength, 0},
};
// clang-format on

// Sent once, at start-up, and by no service: the 26-byte record with the network's data.
inline constexpr ExpectedOperation kNetQuery = {kNoSlot, "hi3861l_get_ip_info", 0x81, 1000,
                                                0,       Answer::kByLength,     0};
inline constexpr int kNetRecordSize = 26;

// Services that do not query the chip.
inline constexpr ExpectedOperation kNoOperation = {kNoSlot, "", kNoMessage, 0, 0, Answer::kNone, 0};

inline constexpr int kVersionSize = 32;  // of both versions' texts, with their terminator

inline constexpr std::size_t kMethodCount = 28;
inline constexpr std::size_t kSignalCount = 25;
inline constexpr std::size_t kSlotCount = 52;
inline constexpr std::uint8_t kEvents[] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05};
static_assert(std::size(kServices) == kMethodCount + kSignalCount);
static_assert(std::size(kOperations) == kSlotCount);

// The first matching row; a test that has none is wrong.
template <typename Row, std::size_t Count, typename Fits>
constexpr const Row& row_of(const Row (&rows)[Count], std::string_view what, Fits fits) {
    for (const Row& row : rows) {
        if (fits(row)) {
            return row;
        }
    }
    throw std::invalid_argument("no row for " + std::string(what));
}

// By its short name ("get.time").
constexpr const ExpectedService& service(std::string_view name) {
    return row_of(kServices, name, [=](const auto& row) { return row.short_name() == name; });
}

constexpr const ExpectedOperation& operation_in(int slot) {
    return row_of(kOperations, "a slot", [=](const auto& row) { return row.slot == slot; });
}

constexpr const ExpectedOperation& operation_of(const ExpectedService& service) {
    return service.slot == kNoSlot ? kNoOperation : operation_in(service.slot);
}

// The first service that uses it; the start-up's query has none.
constexpr const ExpectedService& service_of(const ExpectedOperation& operation) {
    return row_of(kServices, operation.name,
                  [&](const auto& row) { return row.slot == operation.slot; });
}

// The message type that it sends to the chip.
constexpr std::uint8_t message_of(std::string_view name) {
    return operation_of(service(name)).message();
}

template <typename Row, std::size_t Count>
std::vector<Row> rows_of(const Row (&rows)[Count], bool (Row::*belongs)() const) {
    std::vector<Row> chosen;
    for (const Row& row : rows) {
        if ((row.*belongs)()) {
            chosen.push_back(row);
        }
    }
    return chosen;
}

inline std::vector<ExpectedService> queries() {
    return rows_of(kServices, &ExpectedService::is_query);
}

inline std::vector<ExpectedService> commands() {
    return rows_of(kServices, &ExpectedService::is_signal);
}

inline std::vector<ExpectedService> upgrades() {
    return rows_of(kServices, &ExpectedService::is_upgrade);
}

// Everything sent to the chip: each operation's message, and the start-up's.
inline std::vector<ExpectedOperation> messages() {
    std::vector<ExpectedOperation> rows = rows_of(kOperations, &ExpectedOperation::sends);
    rows.push_back(kNetQuery);
    return rows;
}

// The operations that wait for the chip's answer, and those that do not.
inline std::vector<ExpectedOperation> waiting_operations() {
    return rows_of(kOperations, &ExpectedOperation::waits);
}

inline std::vector<ExpectedOperation> sending_operations() {
    return rows_of(kOperations, &ExpectedOperation::only_sends);
}

}  // namespace expected

}  // namespace quon::test
