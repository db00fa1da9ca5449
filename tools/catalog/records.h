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
inline constexpr known_value wakeup_reasons[] = {
    {1,  "starts the remote wake-up hand-off"},
    {3,  "starts the remote wake-up hand-off"},
    {13, "starts the remote wake-up hand-off"},
};
inline constexpr known_value net_states[] = {
    {1, "applied to wlan0"},
    {2, "applied to wlan0"},
};
inline constexpr known_value upg_answers[] = {
    {HI3861L_UPG_ACCEPTED, "accepted"},
};
inline constexpr known_value log_levels[] = {
    {0, "fatal"}, {1, "error"}, {2, "warning"}, {3, "information"}, {4, "debug"},
};

//   name                    offset size kind   unit  values          meaning
inline constexpr field version_fields[] = {
    {"version",               0,   0, text,  "",   {},             "firmware version of the chip"},
};
inline constexpr field net_info_fields[] = {
    {"ip",                    0,   4, ipv4,  "",   {},             "address of wlan0"},
    {"netmask",               4,   4, ipv4,  "",   {},             "netmask of wlan0"},
    {"gateway",               8,   4, ipv4,  "",   {},             "default gateway"},
    {"mac",                  12,   6, mac,   "",   {},             "hardware address of wlan0"},
    {"dns1",                 18,   4, ipv4,  "",   {},             "primary name server"},
    {"dns2",                 22,   4, ipv4,  "",   {},             "secondary name server"},
};
inline constexpr field net_event_fields[] = {
    {"state",                 1,   1, u8,    "",   net_states,     "network state"},
    {"ip",                    2,   4, ipv4,  "",   {},             "address of wlan0"},
    {"netmask",               6,   4, ipv4,  "",   {},             "netmask of wlan0"},
    {"gateway",              10,   4, ipv4,  "",   {},             "default gateway"},
    {"mac",                  14,   6, mac,   "",   {},             "hardware address of wlan0"},
    {"dns1",                 20,   4, ipv4,  "",   {},             "primary name server"},
    {"dns2",                 24,   4, ipv4,  "",   {},             "secondary name server"},
};
inline constexpr field wakeup_info_fields[] = {
    {"reason",                0,   1, u8,    "",   wakeup_reasons, "why the main processor was woken"},
    {"mac",                  54,   6, mac,   "",   {},             "hardware address that get.wifi.info prefers"},
    {"socup_time1",          60,   4, u32,   "",   {},             "first word of get.socup.time"},
    {"socup_time2",          64,   4, u32,   "",   {},             "second word of get.socup.time"},
};
inline constexpr field time_fields[] = {
    {"year",                  0,   1, s8,    "",   {},             "year minus 2000", {0, 127}},
    {"month",                 1,   1, s8,    "",   {},             "month", {1, 12}},
    {"day",                   2,   1, s8,    "",   {},             "day of the month", {1, 31}},
    {"hour",                  3,   1, s8,    "",   {},             "hour", {0, 23}},
    {"minute",                4,   1, s8,    "",   {},             "minute", {0, 59}},
    {"second",                5,   1, s8,    "",   {},             "second", {0, 59}},
};
inline constexpr field wifi_info_fields[] = {
    {"mac",                   0,  32, address_text, "",   {},             "hardware address of wlan0"},
    {"ip",                   32,  32, address_text, "",   {},             "address of wlan0"},
    {"gateway",              64,  32, address_text, "",   {},             "default gateway"},
    {"dns1",                 96,  32, text,  "",   {},             "primary name server, or empty"},
    {"dns2",                128,  32, text,  "",   {},             "secondary name server, or empty"},
};
inline constexpr field store_params_fields[] = {
    {"server_ip",            38,   4, ipv4,  "",   {},             "server of the remote wake-up connection"},
    {"server_port",          42,   2, u16,   "",   {},             "its TCP port"},
};
inline constexpr field wdg_state_byte_fields[] = {
    {"state",                 0,   1, u8,    "",   {},             "watchdog state"},
};
inline constexpr field wdg_state_text_fields[] = {
    {"state",                 0,   1, digit_text, "",   {},             "first decimal digit of the watchdog state"},
};
inline constexpr field alarm_fields[] = {
    {"word",                  0,   4, u32,   "",   {},             "the chip's"},
    {"byte4",                 4,   1, u8,    "",   {},             "the chip's"},
    {"byte5",                 5,   1, u8,    "",   {},             "the chip's"},
    {"byte6",                 6,   1, u8,    "",   {},             "the chip's"},
};
// Where the answers begin that make up the wake-up context.
inline constexpr uint32_t wakeup_context_parts[] = {
    MCU_CONTEXT_WAKEUP_OFFSET,    MCU_CONTEXT_TIME_OFFSET,      MCU_CONTEXT_BATTERY_OFFSET,
    MCU_CONTEXT_WIFI_STATUS_OFFSET, MCU_CONTEXT_WIFI_INFO_OFFSET, MCU_CONTEXT_STORE_OFFSET,
    MCU_CONTEXT_VERSION_OFFSET,   MCU_CONTEXT_START_MS_OFFSET,
};
inline constexpr uint32_t socup_time_parts[] = {0, 8};
inline constexpr field wakeup_context_fields[] = {
    {"wakeup_reason",         0,   1, u8,    "",   wakeup_reasons, "why the main processor was woken"},
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
inline constexpr field socup_time_fields[] = {
    {"socup_time1",           0,   4, u32,   "",   {},             "bytes 60 to 63 of the wake-up info"},
    {"socup_time2",           4,   4, u32,   "",   {},             "bytes 64 to 67 of the wake-up info"},
    {"since_start",           8,   4, u32,   "ms", {},             "time since the start-up snapshot", {}, true},
};
inline constexpr field zero_word_fields[] = {
    {"zero",                  0,   4, u32,   "",   {},             "always 0"},
};
inline constexpr field upg_transmit_answer_fields[] = {
    {"answer",                4,   1, u8,    "",   upg_answers,    "whether the block was accepted"},
};
inline constexpr field soc_min_version_fields[] = {
    {"version",               0,   0, text,  "",   {},             "minimum version of the main processor's software"},
};
inline constexpr field shell_status_fields[] = {
    {"status",                0,   0, text,  "",   {},             "wait status of the command, in decimal"},
};
inline constexpr field shell_output_fields[] = {
    {"output",                0,   0, bytes, "",   {},             "first 4356 bytes of the command's standard output"},
};
inline constexpr field value_fields[] = {
    {"value",                 0,   1, u8,    "",   {},             "the value, handed to the chip as it stands"},
};
inline constexpr field selector_fields[] = {
    {"selector",              0,   1, u8,    "",   {},             "which scan information, handed to the chip as it stands"},
};
inline constexpr field wdg_period_fields[] = {
    {"period",                0,   4, u32,   "",   {},             "watchdog period, in the chip's unit"},
};
inline constexpr field upg_start_fields[] = {
    {"first",                 0,   1, u8,    "",   {},             "first value, handed to the chip as it stands"},
    {"second",                1,   4, u32,   "",   {},             "second value, handed to the chip as it stands"},
};
inline constexpr field upg_block_fields[] = {
    {"word",                  0,   4, u32,   "",   {},             "handed to the chip as it stands"},
    {"length",                4,   4, u32,   "B",  {},             "data bytes of this block, at most 256"},
    {"data",                  8, 256, bytes, "",   {},             "piece of the image"},
    {"tail",                264,   1, u8,    "",   {},             "handed to the chip as it stands"},
};
inline constexpr field log_profile_request_fields[] = {
    {"enable",                0,   1, u8,    "",   {},             "not applied by the daemon"},
    {"level_limit",           1,   1, u8,    "",   log_levels,     "highest log level that the daemon prints"},
};
inline constexpr field shell_command_fields[] = {
    {"command",               0,   0, text,  "",   {},             "command text, run by the shell"},
};

inline constexpr uint32_t any_size = 0;
inline constexpr uint32_t no_list = 0;
inline constexpr std::string_view no_text_in_answer = "the chip's answer has no text";
}  // namespace detail

