// The records and their fields, one row each, for the tables of services and messages.
#pragma once

#include "catalog/catalog.h"
#include "hi3861l_protocol.h"
#include "mcu_records.h"

namespace quon::catalog {

namespace layout {
namespace detail {

using enum field_kind;

// clang-format off
inline constexpr known_value kWakeupReasons[] = {
    {1,  "starts the remote wake-up hand-off"},
    {3,  "starts the remote wake-up hand-off"},
    {13, "starts the remote wake-up hand-off"},
};
inline constexpr known_value kNetStates[] = {
    {1, "applied to wlan0"},
    {2, "applied to wlan0"},
};
inline constexpr known_value kUpgAnswers[] = {
    {kHi3861lUpgAccepted, "accepted"},
};
inline constexpr known_value kLogLevels[] = {
    {0, "fatal"}, {1, "error"}, {2, "warning"}, {3, "information"}, {4, "debug"},
};

//   name                    offset size kind   unit  values          meaning
inline constexpr field kVersionFields[] = {
    {"version",               0,   0, text,  "",   {},             "firmware version of the chip"},
};
inline constexpr field kNetInfoFields[] = {
    {"ip",                    0,   4, ipv4,  "",   {},             "address of wlan0"},
    {"netmask",               4,   4, ipv4,  "",   {},             "netmask of wlan0"},
    {"gateway",               8,   4, ipv4,  "",   {},             "default gateway"},
    {"mac",                  12,   6, mac,   "",   {},             "hardware address of wlan0"},
    {"dns1",                 18,   4, ipv4,  "",   {},             "primary name server"},
    {"dns2",                 22,   4, ipv4,  "",   {},             "secondary name server"},
};
inline constexpr field kNetEventFields[] = {
    {"state",                 1,   1, u8,    "",   kNetStates,     "network state"},
    {"ip",                    2,   4, ipv4,  "",   {},             "address of wlan0"},
    {"netmask",               6,   4, ipv4,  "",   {},             "netmask of wlan0"},
    {"gateway",              10,   4, ipv4,  "",   {},             "default gateway"},
    {"mac",                  14,   6, mac,   "",   {},             "hardware address of wlan0"},
    {"dns1",                 20,   4, ipv4,  "",   {},             "primary name server"},
    {"dns2",                 24,   4, ipv4,  "",   {},             "secondary name server"},
};
inline constexpr field kWakeupInfoFields[] = {
    {"reason",                0,   1, u8,    "",   kWakeupReasons, "why the main processor was woken"},
    {"mac",                  54,   6, mac,   "",   {},             "hardware address that get.wifi.info prefers"},
    {"socup_time1",          60,   4, u32,   "",   {},             "first word of get.socup.time"},
    {"socup_time2",          64,   4, u32,   "",   {},             "second word of get.socup.time"},
};
inline constexpr field kTimeFields[] = {
    {"year",                  0,   1, s8,    "",   {},             "year minus 2000", {0, 127}},
    {"month",                 1,   1, s8,    "",   {},             "month", {1, 12}},
    {"day",                   2,   1, s8,    "",   {},             "day of the month", {1, 31}},
    {"hour",                  3,   1, s8,    "",   {},             "hour", {0, 23}},
    {"minute",                4,   1, s8,    "",   {},             "minute", {0, 59}},
    {"second",                5,   1, s8,    "",   {},             "second", {0, 59}},
};
inline constexpr field kWifiInfoFields[] = {
    {"mac",                   0,  32, address_text, "",   {},             "hardware address of wlan0"},
    {"ip",                   32,  32, address_text, "",   {},             "address of wlan0"},
    {"gateway",              64,  32, address_text, "",   {},             "default gateway"},
    {"dns1",                 96,  32, text,  "",   {},             "primary name server, or empty"},
    {"dns2",                128,  32, text,  "",   {},             "secondary name server, or empty"},
};
inline constexpr field kStoreParamsFields[] = {
    {"server_ip",            38,   4, ipv4,  "",   {},             "server of the remote wake-up connection"},
    {"server_port",          42,   2, u16,   "",   {},             "its TCP port"},
};
inline constexpr field kWdgStateByteFields[] = {
    {"state",                 0,   1, u8,    "",   {},             "watchdog state"},
};
inline constexpr field kWdgStateTextFields[] = {
    {"state",                 0,   1, digit_text, "",   {},             "first decimal digit of the watchdog state"},
};
inline constexpr field kAlarmFields[] = {
    {"word",                  0,   4, u32,   "",   {},             "the chip's"},
    {"byte4",                 4,   1, u8,    "",   {},             "the chip's"},
    {"byte5",                 5,   1, u8,    "",   {},             "the chip's"},
    {"byte6",                 6,   1, u8,    "",   {},             "the chip's"},
};
// Start offsets of the answers in the wake-up context.
inline constexpr uint32_t kWakeupContextParts[] = {
    kMcuContextWakeupOffset,    kMcuContextTimeOffset,      kMcuContextBatteryOffset,
    kMcuContextWifiStatusOffset, kMcuContextWifiInfoOffset, kMcuContextStoreOffset,
    kMcuContextVersionOffset,   kMcuContextStartMsOffset,
};
inline constexpr uint32_t kSocupTimeParts[] = {0, 8};
inline constexpr field kWakeupContextFields[] = {
    {"wakeup_reason",         0,   1, u8,    "",   kWakeupReasons, "why the main processor was woken"},
    {"wakeup_mac",           54,   6, mac,   "",   {},             "hardware address in the wake-up info"},
    {"socup_time1",          60,   4, u32,   "",   {},             "first word of get.socup.time"},
    {"socup_time2",          64,   4, u32,   "",   {},             "second word of get.socup.time"},
    {"time_year",            71,   1, s8,    "",   {},             "year minus 2000"},
    {"time_month",           72,   1, s8,    "",   {},             "month"},
    {"time_day",             73,   1, s8,    "",   {},             "day of the month"},
    {"time_hour",            74,   1, s8,    "",   {},             "hour"},
    {"time_minute",          75,   1, s8,    "",   {},             "minute"},
    {"time_second",          76,   1, s8,    "",   {},             "second"},
    {"battery_status",       81,   5, bytes, "",   {},             "battery status record"},
    {"wifi_status",          86,  70, bytes, "",   {},             "Wi-Fi status record"},
    {"wifi_mac",            156,  32, address_text, "",   {},             "hardware address of wlan0"},
    {"wifi_ip",             188,  32, address_text, "",   {},             "address of wlan0"},
    {"wifi_gateway",        220,  32, address_text, "",   {},             "default gateway"},
    {"wifi_dns1",           252,  32, text,  "",   {},             "primary name server, or empty"},
    {"wifi_dns2",           284,  32, text,  "",   {},             "secondary name server, or empty"},
    {"server_ip",           354,   4, ipv4,  "",   {},             "server of the remote wake-up connection"},
    {"server_port",         358,   2, u16,   "",   {},             "its TCP port"},
    {"version",             364,  32, text,  "",   {},             "firmware version of the chip"},
    {"start_ms",            396,   4, u32,   "ms", {},             "moment of the snapshot on the monotonic clock", {}, true},
};
inline constexpr field kSocupTimeFields[] = {
    {"socup_time1",           0,   4, u32,   "",   {},             "bytes 60 to 63 of the wake-up info"},
    {"socup_time2",           4,   4, u32,   "",   {},             "bytes 64 to 67 of the wake-up info"},
    {"since_start",           8,   4, u32,   "ms", {},             "time since the start-up snapshot", {}, true},
};
inline constexpr field kZeroWordFields[] = {
    {"zero",                  0,   4, u32,   "",   {},             "always 0"},
};
inline constexpr field kUpgTransmitAnswerFields[] = {
    {"answer",                4,   1, u8,    "",   kUpgAnswers,    "whether the block was accepted"},
};
inline constexpr field kSocMinVersionFields[] = {
    {"version",               0,   0, text,  "",   {},             "minimum version of the main processor's software"},
};
inline constexpr field kShellStatusFields[] = {
    {"status",                0,   0, text,  "",   {},             "wait status of the command, in decimal"},
};
inline constexpr field kShellOutputFields[] = {
    {"output",                0,   0, bytes, "",   {},             "first 4356 bytes of the command's standard output"},
};
inline constexpr field kValueFields[] = {
    {"value",                 0,   1, u8,    "",   {},             "the value, passed to the chip unchanged"},
};
inline constexpr field kSelectorFields[] = {
    {"selector",              0,   1, u8,    "",   {},             "which scan information, passed to the chip unchanged"},
};
inline constexpr field kWdgPeriodFields[] = {
    {"period",                0,   4, u32,   "",   {},             "watchdog period, in the chip's unit"},
};
inline constexpr field kUpgStartFields[] = {
    {"first",                 0,   1, u8,    "",   {},             "first value, passed to the chip unchanged"},
    {"second",                1,   4, u32,   "",   {},             "second value, passed to the chip unchanged"},
};
inline constexpr field kUpgBlockFields[] = {
    {"word",                  0,   4, u32,   "",   {},             "passed to the chip unchanged"},
    {"length",                4,   4, u32,   "B",  {},             "data bytes of this block, at most 256"},
    {"data",                  8, 256, bytes, "",   {},             "piece of the image"},
    {"tail",                264,   1, u8,    "",   {},             "passed to the chip unchanged"},
};
inline constexpr field kLogProfileRequestFields[] = {
    {"enable",                0,   1, u8,    "",   {},             "not applied by the daemon"},
    {"level_limit",           1,   1, u8,    "",   kLogLevels,     "highest log level that the daemon prints"},
};
inline constexpr field kShellCommandFields[] = {
    {"command",               0,   0, text,  "",   {},             "command text, run by the shell"},
};

inline constexpr uint32_t kAnySize = 0;
inline constexpr uint32_t kNoList = 0;
inline constexpr std::string_view kNoTextInAnswer = "the chip's answer has no text";
}  // namespace detail

using namespace detail;

// name, size, entry size, fields; optionally the parts and the second meaning of a zero
inline constexpr record kVersion            {"version",              kAnySize,                   kNoList,                kVersionFields, {}, kNoTextInAnswer};
inline constexpr record kNetInfo            {"net_info",             sizeof(hi3861l_net_info),   kNoList,                kNetInfoFields};
inline constexpr record kWakeupInfo         {"wakeup_info",          kMcuWakeupInfoSize,         kNoList,                kWakeupInfoFields};
inline constexpr record kTime               {"time",                 kMcuTimeSize,               kNoList,                kTimeFields};
inline constexpr record kBatteryStatus      {"battery_status",       kMcuBatteryStatusSize,      kNoList,                {}};
inline constexpr record kPirInfo            {"pir_info",             kMcuPirInfoSize,            kNoList,                {}};
inline constexpr record kWifiStatus         {"wifi_status",          kMcuWifiStatusSize,         kNoList,                {}};
inline constexpr record kWifiInfo           {"wifi_info",            kMcuWifiInfoSize,           kNoList,                kWifiInfoFields, {}, "none from the chip yet, or zero in its record"};
inline constexpr record kWifiScanfInfo      {"wifi_scanf_info",      kMcuWifiScanfInfoSize,      kNoList,                {}};
inline constexpr record kStoreParams        {"store_params",         kMcuStoreParamsSize,        kNoList,                kStoreParamsFields};
inline constexpr record kWdgStateByte       {"wdg_state_byte",       1,                          kNoList,                kWdgStateByteFields};
inline constexpr record kWdgStateText       {"wdg_state_text",       1,                          kNoList,                kWdgStateTextFields, {}, "zero, or not in the chip's answer"};
inline constexpr record kAlarm              {"alarm",                kMcuAlarmSize,              kNoList,                kAlarmFields};
inline constexpr record kErrReport          {"err_report",           kMcuErrReportSize,          kMcuErrReportEntrySize, {}};
inline constexpr record kSocMinVersion      {"soc_min_version",      kAnySize,                   kNoList,                kSocMinVersionFields, {}, kNoTextInAnswer};
inline constexpr record kStatusInfo         {"status_info",          kMcuStatusInfoSize,         kNoList,                {}};
inline constexpr record kConfigInfo         {"config_info",          kMcuConfigInfoSize,         kNoList,                {}};
inline constexpr record kLogProfile         {"log_profile",          kMcuLogProfileSize,         kNoList,                {}};
inline constexpr record kBitErrRate         {"bit_err_rate",         kMcuBitErrRateSize,         kNoList,                {}};
inline constexpr record kWifiExtendedStatus {"wifi_extended_status", kMcuWifiExtendedStatusSize, kNoList,                {}};
inline constexpr record kSocTimeList        {"soc_time_list",        kMcuSocTimeListSize,        kMcuSocTimeEntrySize,   {}};
inline constexpr record kSocTimeCur         {"soc_time_cur",         kMcuSocTimeCurSize,         kNoList,                {}};
inline constexpr record kEventInfo          {"event_info",           kMcuEventInfoSize,          kNoList,                {}};
inline constexpr record kWakeupContext      {"wakeup_context",       kMcuWakeupContextSize,      kNoList,                kWakeupContextFields, kWakeupContextParts, "no answer at the start, or zero in it"};
inline constexpr record kSocupTime          {"socup_time",           kMcuSocupTimeSize,          kNoList,                kSocupTimeFields, kSocupTimeParts, "no answer at the start, or zero in it"};
inline constexpr record kZeroWord           {"zero_word",            kMcuUpgReplySize,           kNoList,                kZeroWordFields};
inline constexpr record kUpgStartAnswer     {"upg_start_answer",     kAnySize,                   kNoList,                {}};
inline constexpr record kUpgTransmitAnswer  {"upg_transmit_answer",  kAnySize,                   kNoList,                kUpgTransmitAnswerFields};
inline constexpr record kShellStatus        {"shell_status",         kAnySize,                   kNoList,                kShellStatusFields};
inline constexpr record kShellOutput        {"shell_output",         kAnySize,                   kNoList,                kShellOutputFields};

inline constexpr record kValue              {"value",                1,                          kNoList,                kValueFields};
inline constexpr record kSelector           {"selector",             1,                          kNoList,                kSelectorFields};
inline constexpr record kWdgPeriod          {"wdg_period",           kMcuWdgPeriodSize,          kNoList,                kWdgPeriodFields};
inline constexpr record kWifiConnect        {"wifi_connect",         kMcuWifiConnectSize,        kNoList,                {}};
inline constexpr record kWifiKeepalive      {"wifi_keepalive",       kMcuWifiKeepaliveSize,      kNoList,                {}};
inline constexpr record kWifiExtendedInfo   {"wifi_extended_info",   kMcuWifiExtendedInfoSize,   kNoList,                {}};
inline constexpr record kApStart            {"ap_start",             kMcuApStartSize,            kNoList,                {}};
inline constexpr record kChargeAutoPoweron  {"charge_auto_poweron",  kMcuChargeAutoPoweronSize,  kNoList,                {}};
inline constexpr record kSocTimeInfo        {"soc_time_info",        kMcuSocTimeInfoSize,        kNoList,                {}};
inline constexpr record kUpgStart           {"upg_start",            kMcuUpgStartSize,           kNoList,                kUpgStartFields};
inline constexpr record kUpgBlock           {"upg_block",            kMcuUpgBlockSize,           kNoList,                kUpgBlockFields};
inline constexpr record kRawCommand         {"raw_command",          kAnySize,                   kNoList,                {}};
inline constexpr record kLogProfileRequest  {"log_profile_request",  kMcuLogProfileSize,         kNoList,                kLogProfileRequestFields};
inline constexpr record kShellCommand       {"shell_command",        kAnySize,                   kNoList,                kShellCommandFields};

inline constexpr record kEvent              {"event",                kAnySize,                   kNoList,                {}};
inline constexpr record kNetEvent           {"net_event",            kAnySize,                   kNoList,                kNetEventFields};
// clang-format on

}  // namespace layout

}  // namespace quon::catalog
