#include <algorithm>
#include <array>

#include "catalog/records.h"
#include "hi3861l_protocol.h"

namespace quon::catalog {
namespace {

using enum service_kind;
using namespace layout;

constexpr const record* none = nullptr;

// clang-format off
#define METHOD "method.quon.mcu."
#define SIGNAL "signal.quon.mcu."
constexpr auto no_message = std::nullopt;

constexpr auto table = std::to_array<service>({
    // index  name                           kind    request               reply                  chip message                        ms    meaning
    { 0, METHOD "get.ver",                   method, none,                 &version,              HI3861L_GET_VERSION,                1000, "firmware version of the chip"},
    { 1, METHOD "get.wakeup.info",           method, none,                 &wakeup_info,          HI3861L_GET_WAKEUP_INFO,            2000, "why and when the main processor was woken"},
    { 2, METHOD "get.allwakeup.info",        method, none,                 &wakeup_context,       no_message,                            0, "the start-up snapshot"},
    { 3, SIGNAL "set.time",                  signal, &layout::time,        none,                  HI3861L_SET_TIME,                      0, "set the chip's clock"},
    { 4, METHOD "get.time",                  method, none,                 &layout::time,         HI3861L_GET_TIME,                   1000, "the chip's clock"},
    { 5, SIGNAL "set.led",                   signal, &value,               none,                  HI3861L_SET_LED,                       0, "set the LED state"},
    { 6, METHOD "get.battery.status",        method, none,                 &battery_status,       HI3861L_GET_BATTERY_STATUS,         2000, "battery status"},
    { 7, SIGNAL "set.pir.switch",            signal, &value,               none,                  HI3861L_SET_PIR_SWITCH,                0, "switch the motion sensor"},
    { 8, SIGNAL "set.pir.sensitivity",       signal, &value,               none,                  HI3861L_SET_PIR_SENSITIVITY,           0, "set the motion sensor's sensitivity"},
    { 9, METHOD "get.pir.info",              method, none,                 &pir_info,             HI3861L_GET_PIR_INFO,               1000, "motion sensor settings"},
    {10, SIGNAL "set.pir.info",              signal, &pir_info,            none,                  HI3861L_SET_PIR_INFO,                  0, "set the motion sensor settings"},
    {11, SIGNAL "set.wifi.connect",          signal, &wifi_connect,        none,                  HI3861L_SET_WIFI_CONNECT,              0, "connect the Wi-Fi link"},
    {12, SIGNAL "set.wifi.disconnect",       signal, none,                 none,                  HI3861L_SET_WIFI_DISCONNECT,           0, "disconnect the Wi-Fi link"},
    {13, METHOD "get.wifi.status",           method, none,                 &wifi_status,          HI3861L_GET_WIFI_STATUS,            1000, "state of the Wi-Fi link"},
    {14, METHOD "get.wifi.info",             method, none,                 &wifi_info,            no_message,                            0, "network settings of wlan0 as the daemon knows them"},
    {15, SIGNAL "set.wifi.keepalive",        signal, &wifi_keepalive,      none,                  HI3861L_SET_WIFI_KEEPALIVE,            0, "set the Wi-Fi keep-alive"},
    {16, SIGNAL "set.wifi.extended.info",    signal, &wifi_extended_info,  none,                  HI3861L_SET_WIFI_EXTENDED_INFO,        0, "set the extended Wi-Fi information"},
    {17, METHOD "get.wifi.scanf.info",       method, &selector,            &wifi_scanf_info,      HI3861L_GET_WIFI_SCANF_INFO,        2000, "Wi-Fi scan information"},
    {18, SIGNAL "set.system.state",          signal, &value,               none,                  HI3861L_SET_SYSTEM_STATE,              0, "tell the chip the system's state"},
    {19, METHOD "get.event.info",            method, none,                 &event_info,           no_message,                            0, "take the oldest event off the event queue"},
    {20, METHOD "upg.start",                 method, &upg_start,           &zero_word,            HI3861L_UPG_START,                  3000, "begin a firmware upgrade"},
    {21, METHOD "upg.transmit",              method, &upg_block,           &zero_word,            HI3861L_UPG_TRANSMIT,               3000, "send one block of the image"},
    {22, METHOD "upg.finish",                method, none,                 &zero_word,            HI3861L_UPG_FINISH,                    0, "end the firmware upgrade"},
    {23, SIGNAL "set.store.params",          signal, &store_params,        none,                  HI3861L_SET_STORE_PARAMS,              0, "store parameters in the chip"},
    {24, METHOD "get.store.params",          method, none,                 &store_params,         HI3861L_GET_STORE_PARAMS,           1000, "parameters stored in the chip"},
    {25, SIGNAL "set.wdg.state",             signal, &value,               none,                  HI3861L_SET_WDG_STATE,                 0, "set the watchdog state"},
    {26, METHOD "get.wdg.state",             method, none,                 &wdg_state_text,       HI3861L_GET_WDG_STATE,              1000, "watchdog state, its first digit"},
    {27, SIGNAL "set.wdg.period",            signal, &wdg_period,          none,                  HI3861L_SET_WDG_PERIOD,                0, "set the watchdog period"},
    {28, SIGNAL "set.wdg.feed",              signal, none,                 none,                  HI3861L_SET_WDG_FEED,                  0, "feed the watchdog"},
    {29, SIGNAL "set.alarm",                 signal, &layout::alarm,       none,                  HI3861L_SET_ALARM,                     0, "set the alarm"},
    {30, METHOD "get.alarm",                 method, none,                 &layout::alarm,        HI3861L_GET_ALARM,                  1000, "the alarm"},
    {31, SIGNAL "set.crash.test",            signal, none,                 none,                  HI3861L_SET_CRASH_TEST,                0, "make the chip crash, as a test"},
    {32, SIGNAL "set.ap.start",              signal, &ap_start,            none,                  HI3861L_SET_AP_START,                  0, "start the access point"},
    {33, SIGNAL "set.ap.stop",               signal, none,                 none,                  HI3861L_SET_AP_STOP,                   0, "stop the access point"},
    {34, METHOD "get.err.report",            method, none,                 &err_report,           HI3861L_GET_ERR_REPORT,             1000, "the chip's error report"},
    {35, METHOD "get.system",                method, &shell_command,       &shell_status,         no_message,                            0, "run a shell command, get its wait status"},
    {36, METHOD "get.popen",                 method, &shell_command,       &shell_output,         no_message,                            0, "run a shell command, get its output"},
    {37, SIGNAL "set.log.profile",           signal, &log_profile_request, none,                  no_message,                            0, "set the daemon's log level"},
    {38, METHOD "get.log.profile",           method, none,                 &log_profile,          no_message,                            0, "log profile; fails: this chip has none"},
    {39, METHOD "get.soc.min.ver",           method, none,                 &soc_min_version,      HI3861L_GET_SOC_MIN_VERSION,        1000, "minimum version of the main processor's software"},
    {40, SIGNAL "set.uart.switch",           signal, &value,               none,                  HI3861L_SET_UART_SWITCH,               0, "switch the UART"},
    {41, SIGNAL "set.wakeup.info",           signal, &wakeup_info,         none,                  HI3861L_SET_WAKEUP_INFO,               0, "set the wake-up information"},
    {42, METHOD "get.status.info",           method, none,                 &status_info,          HI3861L_GET_STATUS_INFO,            1000, "status information"},
    {43, SIGNAL "set.charge.auto.poweron",   signal, &charge_auto_poweron, none,                  HI3861L_SET_CHARGE_AUTO_POWERON,       0, "set the power-on while charging"},
    {44, SIGNAL "set.cmd",                   signal, &raw_command,         none,                  HI3861L_SET_CMD,                       0, "send the chip a raw command"},
    {45, SIGNAL "set.tamper.info",           signal, &value,               none,                  HI3861L_SET_TAMPER_SWITCH,             0, "switch the tamper detection"},
    {46, METHOD "get.config.info",           method, none,                 &config_info,          HI3861L_GET_CONFIG_INFO,            1000, "configuration information"},
    {47, METHOD "get.bit.err.rate",          method, none,                 &bit_err_rate,         no_message,                            0, "bit error rate; fails: this chip has none"},
    {48, METHOD "get.socup.time",            method, none,                 &socup_time,           no_message,                            0, "wake-up times, and the time since the snapshot"},
    {49, METHOD "get.wifi.extended.status",  method, none,                 &wifi_extended_status, HI3861L_GET_WIFI_EXTENDED_STATUS,   1000, "extended state of the Wi-Fi link"},
    {50, SIGNAL "set.soc.time.info",         signal, &soc_time_info,       none,                  HI3861L_SET_SOC_POWERON_TIME_INFO,     0, "set a power-on time of the main processor"},
    {51, METHOD "get.soc.time.list",         method, none,                 &soc_time_list,        HI3861L_GET_SOC_POWERON_TIME_LIST,  1000, "power-on times of the main processor"},
    {52, METHOD "get.soc.time.cur.info",     method, none,                 &soc_time_cur,         HI3861L_GET_SOC_POWERON_TIME_CUR,   1000, "current power-on time of the main processor"},
});
// clang-format on

}  // namespace

std::span<const service> services() {
    return table;
}

const service* find_service(std::string_view full_name) {
    const auto found = std::ranges::find(table, full_name, &service::name);
    return found == table.end() ? nullptr : &*found;
}

}  // namespace quon::catalog