using namespace detail;

// name, size, entry size, fields; then, where they matter, the parts and what a zero may mean
inline constexpr record version              {"version",              any_size,                      no_list,                   version_fields, {}, no_text_in_answer};
inline constexpr record net_info             {"net_info",             sizeof(hi3861l_net_info),      no_list,                   net_info_fields};
inline constexpr record wakeup_info          {"wakeup_info",          MCU_WAKEUP_INFO_SIZE,          no_list,                   wakeup_info_fields};
inline constexpr record time                 {"time",                 MCU_TIME_SIZE,                 no_list,                   time_fields};
inline constexpr record battery_status       {"battery_status",       MCU_BATTERY_STATUS_SIZE,       no_list,                   {}};
inline constexpr record pir_info             {"pir_info",             MCU_PIR_INFO_SIZE,             no_list,                   {}};
inline constexpr record wifi_status          {"wifi_status",          MCU_WIFI_STATUS_SIZE,          no_list,                   {}};
inline constexpr record wifi_info            {"wifi_info",            MCU_WIFI_INFO_SIZE,            no_list,                   wifi_info_fields, {}, "none from the chip yet, or zero in its record"};
inline constexpr record wifi_scanf_info      {"wifi_scanf_info",      MCU_WIFI_SCANF_INFO_SIZE,      no_list,                   {}};
inline constexpr record store_params         {"store_params",         MCU_STORE_PARAMS_SIZE,         no_list,                   store_params_fields};
inline constexpr record wdg_state_byte       {"wdg_state_byte",       1,                             no_list,                   wdg_state_byte_fields};
inline constexpr record wdg_state_text       {"wdg_state_text",       1,                             no_list,                   wdg_state_text_fields, {}, "zero, or not in the chip's answer"};
inline constexpr record alarm                {"alarm",                MCU_ALARM_SIZE,                no_list,                   alarm_fields};
inline constexpr record err_report           {"err_report",           MCU_ERR_REPORT_SIZE,           MCU_ERR_REPORT_ENTRY_SIZE, {}};
inline constexpr record soc_min_version      {"soc_min_version",      any_size,                      no_list,                   soc_min_version_fields, {}, no_text_in_answer};
inline constexpr record status_info          {"status_info",          MCU_STATUS_INFO_SIZE,          no_list,                   {}};
inline constexpr record config_info          {"config_info",          MCU_CONFIG_INFO_SIZE,          no_list,                   {}};
inline constexpr record log_profile          {"log_profile",          MCU_LOG_PROFILE_SIZE,          no_list,                   {}};
inline constexpr record bit_err_rate         {"bit_err_rate",         MCU_BIT_ERR_RATE_SIZE,         no_list,                   {}};
inline constexpr record wifi_extended_status {"wifi_extended_status", MCU_WIFI_EXTENDED_STATUS_SIZE, no_list,                   {}};
inline constexpr record soc_time_list        {"soc_time_list",        MCU_SOC_TIME_LIST_SIZE,        MCU_SOC_TIME_ENTRY_SIZE,   {}};
inline constexpr record soc_time_cur         {"soc_time_cur",         MCU_SOC_TIME_CUR_SIZE,         no_list,                   {}};
inline constexpr record event_info           {"event_info",           MCU_EVENT_INFO_SIZE,           no_list,                   {}};
inline constexpr record wakeup_context       {"wakeup_context",       MCU_WAKEUP_CONTEXT_SIZE,       no_list,                   wakeup_context_fields, wakeup_context_parts, "no answer at the start, or zero in it"};
inline constexpr record socup_time           {"socup_time",           MCU_SOCUP_TIME_SIZE,           no_list,                   socup_time_fields, socup_time_parts, "no answer at the start, or zero in it"};
inline constexpr record zero_word            {"zero_word",            MCU_UPG_REPLY_SIZE,            no_list,                   zero_word_fields};
inline constexpr record upg_start_answer     {"upg_start_answer",     any_size,                      no_list,                   {}};
inline constexpr record upg_transmit_answer  {"upg_transmit_answer",  any_size,                      no_list,                   upg_transmit_answer_fields};
inline constexpr record shell_status         {"shell_status",         any_size,                      no_list,                   shell_status_fields};
inline constexpr record shell_output         {"shell_output",         any_size,                      no_list,                   shell_output_fields};

