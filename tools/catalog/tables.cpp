#include <algorithm>
#include <array>

#include "catalog/records.h"

namespace quon::catalog {
namespace {

using namespace layout;

constexpr const record* none = nullptr;
constexpr std::string_view zero_in_answer = "zero, or not in the chip's answer";

// clang-format off
constexpr auto message_table = std::to_array<message>({
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

// One row of the daemon's table, in its order. What its message says is not said again.
constexpr record layout_of_message{};
constexpr const record* as_message = &layout_of_message;
constexpr auto no_message = std::nullopt;
struct service_row {
    std::string_view name;
    std::optional<uint8_t> message;
    std::string_view meaning;
    const record* request = as_message;
    const record* reply = as_message;
    std::string_view refusal = {};
};

#define METHOD "method.quon.mcu."
#define SIGNAL "signal.quon.mcu."
constexpr auto service_rows = std::to_array<service_row>({
    // name                               chip message                        meaning; then what differs from the message: request, reply, why it fails
    {METHOD "get.ver",                    HI3861L_GET_VERSION,                "firmware version of the chip"},
    {METHOD "get.wakeup.info",            HI3861L_GET_WAKEUP_INFO,            "why and when the main processor was woken"},
    {METHOD "get.allwakeup.info",         no_message,                         "the start-up snapshot", none, &wakeup_context},
    {SIGNAL "set.time",                   HI3861L_SET_TIME,                   "set the chip's clock"},
    {METHOD "get.time",                   HI3861L_GET_TIME,                   "the chip's clock"},
    {SIGNAL "set.led",                    HI3861L_SET_LED,                    "set the LED state"},
    {METHOD "get.battery.status",         HI3861L_GET_BATTERY_STATUS,         "battery status"},
    {SIGNAL "set.pir.switch",             HI3861L_SET_PIR_SWITCH,             "switch the motion sensor"},
    {SIGNAL "set.pir.sensitivity",        HI3861L_SET_PIR_SENSITIVITY,        "set the motion sensor's sensitivity"},
    {METHOD "get.pir.info",               HI3861L_GET_PIR_INFO,               "motion sensor settings"},
    {SIGNAL "set.pir.info",               HI3861L_SET_PIR_INFO,               "set the motion sensor settings"},
    {SIGNAL "set.wifi.connect",           HI3861L_SET_WIFI_CONNECT,           "connect the Wi-Fi link"},
    {SIGNAL "set.wifi.disconnect",        HI3861L_SET_WIFI_DISCONNECT,        "disconnect the Wi-Fi link"},
    {METHOD "get.wifi.status",            HI3861L_GET_WIFI_STATUS,            "state of the Wi-Fi link"},
    {METHOD "get.wifi.info",              no_message,                         "network settings of wlan0 as the daemon knows them", none, &wifi_info},
    {SIGNAL "set.wifi.keepalive",         HI3861L_SET_WIFI_KEEPALIVE,         "set the Wi-Fi keep-alive"},
    {SIGNAL "set.wifi.extended.info",     HI3861L_SET_WIFI_EXTENDED_INFO,     "set the extended Wi-Fi information"},
    {METHOD "get.wifi.scanf.info",        HI3861L_GET_WIFI_SCANF_INFO,        "Wi-Fi scan information"},
    {SIGNAL "set.system.state",           HI3861L_SET_SYSTEM_STATE,           "tell the chip the system's state"},
    {METHOD "get.event.info",             no_message,                         "take the oldest event off the event queue", none, &event_info, "the event queue is empty"},
    {METHOD "upg.start",                  HI3861L_UPG_START,                  "begin a firmware upgrade", as_message, &zero_word},
    {METHOD "upg.transmit",               HI3861L_UPG_TRANSMIT,               "send one block of the image", as_message, &zero_word, "the chip refused the block, or the channel to it is closed"},
    {METHOD "upg.finish",                 HI3861L_UPG_FINISH,                 "end the firmware upgrade", as_message, &zero_word},
    {SIGNAL "set.store.params",           HI3861L_SET_STORE_PARAMS,           "store parameters in the chip"},
    {METHOD "get.store.params",           HI3861L_GET_STORE_PARAMS,           "parameters stored in the chip"},
    {SIGNAL "set.wdg.state",              HI3861L_SET_WDG_STATE,              "set the watchdog state"},
    {METHOD "get.wdg.state",              HI3861L_GET_WDG_STATE,              "watchdog state, its first digit", as_message, &wdg_state_text},
    {SIGNAL "set.wdg.period",             HI3861L_SET_WDG_PERIOD,             "set the watchdog period"},
    {SIGNAL "set.wdg.feed",               HI3861L_SET_WDG_FEED,               "feed the watchdog"},
    {SIGNAL "set.alarm",                  HI3861L_SET_ALARM,                  "set the alarm"},
    {METHOD "get.alarm",                  HI3861L_GET_ALARM,                  "the alarm"},
    {SIGNAL "set.crash.test",             HI3861L_SET_CRASH_TEST,             "make the chip crash, as a test"},
    {SIGNAL "set.ap.start",               HI3861L_SET_AP_START,               "start the access point"},
    {SIGNAL "set.ap.stop",                HI3861L_SET_AP_STOP,                "stop the access point"},
    {METHOD "get.err.report",             HI3861L_GET_ERR_REPORT,             "the chip's error report"},
    {METHOD "get.system",                 no_message,                         "run a shell command, get its wait status", &shell_command, &shell_status, "the daemon could not run the command"},
    {METHOD "get.popen",                  no_message,                         "run a shell command, get its output", &shell_command, &shell_output, "the daemon could not run the command"},
    {SIGNAL "set.log.profile",            no_message,                         "set the daemon's log level", &log_profile_request, none},
    {METHOD "get.log.profile",            no_message,                         "log profile; this chip has none", none, &log_profile, "this chip has none"},
    {METHOD "get.soc.min.ver",            HI3861L_GET_SOC_MIN_VERSION,        "minimum version of the main processor's software"},
    {SIGNAL "set.uart.switch",            HI3861L_SET_UART_SWITCH,            "switch the UART"},
    {SIGNAL "set.wakeup.info",            HI3861L_SET_WAKEUP_INFO,            "set the wake-up information"},
    {METHOD "get.status.info",            HI3861L_GET_STATUS_INFO,            "status information"},
    {SIGNAL "set.charge.auto.poweron",    HI3861L_SET_CHARGE_AUTO_POWERON,    "set the power-on while charging"},
    {SIGNAL "set.cmd",                    HI3861L_SET_CMD,                    "send the chip a raw command"},
    {SIGNAL "set.tamper.info",            HI3861L_SET_TAMPER_SWITCH,          "switch the tamper detection"},
    {METHOD "get.config.info",            HI3861L_GET_CONFIG_INFO,            "configuration information"},
    {METHOD "get.bit.err.rate",           no_message,                         "bit error rate; this chip has none", none, &bit_err_rate, "this chip has none"},
    {METHOD "get.socup.time",             no_message,                         "wake-up times, and the time since the snapshot", none, &socup_time},
    {METHOD "get.wifi.extended.status",   HI3861L_GET_WIFI_EXTENDED_STATUS,   "extended state of the Wi-Fi link"},
    {SIGNAL "set.soc.time.info",          HI3861L_SET_SOC_POWERON_TIME_INFO,  "set a power-on time of the main processor"},
    {METHOD "get.soc.time.list",          HI3861L_GET_SOC_POWERON_TIME_LIST,  "power-on times of the main processor"},
    {METHOD "get.soc.time.cur.info",      HI3861L_GET_SOC_POWERON_TIME_CUR,   "current power-on time of the main processor"},
});
// clang-format on

constexpr const message* message_of(uint8_t type) {
    for (const message& each : message_table) {
        if (each.type == type) {
            return &each;
        }
    }
    return nullptr;
}

constexpr service whole_service(size_t index) {
    const service_row& row = service_rows[index];
    const message* sent = row.message ? message_of(*row.message) : nullptr;
    return {static_cast<int>(index),
            row.name,
            row.name.starts_with("method") ? service_kind::method : service_kind::signal,
            row.request == as_message ? sent->request : row.request,
            row.reply == as_message ? sent->reply : row.reply,
            row.message,
            sent == nullptr ? 0 : sent->timeout_ms,
            row.meaning,
            row.refusal};
}

constexpr auto service_table = [] {
    std::array<service, service_rows.size()> all{};
    // cppcheck-suppress syntaxError ; it knows no lambda at this place
    for (size_t i = 0; i < all.size(); ++i) {
        all[i] = whole_service(i);
    }
    return all;
}();

// Every record once, in the order in which services and messages name them.
struct record_set {
    std::array<const record*, 2 * (message_table.size() + service_rows.size())> all{};
    size_t count = 0;

    void add(const record* one) {
        const auto end = all.begin() + static_cast<std::ptrdiff_t>(count);
        if (one != nullptr && std::find(all.begin(), end, one) == end) {
            all[count++] = one;
        }
    }
};

record_set all_records() {
    record_set found;
    for (const service& each : service_table) {
        found.add(each.request);
        found.add(each.reply);
    }
    for (const message& each : message_table) {
        found.add(each.request);
        found.add(each.reply);
    }
    return found;
}

}  // namespace

std::span<const service> services() {
    return service_table;
}

std::span<const message> messages() {
    return message_table;
}

std::span<const record* const> records() {
    static const record_set table = all_records();
    return std::span(table.all).first(table.count);
}

std::string_view zero_reason(const service& what) {
    if (what.reply == nullptr || !what.reply->zero.empty()) {
        return what.reply == nullptr ? std::string_view() : what.reply->zero;
    }
    const message* cause = what.message ? find_message(*what.message) : nullptr;
    const bool brings_answer = cause != nullptr && cause->reply == what.reply;
    return brings_answer ? zero_in_answer : std::string_view();
}

const service* find_service(std::string_view full_name) {
    const auto found = std::ranges::find(service_table, full_name, &service::name);
    return found == service_table.end() ? nullptr : &*found;
}

const message* find_message(uint8_t type) {
    return message_of(type);
}

const record* find_record(std::string_view name) {
    const auto found = std::ranges::find(records(), name, &record::name);
    return found == records().end() ? nullptr : *found;
}

}  // namespace quon::catalog
