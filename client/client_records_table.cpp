// Generated from the table of the services: what the structures hold.
#include <stddef.h>

#include "client_records.h"
#include "quon_mcu_client.h"

namespace quon::typed {

namespace {

// clang-format off
constexpr Field kVersionFields[] = {
    {"version", 0, 0, offsetof(quon_mcu_version, version), Kind::text, true, false, "", {}, 0, 0},
};
constexpr Record kVersion = {"version", kVersionFields, {}, 0, 384, offsetof(quon_mcu_version, absent), kNone, sizeof(quon_mcu_version), {0, 0, 0, kNone, kNone}};
constexpr KnownValue kWakeupInfoReasonValues[] = {
    {1, "starts the remote wake-up hand-off"},
    {3, "starts the remote wake-up hand-off"},
    {13, "starts the remote wake-up hand-off"},
};
constexpr Field kWakeupInfoFields[] = {
    {"reason", 0, 1, offsetof(quon_mcu_wakeup_info, reason), Kind::u8, true, false, "", kWakeupInfoReasonValues, 0, 0},
    {"rest_1", 1, 53, offsetof(quon_mcu_wakeup_info, rest_1), Kind::bytes, false, false, "", {}, 0, 0},
    {"mac", 54, 6, offsetof(quon_mcu_wakeup_info, mac), Kind::mac, true, false, "", {}, 0, 0},
    {"socup_time1", 60, 4, offsetof(quon_mcu_wakeup_info, socup_time1), Kind::u32, true, false, "", {}, 0, 0},
    {"socup_time2", 64, 4, offsetof(quon_mcu_wakeup_info, socup_time2), Kind::u32, true, false, "", {}, 0, 0},
    {"rest_68", 68, 3, offsetof(quon_mcu_wakeup_info, rest_68), Kind::bytes, false, false, "", {}, 0, 0},
};
constexpr Record kWakeupInfo = {"wakeup_info", kWakeupInfoFields, {}, 71, 71, offsetof(quon_mcu_wakeup_info, absent), kNone, sizeof(quon_mcu_wakeup_info), {0, 0, 0, kNone, kNone}};
constexpr KnownValue kWakeupContextWakeupReasonValues[] = {
    {1, "starts the remote wake-up hand-off"},
    {3, "starts the remote wake-up hand-off"},
    {13, "starts the remote wake-up hand-off"},
};
constexpr Field kWakeupContextFields[] = {
    {"wakeup_reason", 0, 1, offsetof(quon_mcu_wakeup_context, wakeup_reason), Kind::u8, true, false, "", kWakeupContextWakeupReasonValues, 0, 0},
    {"rest_1", 1, 53, offsetof(quon_mcu_wakeup_context, rest_1), Kind::bytes, false, false, "", {}, 0, 0},
    {"wakeup_mac", 54, 6, offsetof(quon_mcu_wakeup_context, wakeup_mac), Kind::mac, true, false, "", {}, 0, 0},
    {"socup_time1", 60, 4, offsetof(quon_mcu_wakeup_context, socup_time1), Kind::u32, true, false, "", {}, 0, 0},
    {"socup_time2", 64, 4, offsetof(quon_mcu_wakeup_context, socup_time2), Kind::u32, true, false, "", {}, 0, 0},
    {"rest_68", 68, 3, offsetof(quon_mcu_wakeup_context, rest_68), Kind::bytes, false, false, "", {}, 0, 0},
    {"time_year", 71, 1, offsetof(quon_mcu_wakeup_context, time_year), Kind::s8, true, false, "", {}, 0, 0},
    {"time_month", 72, 1, offsetof(quon_mcu_wakeup_context, time_month), Kind::s8, true, false, "", {}, 0, 0},
    {"time_day", 73, 1, offsetof(quon_mcu_wakeup_context, time_day), Kind::s8, true, false, "", {}, 0, 0},
    {"time_hour", 74, 1, offsetof(quon_mcu_wakeup_context, time_hour), Kind::s8, true, false, "", {}, 0, 0},
    {"time_minute", 75, 1, offsetof(quon_mcu_wakeup_context, time_minute), Kind::s8, true, false, "", {}, 0, 0},
    {"time_second", 76, 1, offsetof(quon_mcu_wakeup_context, time_second), Kind::s8, true, false, "", {}, 0, 0},
    {"rest_77", 77, 4, offsetof(quon_mcu_wakeup_context, rest_77), Kind::bytes, false, false, "", {}, 0, 0},
    {"battery_status", 81, 5, offsetof(quon_mcu_wakeup_context, battery_status), Kind::bytes, true, false, "", {}, 0, 0},
    {"wifi_status", 86, 70, offsetof(quon_mcu_wakeup_context, wifi_status), Kind::bytes, true, false, "", {}, 0, 0},
    {"wifi_mac", 156, 32, offsetof(quon_mcu_wakeup_context, wifi_mac), Kind::address_text, true, false, "", {}, 0, 0},
    {"wifi_ip", 188, 32, offsetof(quon_mcu_wakeup_context, wifi_ip), Kind::address_text, true, false, "", {}, 0, 0},
    {"wifi_gateway", 220, 32, offsetof(quon_mcu_wakeup_context, wifi_gateway), Kind::address_text, true, false, "", {}, 0, 0},
    {"wifi_dns1", 252, 32, offsetof(quon_mcu_wakeup_context, wifi_dns1), Kind::text, true, false, "", {}, 0, 0},
    {"wifi_dns2", 284, 32, offsetof(quon_mcu_wakeup_context, wifi_dns2), Kind::text, true, false, "", {}, 0, 0},
    {"rest_316", 316, 38, offsetof(quon_mcu_wakeup_context, rest_316), Kind::bytes, false, false, "", {}, 0, 0},
    {"server_ip", 354, 4, offsetof(quon_mcu_wakeup_context, server_ip), Kind::ipv4, true, false, "", {}, 0, 0},
    {"server_port", 358, 2, offsetof(quon_mcu_wakeup_context, server_port), Kind::u16, true, false, "", {}, 0, 0},
    {"rest_360", 360, 4, offsetof(quon_mcu_wakeup_context, rest_360), Kind::bytes, false, false, "", {}, 0, 0},
    {"version", 364, 32, offsetof(quon_mcu_wakeup_context, version), Kind::text, true, false, "", {}, 0, 0},
    {"start_ms", 396, 4, offsetof(quon_mcu_wakeup_context, start_ms), Kind::u32, true, true, "ms", {}, 0, 0},
};
constexpr uint16_t kWakeupContextParts[] = {0, 71, 81, 86, 156, 316, 364, 396};
constexpr Record kWakeupContext = {"wakeup_context", kWakeupContextFields, kWakeupContextParts, 400, 400, offsetof(quon_mcu_wakeup_context, absent), kNone, sizeof(quon_mcu_wakeup_context), {0, 0, 0, kNone, kNone}};
constexpr Field kTimeFields[] = {
    {"year", 0, 1, offsetof(quon_mcu_time, year), Kind::s8, true, false, "", {}, 0, 127},
    {"month", 1, 1, offsetof(quon_mcu_time, month), Kind::s8, true, false, "", {}, 1, 12},
    {"day", 2, 1, offsetof(quon_mcu_time, day), Kind::s8, true, false, "", {}, 1, 31},
    {"hour", 3, 1, offsetof(quon_mcu_time, hour), Kind::s8, true, false, "", {}, 0, 23},
    {"minute", 4, 1, offsetof(quon_mcu_time, minute), Kind::s8, true, false, "", {}, 0, 59},
    {"second", 5, 1, offsetof(quon_mcu_time, second), Kind::s8, true, false, "", {}, 0, 59},
    {"rest_6", 6, 4, offsetof(quon_mcu_time, rest_6), Kind::bytes, false, false, "", {}, 0, 0},
};
constexpr Record kTime = {"time", kTimeFields, {}, 10, 10, offsetof(quon_mcu_time, absent), kNone, sizeof(quon_mcu_time), {0, 0, 0, kNone, kNone}};
constexpr Field kValueFields[] = {
    {"value", 0, 1, offsetof(quon_mcu_value, value), Kind::u8, true, false, "", {}, 0, 0},
};
constexpr Record kValue = {"value", kValueFields, {}, 1, 1, kNone, kNone, sizeof(quon_mcu_value), {0, 0, 0, kNone, kNone}};
constexpr Field kBatteryStatusFields[] = {
    {"bytes", 0, 5, offsetof(quon_mcu_battery_status, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kBatteryStatus = {"battery_status", kBatteryStatusFields, {}, 5, 5, offsetof(quon_mcu_battery_status, absent), kNone, sizeof(quon_mcu_battery_status), {0, 0, 0, kNone, kNone}};
constexpr Field kPirInfoFields[] = {
    {"bytes", 0, 36, offsetof(quon_mcu_pir_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kPirInfo = {"pir_info", kPirInfoFields, {}, 36, 36, offsetof(quon_mcu_pir_info, absent), kNone, sizeof(quon_mcu_pir_info), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiConnectFields[] = {
    {"bytes", 0, 134, offsetof(quon_mcu_wifi_connect, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kWifiConnect = {"wifi_connect", kWifiConnectFields, {}, 134, 134, kNone, kNone, sizeof(quon_mcu_wifi_connect), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiStatusFields[] = {
    {"bytes", 0, 70, offsetof(quon_mcu_wifi_status, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kWifiStatus = {"wifi_status", kWifiStatusFields, {}, 70, 70, offsetof(quon_mcu_wifi_status, absent), kNone, sizeof(quon_mcu_wifi_status), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiInfoFields[] = {
    {"mac", 0, 32, offsetof(quon_mcu_wifi_info, mac), Kind::address_text, true, false, "", {}, 0, 0},
    {"ip", 32, 32, offsetof(quon_mcu_wifi_info, ip), Kind::address_text, true, false, "", {}, 0, 0},
    {"gateway", 64, 32, offsetof(quon_mcu_wifi_info, gateway), Kind::address_text, true, false, "", {}, 0, 0},
    {"dns1", 96, 32, offsetof(quon_mcu_wifi_info, dns1), Kind::text, true, false, "", {}, 0, 0},
    {"dns2", 128, 32, offsetof(quon_mcu_wifi_info, dns2), Kind::text, true, false, "", {}, 0, 0},
};
constexpr Record kWifiInfo = {"wifi_info", kWifiInfoFields, {}, 160, 160, offsetof(quon_mcu_wifi_info, absent), kNone, sizeof(quon_mcu_wifi_info), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiKeepaliveFields[] = {
    {"bytes", 0, 164, offsetof(quon_mcu_wifi_keepalive, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kWifiKeepalive = {"wifi_keepalive", kWifiKeepaliveFields, {}, 164, 164, kNone, kNone, sizeof(quon_mcu_wifi_keepalive), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiExtendedInfoFields[] = {
    {"bytes", 0, 66, offsetof(quon_mcu_wifi_extended_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kWifiExtendedInfo = {"wifi_extended_info", kWifiExtendedInfoFields, {}, 66, 66, kNone, kNone, sizeof(quon_mcu_wifi_extended_info), {0, 0, 0, kNone, kNone}};
constexpr Field kSelectorFields[] = {
    {"selector", 0, 1, offsetof(quon_mcu_selector, selector), Kind::u8, true, false, "", {}, 0, 0},
};
constexpr Record kSelector = {"selector", kSelectorFields, {}, 1, 1, kNone, kNone, sizeof(quon_mcu_selector), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiScanfInfoFields[] = {
    {"bytes", 0, 241, offsetof(quon_mcu_wifi_scanf_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kWifiScanfInfo = {"wifi_scanf_info", kWifiScanfInfoFields, {}, 241, 241, offsetof(quon_mcu_wifi_scanf_info, absent), kNone, sizeof(quon_mcu_wifi_scanf_info), {0, 0, 0, kNone, kNone}};
constexpr Field kEventInfoFields[] = {
    {"bytes", 0, 33, offsetof(quon_mcu_event_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kEventInfo = {"event_info", kEventInfoFields, {}, 33, 33, kNone, kNone, sizeof(quon_mcu_event_info), {0, 0, 0, kNone, kNone}};
constexpr Field kUpgStartFields[] = {
    {"first", 0, 1, offsetof(quon_mcu_upg_start, first), Kind::u8, true, false, "", {}, 0, 0},
    {"second", 1, 4, offsetof(quon_mcu_upg_start, second), Kind::u32, true, false, "", {}, 0, 0},
};
constexpr Record kUpgStart = {"upg_start", kUpgStartFields, {}, 5, 5, kNone, kNone, sizeof(quon_mcu_upg_start), {0, 0, 0, kNone, kNone}};
constexpr Field kZeroWordFields[] = {
    {"zero", 0, 4, offsetof(quon_mcu_zero_word, zero), Kind::u32, true, false, "", {}, 0, 0},
};
constexpr Record kZeroWord = {"zero_word", kZeroWordFields, {}, 4, 4, kNone, kNone, sizeof(quon_mcu_zero_word), {0, 0, 0, kNone, kNone}};
constexpr Field kUpgBlockFields[] = {
    {"word", 0, 4, offsetof(quon_mcu_upg_block, word), Kind::u32, true, false, "", {}, 0, 0},
    {"length", 4, 4, offsetof(quon_mcu_upg_block, length), Kind::u32, true, false, "B", {}, 0, 0},
    {"data", 8, 256, offsetof(quon_mcu_upg_block, data), Kind::bytes, true, false, "", {}, 0, 0},
    {"tail", 264, 1, offsetof(quon_mcu_upg_block, tail), Kind::u8, true, false, "", {}, 0, 0},
};
constexpr Record kUpgBlock = {"upg_block", kUpgBlockFields, {}, 265, 265, kNone, kNone, sizeof(quon_mcu_upg_block), {0, 0, 0, kNone, kNone}};
constexpr Field kStoreParamsFields[] = {
    {"rest_0", 0, 38, offsetof(quon_mcu_store_params, rest_0), Kind::bytes, false, false, "", {}, 0, 0},
    {"server_ip", 38, 4, offsetof(quon_mcu_store_params, server_ip), Kind::ipv4, true, false, "", {}, 0, 0},
    {"server_port", 42, 2, offsetof(quon_mcu_store_params, server_port), Kind::u16, true, false, "", {}, 0, 0},
    {"rest_44", 44, 4, offsetof(quon_mcu_store_params, rest_44), Kind::bytes, false, false, "", {}, 0, 0},
};
constexpr Record kStoreParams = {"store_params", kStoreParamsFields, {}, 48, 48, offsetof(quon_mcu_store_params, absent), kNone, sizeof(quon_mcu_store_params), {0, 0, 0, kNone, kNone}};
constexpr Field kWdgStateTextFields[] = {
    {"state", 0, 1, offsetof(quon_mcu_wdg_state_text, state), Kind::digit_text, true, false, "", {}, 0, 0},
};
constexpr Record kWdgStateText = {"wdg_state_text", kWdgStateTextFields, {}, 1, 1, offsetof(quon_mcu_wdg_state_text, absent), kNone, sizeof(quon_mcu_wdg_state_text), {0, 0, 0, kNone, kNone}};
constexpr Field kWdgPeriodFields[] = {
    {"period", 0, 4, offsetof(quon_mcu_wdg_period, period), Kind::u32, true, false, "", {}, 0, 0},
};
constexpr Record kWdgPeriod = {"wdg_period", kWdgPeriodFields, {}, 4, 4, kNone, kNone, sizeof(quon_mcu_wdg_period), {0, 0, 0, kNone, kNone}};
constexpr Field kAlarmFields[] = {
    {"word", 0, 4, offsetof(quon_mcu_alarm, word), Kind::u32, true, false, "", {}, 0, 0},
    {"byte4", 4, 1, offsetof(quon_mcu_alarm, byte4), Kind::u8, true, false, "", {}, 0, 0},
    {"byte5", 5, 1, offsetof(quon_mcu_alarm, byte5), Kind::u8, true, false, "", {}, 0, 0},
    {"byte6", 6, 1, offsetof(quon_mcu_alarm, byte6), Kind::u8, true, false, "", {}, 0, 0},
};
constexpr Record kAlarm = {"alarm", kAlarmFields, {}, 7, 7, offsetof(quon_mcu_alarm, absent), kNone, sizeof(quon_mcu_alarm), {0, 0, 0, kNone, kNone}};
constexpr Field kApStartFields[] = {
    {"bytes", 0, 166, offsetof(quon_mcu_ap_start, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kApStart = {"ap_start", kApStartFields, {}, 166, 166, kNone, kNone, sizeof(quon_mcu_ap_start), {0, 0, 0, kNone, kNone}};
constexpr Field kErrReportFields[] = {
    {"bytes", 0, 36, offsetof(quon_mcu_err_report_entry, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kErrReport = {"err_report", kErrReportFields, {}, 181, 181, offsetof(quon_mcu_err_report, absent), kNone, sizeof(quon_mcu_err_report), {36, 5, sizeof(quon_mcu_err_report_entry), offsetof(quon_mcu_err_report, count), offsetof(quon_mcu_err_report, entries)}};
constexpr Field kShellCommandFields[] = {
    {"command", 0, 0, offsetof(quon_mcu_shell_command, command), Kind::text, true, false, "", {}, 0, 0},
};
constexpr Record kShellCommand = {"shell_command", kShellCommandFields, {}, 0, 4356, kNone, kNone, sizeof(quon_mcu_shell_command), {0, 0, 0, kNone, kNone}};
constexpr Field kShellStatusFields[] = {
    {"status", 0, 0, offsetof(quon_mcu_shell_status, status), Kind::text, true, false, "", {}, 0, 0},
};
constexpr Record kShellStatus = {"shell_status", kShellStatusFields, {}, 0, 4356, kNone, kNone, sizeof(quon_mcu_shell_status), {0, 0, 0, kNone, kNone}};
constexpr Field kShellOutputFields[] = {
    {"output", 0, 0, offsetof(quon_mcu_shell_output, output), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kShellOutput = {"shell_output", kShellOutputFields, {}, 0, 4356, kNone, offsetof(quon_mcu_shell_output, length), sizeof(quon_mcu_shell_output), {0, 0, 0, kNone, kNone}};
constexpr KnownValue kLogProfileRequestLevelLimitValues[] = {
    {0, "fatal"},
    {1, "error"},
    {2, "warning"},
    {3, "information"},
    {4, "debug"},
};
constexpr Field kLogProfileRequestFields[] = {
    {"enable", 0, 1, offsetof(quon_mcu_log_profile_request, enable), Kind::u8, true, false, "", {}, 0, 0},
    {"level_limit", 1, 1, offsetof(quon_mcu_log_profile_request, level_limit), Kind::u8, true, false, "", kLogProfileRequestLevelLimitValues, 0, 0},
    {"rest_2", 2, 33, offsetof(quon_mcu_log_profile_request, rest_2), Kind::bytes, false, false, "", {}, 0, 0},
};
constexpr Record kLogProfileRequest = {"log_profile_request", kLogProfileRequestFields, {}, 35, 35, kNone, kNone, sizeof(quon_mcu_log_profile_request), {0, 0, 0, kNone, kNone}};
constexpr Field kLogProfileFields[] = {
    {"bytes", 0, 35, offsetof(quon_mcu_log_profile, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kLogProfile = {"log_profile", kLogProfileFields, {}, 35, 35, kNone, kNone, sizeof(quon_mcu_log_profile), {0, 0, 0, kNone, kNone}};
constexpr Field kSocMinVersionFields[] = {
    {"version", 0, 0, offsetof(quon_mcu_soc_min_version, version), Kind::text, true, false, "", {}, 0, 0},
};
constexpr Record kSocMinVersion = {"soc_min_version", kSocMinVersionFields, {}, 0, 384, offsetof(quon_mcu_soc_min_version, absent), kNone, sizeof(quon_mcu_soc_min_version), {0, 0, 0, kNone, kNone}};
constexpr Field kStatusInfoFields[] = {
    {"bytes", 0, 136, offsetof(quon_mcu_status_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kStatusInfo = {"status_info", kStatusInfoFields, {}, 136, 136, offsetof(quon_mcu_status_info, absent), kNone, sizeof(quon_mcu_status_info), {0, 0, 0, kNone, kNone}};
constexpr Field kChargeAutoPoweronFields[] = {
    {"bytes", 0, 67, offsetof(quon_mcu_charge_auto_poweron, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kChargeAutoPoweron = {"charge_auto_poweron", kChargeAutoPoweronFields, {}, 67, 67, kNone, kNone, sizeof(quon_mcu_charge_auto_poweron), {0, 0, 0, kNone, kNone}};
constexpr Field kRawCommandFields[] = {
    {"bytes", 0, 0, offsetof(quon_mcu_raw_command, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kRawCommand = {"raw_command", kRawCommandFields, {}, 0, 384, kNone, offsetof(quon_mcu_raw_command, length), sizeof(quon_mcu_raw_command), {0, 0, 0, kNone, kNone}};
constexpr Field kConfigInfoFields[] = {
    {"bytes", 0, 256, offsetof(quon_mcu_config_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kConfigInfo = {"config_info", kConfigInfoFields, {}, 256, 256, offsetof(quon_mcu_config_info, absent), kNone, sizeof(quon_mcu_config_info), {0, 0, 0, kNone, kNone}};
constexpr Field kBitErrRateFields[] = {
    {"bytes", 0, 259, offsetof(quon_mcu_bit_err_rate, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kBitErrRate = {"bit_err_rate", kBitErrRateFields, {}, 259, 259, kNone, kNone, sizeof(quon_mcu_bit_err_rate), {0, 0, 0, kNone, kNone}};
constexpr Field kSocupTimeFields[] = {
    {"socup_time1", 0, 4, offsetof(quon_mcu_socup_time, socup_time1), Kind::u32, true, false, "", {}, 0, 0},
    {"socup_time2", 4, 4, offsetof(quon_mcu_socup_time, socup_time2), Kind::u32, true, false, "", {}, 0, 0},
    {"since_start", 8, 4, offsetof(quon_mcu_socup_time, since_start), Kind::u32, true, true, "ms", {}, 0, 0},
};
constexpr uint16_t kSocupTimeParts[] = {0, 8};
constexpr Record kSocupTime = {"socup_time", kSocupTimeFields, kSocupTimeParts, 12, 12, offsetof(quon_mcu_socup_time, absent), kNone, sizeof(quon_mcu_socup_time), {0, 0, 0, kNone, kNone}};
constexpr Field kWifiExtendedStatusFields[] = {
    {"bytes", 0, 264, offsetof(quon_mcu_wifi_extended_status, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kWifiExtendedStatus = {"wifi_extended_status", kWifiExtendedStatusFields, {}, 264, 264, offsetof(quon_mcu_wifi_extended_status, absent), kNone, sizeof(quon_mcu_wifi_extended_status), {0, 0, 0, kNone, kNone}};
constexpr Field kSocTimeInfoFields[] = {
    {"bytes", 0, 44, offsetof(quon_mcu_soc_time_info, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kSocTimeInfo = {"soc_time_info", kSocTimeInfoFields, {}, 44, 44, kNone, kNone, sizeof(quon_mcu_soc_time_info), {0, 0, 0, kNone, kNone}};
constexpr Field kSocTimeListFields[] = {
    {"bytes", 0, 44, offsetof(quon_mcu_soc_time_list_entry, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kSocTimeList = {"soc_time_list", kSocTimeListFields, {}, 221, 221, offsetof(quon_mcu_soc_time_list, absent), kNone, sizeof(quon_mcu_soc_time_list), {44, 5, sizeof(quon_mcu_soc_time_list_entry), offsetof(quon_mcu_soc_time_list, count), offsetof(quon_mcu_soc_time_list, entries)}};
constexpr Field kSocTimeCurFields[] = {
    {"bytes", 0, 212, offsetof(quon_mcu_soc_time_cur, bytes), Kind::bytes, true, false, "", {}, 0, 0},
};
constexpr Record kSocTimeCur = {"soc_time_cur", kSocTimeCurFields, {}, 212, 212, offsetof(quon_mcu_soc_time_cur, absent), kNone, sizeof(quon_mcu_soc_time_cur), {0, 0, 0, kNone, kNone}};

}  // namespace

constexpr Service kServices[] = {
    {"method.quon.mcu.get.ver", nullptr, &kVersion, "the chip's answer has no text"},
    {"method.quon.mcu.get.wakeup.info", nullptr, &kWakeupInfo, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.allwakeup.info", nullptr, &kWakeupContext, "no answer at the start, or zero in it"},
    {"signal.quon.mcu.set.time", &kTime, nullptr, nullptr},
    {"method.quon.mcu.get.time", nullptr, &kTime, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.led", &kValue, nullptr, nullptr},
    {"method.quon.mcu.get.battery.status", nullptr, &kBatteryStatus, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.pir.switch", &kValue, nullptr, nullptr},
    {"signal.quon.mcu.set.pir.sensitivity", &kValue, nullptr, nullptr},
    {"method.quon.mcu.get.pir.info", nullptr, &kPirInfo, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.pir.info", &kPirInfo, nullptr, nullptr},
    {"signal.quon.mcu.set.wifi.connect", &kWifiConnect, nullptr, nullptr},
    {"signal.quon.mcu.set.wifi.disconnect", nullptr, nullptr, nullptr},
    {"method.quon.mcu.get.wifi.status", nullptr, &kWifiStatus, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.wifi.info", nullptr, &kWifiInfo, "none from the chip yet, or zero in its record"},
    {"signal.quon.mcu.set.wifi.keepalive", &kWifiKeepalive, nullptr, nullptr},
    {"signal.quon.mcu.set.wifi.extended.info", &kWifiExtendedInfo, nullptr, nullptr},
    {"method.quon.mcu.get.wifi.scanf.info", &kSelector, &kWifiScanfInfo, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.system.state", &kValue, nullptr, nullptr},
    {"method.quon.mcu.get.event.info", nullptr, &kEventInfo, nullptr},
    {"method.quon.mcu.upg.start", &kUpgStart, &kZeroWord, nullptr},
    {"method.quon.mcu.upg.transmit", &kUpgBlock, &kZeroWord, nullptr},
    {"method.quon.mcu.upg.finish", nullptr, &kZeroWord, nullptr},
    {"signal.quon.mcu.set.store.params", &kStoreParams, nullptr, nullptr},
    {"method.quon.mcu.get.store.params", nullptr, &kStoreParams, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.wdg.state", &kValue, nullptr, nullptr},
    {"method.quon.mcu.get.wdg.state", nullptr, &kWdgStateText, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.wdg.period", &kWdgPeriod, nullptr, nullptr},
    {"signal.quon.mcu.set.wdg.feed", nullptr, nullptr, nullptr},
    {"signal.quon.mcu.set.alarm", &kAlarm, nullptr, nullptr},
    {"method.quon.mcu.get.alarm", nullptr, &kAlarm, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.crash.test", nullptr, nullptr, nullptr},
    {"signal.quon.mcu.set.ap.start", &kApStart, nullptr, nullptr},
    {"signal.quon.mcu.set.ap.stop", nullptr, nullptr, nullptr},
    {"method.quon.mcu.get.err.report", nullptr, &kErrReport, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.system", &kShellCommand, &kShellStatus, nullptr},
    {"method.quon.mcu.get.popen", &kShellCommand, &kShellOutput, nullptr},
    {"signal.quon.mcu.set.log.profile", &kLogProfileRequest, nullptr, nullptr},
    {"method.quon.mcu.get.log.profile", nullptr, &kLogProfile, nullptr},
    {"method.quon.mcu.get.soc.min.ver", nullptr, &kSocMinVersion, "the chip's answer has no text"},
    {"signal.quon.mcu.set.uart.switch", &kValue, nullptr, nullptr},
    {"signal.quon.mcu.set.wakeup.info", &kWakeupInfo, nullptr, nullptr},
    {"method.quon.mcu.get.status.info", nullptr, &kStatusInfo, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.charge.auto.poweron", &kChargeAutoPoweron, nullptr, nullptr},
    {"signal.quon.mcu.set.cmd", &kRawCommand, nullptr, nullptr},
    {"signal.quon.mcu.set.tamper.info", &kValue, nullptr, nullptr},
    {"method.quon.mcu.get.config.info", nullptr, &kConfigInfo, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.bit.err.rate", nullptr, &kBitErrRate, nullptr},
    {"method.quon.mcu.get.socup.time", nullptr, &kSocupTime, "no answer at the start, or zero in it"},
    {"method.quon.mcu.get.wifi.extended.status", nullptr, &kWifiExtendedStatus, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.soc.time.info", &kSocTimeInfo, nullptr, nullptr},
    {"method.quon.mcu.get.soc.time.list", nullptr, &kSocTimeList, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.soc.time.cur.info", nullptr, &kSocTimeCur, "zero, or not in the chip's answer"},
};
// clang-format on

static_assert(sizeof(kServices) / sizeof(kServices[0]) == kServiceCount);

}  // namespace quon::typed