inline constexpr record value                {"value",                1,                             no_list,                   value_fields};
inline constexpr record selector             {"selector",             1,                             no_list,                   selector_fields};
inline constexpr record wdg_period           {"wdg_period",           MCU_WDG_PERIOD_SIZE,           no_list,                   wdg_period_fields};
inline constexpr record wifi_connect         {"wifi_connect",         MCU_WIFI_CONNECT_SIZE,         no_list,                   {}};
inline constexpr record wifi_keepalive       {"wifi_keepalive",       MCU_WIFI_KEEPALIVE_SIZE,       no_list,                   {}};
inline constexpr record wifi_extended_info   {"wifi_extended_info",   MCU_WIFI_EXTENDED_INFO_SIZE,   no_list,                   {}};
inline constexpr record ap_start             {"ap_start",             MCU_AP_START_SIZE,             no_list,                   {}};
inline constexpr record charge_auto_poweron  {"charge_auto_poweron",  MCU_CHARGE_AUTO_POWERON_SIZE,  no_list,                   {}};
inline constexpr record soc_time_info        {"soc_time_info",        MCU_SOC_TIME_INFO_SIZE,        no_list,                   {}};
inline constexpr record upg_start            {"upg_start",            MCU_UPG_START_SIZE,            no_list,                   upg_start_fields};
inline constexpr record upg_block            {"upg_block",            MCU_UPG_BLOCK_SIZE,            no_list,                   upg_block_fields};
inline constexpr record raw_command          {"raw_command",          any_size,                      no_list,                   {}};
inline constexpr record log_profile_request  {"log_profile_request",  MCU_LOG_PROFILE_SIZE,          no_list,                   log_profile_request_fields};
inline constexpr record shell_command        {"shell_command",        any_size,                      no_list,                   shell_command_fields};

inline constexpr record event                {"event",                any_size,                      no_list,                   {}};
inline constexpr record net_event            {"net_event",            any_size,                      no_list,                   net_event_fields};
// clang-format on

}  // namespace layout

}  // namespace quon::catalog
