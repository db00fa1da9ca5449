// Generated from the table of the services: what the structures hold.
#include <stddef.h>

#include "client_records.h"
#include "quon_mcu_client.h"

namespace quon::typed {

namespace {

// clang-format off
constexpr Field k_version_fields[] = {
    {"version", 0, 0, offsetof(quon_mcu_version, version), Kind::text, true, false, "", {}},
};
constexpr Record k_version = {"version", k_version_fields, {}, 0, 384, offsetof(quon_mcu_version, absent), kNone, sizeof(quon_mcu_version), {0, 0, 0, kNone, kNone}};
constexpr KnownValue k_wakeup_info_reason_values[] = {
    {1, "starts the remote wake-up hand-off"},
    {3, "starts the remote wake-up hand-off"},
    {13, "starts the remote wake-up hand-off"},
};
constexpr Field k_wakeup_info_fields[] = {
    {"reason", 0, 1, offsetof(quon_mcu_wakeup_info, reason), Kind::u8, true, false, "", k_wakeup_info_reason_values},
    {"rest_1", 1, 53, offsetof(quon_mcu_wakeup_info, rest_1), Kind::bytes, false, false, "", {}},
    {"mac", 54, 6, offsetof(quon_mcu_wakeup_info, mac), Kind::mac, true, false, "", {}},
    {"socup_time1", 60, 4, offsetof(quon_mcu_wakeup_info, socup_time1), Kind::u32, true, false, "", {}},
    {"socup_time2", 64, 4, offsetof(quon_mcu_wakeup_info, socup_time2), Kind::u32, true, false, "", {}},
    {"rest_68", 68, 3, offsetof(quon_mcu_wakeup_info, rest_68), Kind::bytes, false, false, "", {}},
};
constexpr Record k_wakeup_info = {"wakeup_info", k_wakeup_info_fields, {}, 71, 71, offsetof(quon_mcu_wakeup_info, absent), kNone, sizeof(quon_mcu_wakeup_info), {0, 0, 0, kNone, kNone}};
constexpr KnownValue k_wakeup_context_wakeup_reason_values[] = {
    {1, "starts the remote wake-up hand-off"},
    {3, "starts the remote wake-up hand-off"},
    {13, "starts the remote wake-up hand-off"},
};
constexpr Field k_wakeup_context_fields[] = {
    {"wakeup_reason", 0, 1, offsetof(quon_mcu_wakeup_context, wakeup_reason), Kind::u8, true, false, "", k_wakeup_context_wakeup_reason_values},
    {"rest_1", 1, 53, offsetof(quon_mcu_wakeup_context, rest_1), Kind::bytes, false, false, "", {}},
    {"wakeup_mac", 54, 6, offsetof(quon_mcu_wakeup_context, wakeup_mac), Kind::mac, true, false, "", {}},
    {"socup_time1", 60, 4, offsetof(quon_mcu_wakeup_context, socup_time1), Kind::u32, true, false, "", {}},
    {"socup_time2", 64, 4, offsetof(quon_mcu_wakeup_context, socup_time2), Kind::u32, true, false, "", {}},
    {"rest_68", 68, 3, offsetof(quon_mcu_wakeup_context, rest_68), Kind::bytes, false, false, "", {}},
    {"time_year", 71, 1, offsetof(quon_mcu_wakeup_context, time_year), Kind::s8, true, false, "", {}},
    {"time_month", 72, 1, offsetof(quon_mcu_wakeup_context, time_month), Kind::s8, true, false, "", {}},
    {"time_day", 73, 1, offsetof(quon_mcu_wakeup_context, time_day), Kind::s8, true, false, "", {}},
    {"time_hour", 74, 1, offsetof(quon_mcu_wakeup_context, time_hour), Kind::s8, true, false, "", {}},
    {"time_minute", 75, 1, offsetof(quon_mcu_wakeup_context, time_minute), Kind::s8, true, false, "", {}},
    {"time_second", 76, 1, offsetof(quon_mcu_wakeup_context, time_second), Kind::s8, true, false, "", {}},
    {"rest_77", 77, 4, offsetof(quon_mcu_wakeup_context, rest_77), Kind::bytes, false, false, "", {}},
    {"battery_status", 81, 5, offsetof(quon_mcu_wakeup_context, battery_status), Kind::bytes, true, false, "", {}},
    {"wifi_status", 86, 70, offsetof(quon_mcu_wakeup_context, wifi_status), Kind::bytes, true, false, "", {}},
    {"wifi_mac", 156, 32, offsetof(quon_mcu_wakeup_context, wifi_mac), Kind::address_text, true, false, "", {}},
    {"wifi_ip", 188, 32, offsetof(quon_mcu_wakeup_context, wifi_ip), Kind::address_text, true, false, "", {}},
    {"wifi_gateway", 220, 32, offsetof(quon_mcu_wakeup_context, wifi_gateway), Kind::address_text, true, false, "", {}},
    {"wifi_dns1", 252, 32, offsetof(quon_mcu_wakeup_context, wifi_dns1), Kind::text, true, false, "", {}},
    {"wifi_dns2", 284, 32, offsetof(quon_mcu_wakeup_context, wifi_dns2), Kind::text, true, false, "", {}},
    {"rest_316", 316, 38, offsetof(quon_mcu_wakeup_context, rest_316), Kind::bytes, false, false, "", {}},
    {"server_ip", 354, 4, offsetof(quon_mcu_wakeup_context, server_ip), Kind::ipv4, true, false, "", {}},
    {"server_port", 358, 2, offsetof(quon_mcu_wakeup_context, server_port), Kind::u16, true, false, "", {}},
    {"rest_360", 360, 4, offsetof(quon_mcu_wakeup_context, rest_360), Kind::bytes, false, false, "", {}},
    {"version", 364, 32, offsetof(quon_mcu_wakeup_context, version), Kind::text, true, false, "", {}},
    {"start_ms", 396, 4, offsetof(quon_mcu_wakeup_context, start_ms), Kind::u32, true, true, "ms", {}},
};
constexpr uint16_t k_wakeup_context_parts[] = {0, 71, 81, 86, 156, 316, 364, 396};
constexpr Record k_wakeup_context = {"wakeup_context", k_wakeup_context_fields, k_wakeup_context_parts, 400, 400, offsetof(quon_mcu_wakeup_context, absent), kNone, sizeof(quon_mcu_wakeup_context), {0, 0, 0, kNone, kNone}};
constexpr Field k_time_fields[] = {
    {"year", 0, 1, offsetof(quon_mcu_time, year), Kind::s8, true, false, "", {}},
    {"month", 1, 1, offsetof(quon_mcu_time, month), Kind::s8, true, false, "", {}},
    {"day", 2, 1, offsetof(quon_mcu_time, day), Kind::s8, true, false, "", {}},
    {"hour", 3, 1, offsetof(quon_mcu_time, hour), Kind::s8, true, false, "", {}},
    {"minute", 4, 1, offsetof(quon_mcu_time, minute), Kind::s8, true, false, "", {}},
    {"second", 5, 1, offsetof(quon_mcu_time, second), Kind::s8, true, false, "", {}},
    {"rest_6", 6, 4, offsetof(quon_mcu_time, rest_6), Kind::bytes, false, false, "", {}},
};
constexpr Record k_time = {"time", k_time_fields, {}, 10, 10, offsetof(quon_mcu_time, absent), kNone, sizeof(quon_mcu_time), {0, 0, 0, kNone, kNone}};
constexpr Field k_value_fields[] = {
    {"value", 0, 1, offsetof(quon_mcu_value, value), Kind::u8, true, false, "", {}},
};
constexpr Record k_value = {"value", k_value_fields, {}, 1, 1, kNone, kNone, sizeof(quon_mcu_value), {0, 0, 0, kNone, kNone}};
constexpr Field k_battery_status_fields[] = {
    {"bytes", 0, 5, offsetof(quon_mcu_battery_status, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_battery_status = {"battery_status", k_battery_status_fields, {}, 5, 5, offsetof(quon_mcu_battery_status, absent), kNone, sizeof(quon_mcu_battery_status), {0, 0, 0, kNone, kNone}};
constexpr Field k_pir_info_fields[] = {
    {"bytes", 0, 36, offsetof(quon_mcu_pir_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_pir_info = {"pir_info", k_pir_info_fields, {}, 36, 36, offsetof(quon_mcu_pir_info, absent), kNone, sizeof(quon_mcu_pir_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_connect_fields[] = {
    {"bytes", 0, 134, offsetof(quon_mcu_wifi_connect, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_wifi_connect = {"wifi_connect", k_wifi_connect_fields, {}, 134, 134, kNone, kNone, sizeof(quon_mcu_wifi_connect), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_status_fields[] = {
    {"bytes", 0, 70, offsetof(quon_mcu_wifi_status, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_wifi_status = {"wifi_status", k_wifi_status_fields, {}, 70, 70, offsetof(quon_mcu_wifi_status, absent), kNone, sizeof(quon_mcu_wifi_status), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_info_fields[] = {
    {"mac", 0, 32, offsetof(quon_mcu_wifi_info, mac), Kind::address_text, true, false, "", {}},
    {"ip", 32, 32, offsetof(quon_mcu_wifi_info, ip), Kind::address_text, true, false, "", {}},
    {"gateway", 64, 32, offsetof(quon_mcu_wifi_info, gateway), Kind::address_text, true, false, "", {}},
    {"dns1", 96, 32, offsetof(quon_mcu_wifi_info, dns1), Kind::text, true, false, "", {}},
    {"dns2", 128, 32, offsetof(quon_mcu_wifi_info, dns2), Kind::text, true, false, "", {}},
};
constexpr Record k_wifi_info = {"wifi_info", k_wifi_info_fields, {}, 160, 160, offsetof(quon_mcu_wifi_info, absent), kNone, sizeof(quon_mcu_wifi_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_keepalive_fields[] = {
    {"bytes", 0, 164, offsetof(quon_mcu_wifi_keepalive, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_wifi_keepalive = {"wifi_keepalive", k_wifi_keepalive_fields, {}, 164, 164, kNone, kNone, sizeof(quon_mcu_wifi_keepalive), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_extended_info_fields[] = {
    {"bytes", 0, 66, offsetof(quon_mcu_wifi_extended_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_wifi_extended_info = {"wifi_extended_info", k_wifi_extended_info_fields, {}, 66, 66, kNone, kNone, sizeof(quon_mcu_wifi_extended_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_selector_fields[] = {
    {"selector", 0, 1, offsetof(quon_mcu_selector, selector), Kind::u8, true, false, "", {}},
};
constexpr Record k_selector = {"selector", k_selector_fields, {}, 1, 1, kNone, kNone, sizeof(quon_mcu_selector), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_scanf_info_fields[] = {
    {"bytes", 0, 241, offsetof(quon_mcu_wifi_scanf_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_wifi_scanf_info = {"wifi_scanf_info", k_wifi_scanf_info_fields, {}, 241, 241, offsetof(quon_mcu_wifi_scanf_info, absent), kNone, sizeof(quon_mcu_wifi_scanf_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_event_info_fields[] = {
    {"bytes", 0, 33, offsetof(quon_mcu_event_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_event_info = {"event_info", k_event_info_fields, {}, 33, 33, kNone, kNone, sizeof(quon_mcu_event_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_upg_start_fields[] = {
    {"first", 0, 1, offsetof(quon_mcu_upg_start, first), Kind::u8, true, false, "", {}},
    {"second", 1, 4, offsetof(quon_mcu_upg_start, second), Kind::u32, true, false, "", {}},
};
constexpr Record k_upg_start = {"upg_start", k_upg_start_fields, {}, 5, 5, kNone, kNone, sizeof(quon_mcu_upg_start), {0, 0, 0, kNone, kNone}};
constexpr Field k_zero_word_fields[] = {
    {"zero", 0, 4, offsetof(quon_mcu_zero_word, zero), Kind::u32, true, false, "", {}},
};
constexpr Record k_zero_word = {"zero_word", k_zero_word_fields, {}, 4, 4, kNone, kNone, sizeof(quon_mcu_zero_word), {0, 0, 0, kNone, kNone}};
constexpr Field k_upg_block_fields[] = {
    {"word", 0, 4, offsetof(quon_mcu_upg_block, word), Kind::u32, true, false, "", {}},
    {"length", 4, 4, offsetof(quon_mcu_upg_block, length), Kind::u32, true, false, "B", {}},
    {"data", 8, 256, offsetof(quon_mcu_upg_block, data), Kind::bytes, true, false, "", {}},
    {"tail", 264, 1, offsetof(quon_mcu_upg_block, tail), Kind::u8, true, false, "", {}},
};
constexpr Record k_upg_block = {"upg_block", k_upg_block_fields, {}, 265, 265, kNone, kNone, sizeof(quon_mcu_upg_block), {0, 0, 0, kNone, kNone}};
constexpr Field k_store_params_fields[] = {
    {"rest_0", 0, 38, offsetof(quon_mcu_store_params, rest_0), Kind::bytes, false, false, "", {}},
    {"server_ip", 38, 4, offsetof(quon_mcu_store_params, server_ip), Kind::ipv4, true, false, "", {}},
    {"server_port", 42, 2, offsetof(quon_mcu_store_params, server_port), Kind::u16, true, false, "", {}},
    {"rest_44", 44, 4, offsetof(quon_mcu_store_params, rest_44), Kind::bytes, false, false, "", {}},
};
constexpr Record k_store_params = {"store_params", k_store_params_fields, {}, 48, 48, offsetof(quon_mcu_store_params, absent), kNone, sizeof(quon_mcu_store_params), {0, 0, 0, kNone, kNone}};
constexpr Field k_wdg_state_text_fields[] = {
    {"state", 0, 1, offsetof(quon_mcu_wdg_state_text, state), Kind::digit_text, true, false, "", {}},
};
constexpr Record k_wdg_state_text = {"wdg_state_text", k_wdg_state_text_fields, {}, 1, 1, offsetof(quon_mcu_wdg_state_text, absent), kNone, sizeof(quon_mcu_wdg_state_text), {0, 0, 0, kNone, kNone}};
constexpr Field k_wdg_period_fields[] = {
    {"period", 0, 4, offsetof(quon_mcu_wdg_period, period), Kind::u32, true, false, "", {}},
};
constexpr Record k_wdg_period = {"wdg_period", k_wdg_period_fields, {}, 4, 4, kNone, kNone, sizeof(quon_mcu_wdg_period), {0, 0, 0, kNone, kNone}};
constexpr Field k_alarm_fields[] = {
    {"word", 0, 4, offsetof(quon_mcu_alarm, word), Kind::u32, true, false, "", {}},
    {"byte4", 4, 1, offsetof(quon_mcu_alarm, byte4), Kind::u8, true, false, "", {}},
    {"byte5", 5, 1, offsetof(quon_mcu_alarm, byte5), Kind::u8, true, false, "", {}},
    {"byte6", 6, 1, offsetof(quon_mcu_alarm, byte6), Kind::u8, true, false, "", {}},
};
constexpr Record k_alarm = {"alarm", k_alarm_fields, {}, 7, 7, offsetof(quon_mcu_alarm, absent), kNone, sizeof(quon_mcu_alarm), {0, 0, 0, kNone, kNone}};
constexpr Field k_ap_start_fields[] = {
    {"bytes", 0, 166, offsetof(quon_mcu_ap_start, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_ap_start = {"ap_start", k_ap_start_fields, {}, 166, 166, kNone, kNone, sizeof(quon_mcu_ap_start), {0, 0, 0, kNone, kNone}};
constexpr Field k_err_report_fields[] = {
    {"bytes", 0, 36, offsetof(quon_mcu_err_report_entry, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_err_report = {"err_report", k_err_report_fields, {}, 181, 181, offsetof(quon_mcu_err_report, absent), kNone, sizeof(quon_mcu_err_report), {36, 5, sizeof(quon_mcu_err_report_entry), offsetof(quon_mcu_err_report, count), offsetof(quon_mcu_err_report, entries)}};
constexpr Field k_shell_command_fields[] = {
    {"command", 0, 0, offsetof(quon_mcu_shell_command, command), Kind::text, true, false, "", {}},
};
constexpr Record k_shell_command = {"shell_command", k_shell_command_fields, {}, 0, 4356, kNone, kNone, sizeof(quon_mcu_shell_command), {0, 0, 0, kNone, kNone}};
constexpr Field k_shell_status_fields[] = {
    {"status", 0, 0, offsetof(quon_mcu_shell_status, status), Kind::text, true, false, "", {}},
};
constexpr Record k_shell_status = {"shell_status", k_shell_status_fields, {}, 0, 4356, kNone, kNone, sizeof(quon_mcu_shell_status), {0, 0, 0, kNone, kNone}};
constexpr Field k_shell_output_fields[] = {
    {"output", 0, 0, offsetof(quon_mcu_shell_output, output), Kind::bytes, true, false, "", {}},
};
constexpr Record k_shell_output = {"shell_output", k_shell_output_fields, {}, 0, 4356, kNone, offsetof(quon_mcu_shell_output, length), sizeof(quon_mcu_shell_output), {0, 0, 0, kNone, kNone}};
constexpr KnownValue k_log_profile_request_level_limit_values[] = {
    {0, "fatal"},
    {1, "error"},
    {2, "warning"},
    {3, "information"},
    {4, "debug"},
};
constexpr Field k_log_profile_request_fields[] = {
    {"enable", 0, 1, offsetof(quon_mcu_log_profile_request, enable), Kind::u8, true, false, "", {}},
    {"level_limit", 1, 1, offsetof(quon_mcu_log_profile_request, level_limit), Kind::u8, true, false, "", k_log_profile_request_level_limit_values},
    {"rest_2", 2, 33, offsetof(quon_mcu_log_profile_request, rest_2), Kind::bytes, false, false, "", {}},
};
constexpr Record k_log_profile_request = {"log_profile_request", k_log_profile_request_fields, {}, 35, 35, kNone, kNone, sizeof(quon_mcu_log_profile_request), {0, 0, 0, kNone, kNone}};
constexpr Field k_log_profile_fields[] = {
    {"bytes", 0, 35, offsetof(quon_mcu_log_profile, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_log_profile = {"log_profile", k_log_profile_fields, {}, 35, 35, kNone, kNone, sizeof(quon_mcu_log_profile), {0, 0, 0, kNone, kNone}};
constexpr Field k_soc_min_version_fields[] = {
    {"version", 0, 0, offsetof(quon_mcu_soc_min_version, version), Kind::text, true, false, "", {}},
};
constexpr Record k_soc_min_version = {"soc_min_version", k_soc_min_version_fields, {}, 0, 384, offsetof(quon_mcu_soc_min_version, absent), kNone, sizeof(quon_mcu_soc_min_version), {0, 0, 0, kNone, kNone}};
constexpr Field k_status_info_fields[] = {
    {"bytes", 0, 136, offsetof(quon_mcu_status_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_status_info = {"status_info", k_status_info_fields, {}, 136, 136, offsetof(quon_mcu_status_info, absent), kNone, sizeof(quon_mcu_status_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_charge_auto_poweron_fields[] = {
    {"bytes", 0, 67, offsetof(quon_mcu_charge_auto_poweron, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_charge_auto_poweron = {"charge_auto_poweron", k_charge_auto_poweron_fields, {}, 67, 67, kNone, kNone, sizeof(quon_mcu_charge_auto_poweron), {0, 0, 0, kNone, kNone}};
constexpr Field k_raw_command_fields[] = {
    {"bytes", 0, 0, offsetof(quon_mcu_raw_command, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_raw_command = {"raw_command", k_raw_command_fields, {}, 0, 384, kNone, offsetof(quon_mcu_raw_command, length), sizeof(quon_mcu_raw_command), {0, 0, 0, kNone, kNone}};
constexpr Field k_config_info_fields[] = {
    {"bytes", 0, 256, offsetof(quon_mcu_config_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_config_info = {"config_info", k_config_info_fields, {}, 256, 256, offsetof(quon_mcu_config_info, absent), kNone, sizeof(quon_mcu_config_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_bit_err_rate_fields[] = {
    {"bytes", 0, 259, offsetof(quon_mcu_bit_err_rate, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_bit_err_rate = {"bit_err_rate", k_bit_err_rate_fields, {}, 259, 259, kNone, kNone, sizeof(quon_mcu_bit_err_rate), {0, 0, 0, kNone, kNone}};
constexpr Field k_socup_time_fields[] = {
    {"socup_time1", 0, 4, offsetof(quon_mcu_socup_time, socup_time1), Kind::u32, true, false, "", {}},
    {"socup_time2", 4, 4, offsetof(quon_mcu_socup_time, socup_time2), Kind::u32, true, false, "", {}},
    {"since_start", 8, 4, offsetof(quon_mcu_socup_time, since_start), Kind::u32, true, true, "ms", {}},
};
constexpr uint16_t k_socup_time_parts[] = {0, 8};
constexpr Record k_socup_time = {"socup_time", k_socup_time_fields, k_socup_time_parts, 12, 12, offsetof(quon_mcu_socup_time, absent), kNone, sizeof(quon_mcu_socup_time), {0, 0, 0, kNone, kNone}};
constexpr Field k_wifi_extended_status_fields[] = {
    {"bytes", 0, 264, offsetof(quon_mcu_wifi_extended_status, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_wifi_extended_status = {"wifi_extended_status", k_wifi_extended_status_fields, {}, 264, 264, offsetof(quon_mcu_wifi_extended_status, absent), kNone, sizeof(quon_mcu_wifi_extended_status), {0, 0, 0, kNone, kNone}};
constexpr Field k_soc_time_info_fields[] = {
    {"bytes", 0, 44, offsetof(quon_mcu_soc_time_info, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_soc_time_info = {"soc_time_info", k_soc_time_info_fields, {}, 44, 44, kNone, kNone, sizeof(quon_mcu_soc_time_info), {0, 0, 0, kNone, kNone}};
constexpr Field k_soc_time_list_fields[] = {
    {"bytes", 0, 44, offsetof(quon_mcu_soc_time_list_entry, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_soc_time_list = {"soc_time_list", k_soc_time_list_fields, {}, 221, 221, offsetof(quon_mcu_soc_time_list, absent), kNone, sizeof(quon_mcu_soc_time_list), {44, 5, sizeof(quon_mcu_soc_time_list_entry), offsetof(quon_mcu_soc_time_list, count), offsetof(quon_mcu_soc_time_list, entries)}};
constexpr Field k_soc_time_cur_fields[] = {
    {"bytes", 0, 212, offsetof(quon_mcu_soc_time_cur, bytes), Kind::bytes, true, false, "", {}},
};
constexpr Record k_soc_time_cur = {"soc_time_cur", k_soc_time_cur_fields, {}, 212, 212, offsetof(quon_mcu_soc_time_cur, absent), kNone, sizeof(quon_mcu_soc_time_cur), {0, 0, 0, kNone, kNone}};

}  // namespace

constexpr Service kServices[] = {
    {"method.quon.mcu.get.ver", nullptr, &k_version, "the chip's answer has no text"},
    {"method.quon.mcu.get.wakeup.info", nullptr, &k_wakeup_info, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.allwakeup.info", nullptr, &k_wakeup_context, "no answer at the start, or zero in it"},
    {"signal.quon.mcu.set.time", &k_time, nullptr, nullptr},
    {"method.quon.mcu.get.time", nullptr, &k_time, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.led", &k_value, nullptr, nullptr},
    {"method.quon.mcu.get.battery.status", nullptr, &k_battery_status, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.pir.switch", &k_value, nullptr, nullptr},
    {"signal.quon.mcu.set.pir.sensitivity", &k_value, nullptr, nullptr},
    {"method.quon.mcu.get.pir.info", nullptr, &k_pir_info, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.pir.info", &k_pir_info, nullptr, nullptr},
    {"signal.quon.mcu.set.wifi.connect", &k_wifi_connect, nullptr, nullptr},
    {"signal.quon.mcu.set.wifi.disconnect", nullptr, nullptr, nullptr},
    {"method.quon.mcu.get.wifi.status", nullptr, &k_wifi_status, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.wifi.info", nullptr, &k_wifi_info, "none from the chip yet, or zero in its record"},
    {"signal.quon.mcu.set.wifi.keepalive", &k_wifi_keepalive, nullptr, nullptr},
    {"signal.quon.mcu.set.wifi.extended.info", &k_wifi_extended_info, nullptr, nullptr},
    {"method.quon.mcu.get.wifi.scanf.info", &k_selector, &k_wifi_scanf_info, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.system.state", &k_value, nullptr, nullptr},
    {"method.quon.mcu.get.event.info", nullptr, &k_event_info, nullptr},
    {"method.quon.mcu.upg.start", &k_upg_start, &k_zero_word, nullptr},
    {"method.quon.mcu.upg.transmit", &k_upg_block, &k_zero_word, nullptr},
    {"method.quon.mcu.upg.finish", nullptr, &k_zero_word, nullptr},
    {"signal.quon.mcu.set.store.params", &k_store_params, nullptr, nullptr},
    {"method.quon.mcu.get.store.params", nullptr, &k_store_params, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.wdg.state", &k_value, nullptr, nullptr},
    {"method.quon.mcu.get.wdg.state", nullptr, &k_wdg_state_text, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.wdg.period", &k_wdg_period, nullptr, nullptr},
    {"signal.quon.mcu.set.wdg.feed", nullptr, nullptr, nullptr},
    {"signal.quon.mcu.set.alarm", &k_alarm, nullptr, nullptr},
    {"method.quon.mcu.get.alarm", nullptr, &k_alarm, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.crash.test", nullptr, nullptr, nullptr},
    {"signal.quon.mcu.set.ap.start", &k_ap_start, nullptr, nullptr},
    {"signal.quon.mcu.set.ap.stop", nullptr, nullptr, nullptr},
    {"method.quon.mcu.get.err.report", nullptr, &k_err_report, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.system", &k_shell_command, &k_shell_status, nullptr},
    {"method.quon.mcu.get.popen", &k_shell_command, &k_shell_output, nullptr},
    {"signal.quon.mcu.set.log.profile", &k_log_profile_request, nullptr, nullptr},
    {"method.quon.mcu.get.log.profile", nullptr, &k_log_profile, nullptr},
    {"method.quon.mcu.get.soc.min.ver", nullptr, &k_soc_min_version, "the chip's answer has no text"},
    {"signal.quon.mcu.set.uart.switch", &k_value, nullptr, nullptr},
    {"signal.quon.mcu.set.wakeup.info", &k_wakeup_info, nullptr, nullptr},
    {"method.quon.mcu.get.status.info", nullptr, &k_status_info, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.charge.auto.poweron", &k_charge_auto_poweron, nullptr, nullptr},
    {"signal.quon.mcu.set.cmd", &k_raw_command, nullptr, nullptr},
    {"signal.quon.mcu.set.tamper.info", &k_value, nullptr, nullptr},
    {"method.quon.mcu.get.config.info", nullptr, &k_config_info, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.bit.err.rate", nullptr, &k_bit_err_rate, nullptr},
    {"method.quon.mcu.get.socup.time", nullptr, &k_socup_time, "no answer at the start, or zero in it"},
    {"method.quon.mcu.get.wifi.extended.status", nullptr, &k_wifi_extended_status, "zero, or not in the chip's answer"},
    {"signal.quon.mcu.set.soc.time.info", &k_soc_time_info, nullptr, nullptr},
    {"method.quon.mcu.get.soc.time.list", nullptr, &k_soc_time_list, "zero, or not in the chip's answer"},
    {"method.quon.mcu.get.soc.time.cur.info", nullptr, &k_soc_time_cur, "zero, or not in the chip's answer"},
};
// clang-format on

static_assert(sizeof(kServices) / sizeof(kServices[0]) == kServiceCount);

}  // namespace quon::typed
