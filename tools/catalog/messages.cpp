#include <algorithm>
#include <array>

#include "catalog/records.h"
#include "hi3861l_protocol.h"

namespace quon::catalog {
namespace {

using namespace layout;

constexpr const record* none = nullptr;

// clang-format off
constexpr auto table = std::to_array<message>({
    // type                              name                          request               reply                  ms
    {HI3861L_EVENT_0,                    "event_0",                    none,                 &event,                   0},
    {HI3861L_EVENT_1,                    "event_1",                    none,                 &event,                   0},
    {HI3861L_EVENT_2,                    "event_2",                    none,                 &event,                   0},
    {HI3861L_EVENT_NET,                  "event_net",                  none,                 &net_event,               0},
    {HI3861L_EVENT_4,                    "event_4",                    none,                 &event,                   0},
    {HI3861L_EVENT_5,                    "event_5",                    none,                 &event,                   0},
    {HI3861L_GET_VERSION,                "get_version",                none,                 &version,              1000},
    {HI3861L_GET_NET_INFO,               "get_net_info",               none,                 &net_info,             1000},
    {HI3861L_GET_WAKEUP_INFO,            "get_wakeup_info",            none,                 &wakeup_info,          2000},
    {HI3861L_SET_TIME,                   "set_time",                   &layout::time,        none,                     0},
    {HI3861L_GET_TIME,                   "get_time",                   none,                 &layout::time,         1000},
    {HI3861L_SET_LED,                    "set_led",                    &value,               none,                     0},
    {HI3861L_GET_BATTERY_STATUS,         "get_battery_status",         none,                 &battery_status,       2000},
    {HI3861L_SET_PIR_SWITCH,             "set_pir_switch",             &value,               none,                     0},
    {HI3861L_SET_PIR_SENSITIVITY,        "set_pir_sensitivity",        &value,               none,                     0},
    {HI3861L_GET_PIR_INFO,               "get_pir_info",               none,                 &pir_info,             1000},
    {HI3861L_SET_WIFI_CONNECT,           "set_wifi_connect",           &wifi_connect,        none,                     0},
    {HI3861L_SET_WIFI_DISCONNECT,        "set_wifi_disconnect",        none,                 none,                     0},
    {HI3861L_GET_WIFI_STATUS,            "get_wifi_status",            none,                 &wifi_status,          1000},
    {HI3861L_SET_WIFI_KEEPALIVE,         "set_wifi_keepalive",         &wifi_keepalive,      none,                     0},
    {HI3861L_SET_SYSTEM_STATE,           "set_system_state",           &value,               none,                     0},
    {HI3861L_UPG_START,                  "upg_start",                  &layout::upg_start,   &upg_start_answer,     3000},
    {HI3861L_UPG_TRANSMIT,               "upg_transmit",               &upg_block,           &upg_transmit_answer,  3000},
    {HI3861L_UPG_FINISH,                 "upg_finish",                 none,                 none,                     0},
    {HI3861L_SET_STORE_PARAMS,           "set_store_params",           &store_params,        none,                     0},
    {HI3861L_GET_STORE_PARAMS,           "get_store_params",           none,                 &store_params,         1000},
    {HI3861L_SET_WDG_STATE,              "set_wdg_state",              &value,               none,                     0},
    {HI3861L_GET_WDG_STATE,              "get_wdg_state",              none,                 &wdg_state_byte,       1000},
    {HI3861L_SET_WDG_PERIOD,             "set_wdg_period",             &wdg_period,          none,                     0},
    {HI3861L_SET_WDG_FEED,               "set_wdg_feed",               none,                 none,                     0},
    {HI3861L_SET_ALARM,                  "set_alarm",                  &layout::alarm,       none,                     0},
    {HI3861L_GET_ALARM,                  "get_alarm",                  none,                 &layout::alarm,        1000},
    {HI3861L_SET_AP_START,               "set_ap_start",               &ap_start,            none,                     0},
    {HI3861L_SET_AP_STOP,                "set_ap_stop",                none,                 none,                     0},
    {HI3861L_SET_CRASH_TEST,             "set_crash_test",             none,                 none,                     0},
    {HI3861L_SET_WIFI_EXTENDED_INFO,     "set_wifi_extended_info",     &wifi_extended_info,  none,                     0},
    {HI3861L_GET_ERR_REPORT,             "get_err_report",             none,                 &err_report,           1000},
    {HI3861L_GET_SOC_MIN_VERSION,        "get_soc_min_version",        none,                 &soc_min_version,      1000},
    {HI3861L_SET_UART_SWITCH,            "set_uart_switch",            &value,               none,                     0},
    {HI3861L_SET_WAKEUP_INFO,            "set_wakeup_info",            &wakeup_info,         none,                     0},
    {HI3861L_SET_PIR_INFO,               "set_pir_info",               &pir_info,            none,                     0},
    {HI3861L_GET_STATUS_INFO,            "get_status_info",            none,                 &status_info,          1000},
    {HI3861L_SET_CHARGE_AUTO_POWERON,    "set_charge_auto_poweron",    &charge_auto_poweron, none,                     0},
    {HI3861L_SET_CMD,                    "set_cmd",                    &raw_command,         none,                     0},
    {HI3861L_SET_TAMPER_SWITCH,          "set_tamper_switch",          &value,               none,                     0},
    {HI3861L_GET_CONFIG_INFO,            "get_config_info",            none,                 &config_info,          1000},
    {HI3861L_GET_WIFI_SCANF_INFO,        "get_wifi_scanf_info",        &selector,            &wifi_scanf_info,      2000},
    {HI3861L_GET_WIFI_EXTENDED_STATUS,   "get_wifi_extended_status",   none,                 &wifi_extended_status, 1000},
    {HI3861L_SET_SOC_POWERON_TIME_INFO,  "set_soc_poweron_time_info",  &soc_time_info,       none,                     0},
    {HI3861L_GET_SOC_POWERON_TIME_LIST,  "get_soc_poweron_time_list",  none,                 &soc_time_list,        1000},
    {HI3861L_GET_SOC_POWERON_TIME_CUR,   "get_soc_poweron_time_cur",   none,                 &soc_time_cur,         1000},
});
// clang-format on

}  // namespace

std::span<const message> messages() {
    return table;
}

const message* find_message(uint8_t type) {
    const auto found = std::ranges::find(table, type, &message::type);
    return found == table.end() ? nullptr : &*found;
}

std::string_view message_name(uint8_t type) {
    const message* known = find_message(type);
    return known == nullptr ? "unknown" : known->name;
}

std::string describe_payload(direction way, uint8_t type, std::span<const uint8_t> payload) {
    const message* known = find_message(type);
    if (known == nullptr) {
        return one_line(nullptr, payload);
    }
    return one_line(way == direction::to_chip ? known->request : known->reply, payload);
}

}  // namespace quon::catalog
