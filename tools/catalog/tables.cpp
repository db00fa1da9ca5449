#include <algorithm>
#include <array>

#include "catalog/records.h"
#include "catalog/table_changes.h"

namespace quon::catalog {
namespace {

using namespace layout;

constexpr const record* kNone = nullptr;
constexpr std::string_view kZeroInAnswer = "zero, or not in the chip's answer";

// clang-format off
constexpr auto kMessageRows = std::to_array<message>({
    // type                               name                         request              reply
    {HI3861L_EVENT_0,                     "event_0",                   kNone,               &kEvent},
    {HI3861L_EVENT_1,                     "event_1",                   kNone,               &kEvent},
    {HI3861L_EVENT_2,                     "event_2",                   kNone,               &kEvent},
    {HI3861L_EVENT_NET,                   "event_net",                 kNone,               &kNetEvent},
    {HI3861L_EVENT_4,                     "event_4",                   kNone,               &kEvent},
    {HI3861L_EVENT_5,                     "event_5",                   kNone,               &kEvent},
    {HI3861L_GET_VERSION,                 "get_version",               kNone,               &kVersion},
    {HI3861L_GET_NET_INFO,                "get_net_info",              kNone,               &kNetInfo},
    {HI3861L_GET_WAKEUP_INFO,             "get_wakeup_info",           kNone,               &kWakeupInfo},
    {HI3861L_SET_TIME,                    "set_time",                  &layout::kTime,      kNone},
    {HI3861L_GET_TIME,                    "get_time",                  kNone,               &layout::kTime},
    {HI3861L_SET_LED,                     "set_led",                   &kValue,             kNone},
    {HI3861L_GET_BATTERY_STATUS,          "get_battery_status",        kNone,               &kBatteryStatus},
    {HI3861L_SET_PIR_SWITCH,              "set_pir_switch",            &kValue,             kNone},
    {HI3861L_SET_PIR_SENSITIVITY,         "set_pir_sensitivity",       &kValue,             kNone},
    {HI3861L_GET_PIR_INFO,                "get_pir_info",              kNone,               &kPirInfo},
    {HI3861L_SET_WIFI_CONNECT,            "set_wifi_connect",          &kWifiConnect,       kNone},
    {HI3861L_SET_WIFI_DISCONNECT,         "set_wifi_disconnect",       kNone,               kNone},
    {HI3861L_GET_WIFI_STATUS,             "get_wifi_status",           kNone,               &kWifiStatus},
    {HI3861L_SET_WIFI_KEEPALIVE,          "set_wifi_keepalive",        &kWifiKeepalive,     kNone},
    {HI3861L_SET_SYSTEM_STATE,            "set_system_state",          &kValue,             kNone},
    {HI3861L_UPG_START,                   "upg_start",                 &layout::kUpgStart,  &kUpgStartAnswer},
    {HI3861L_UPG_TRANSMIT,                "upg_transmit",              &kUpgBlock,          &kUpgTransmitAnswer},
    {HI3861L_UPG_FINISH,                  "upg_finish",                kNone,               kNone},
    {HI3861L_SET_STORE_PARAMS,            "set_store_params",          &kStoreParams,       kNone},
    {HI3861L_GET_STORE_PARAMS,            "get_store_params",          kNone,               &kStoreParams},
    {HI3861L_SET_WDG_STATE,               "set_wdg_state",             &kValue,             kNone},
    {HI3861L_GET_WDG_STATE,               "get_wdg_state",             kNone,               &kWdgStateByte},
    {HI3861L_SET_WDG_PERIOD,              "set_wdg_period",            &kWdgPeriod,         kNone},
    {HI3861L_SET_WDG_FEED,                "set_wdg_feed",              kNone,               kNone},
    {HI3861L_SET_ALARM,                   "set_alarm",                 &layout::kAlarm,     kNone},
    {HI3861L_GET_ALARM,                   "get_alarm",                 kNone,               &layout::kAlarm},
    {HI3861L_SET_AP_START,                "set_ap_start",              &kApStart,           kNone},
    {HI3861L_SET_AP_STOP,                 "set_ap_stop",               kNone,               kNone},
    {HI3861L_SET_CRASH_TEST,              "set_crash_test",            kNone,               kNone},
    {HI3861L_SET_WIFI_EXTENDED_INFO,      "set_wifi_extended_info",    &kWifiExtendedInfo,  kNone},
    {HI3861L_GET_ERR_REPORT,              "get_err_report",            kNone,               &kErrReport},
    {HI3861L_GET_SOC_MIN_VERSION,         "get_soc_min_version",       kNone,               &kSocMinVersion},
    {HI3861L_SET_UART_SWITCH,             "set_uart_switch",           &kValue,             kNone},
    {HI3861L_SET_WAKEUP_INFO,             "set_wakeup_info",           &kWakeupInfo,        kNone},
    {HI3861L_SET_PIR_INFO,                "set_pir_info",              &kPirInfo,           kNone},
    {HI3861L_GET_STATUS_INFO,             "get_status_info",           kNone,               &kStatusInfo},
    {HI3861L_SET_CHARGE_AUTO_POWERON,     "set_charge_auto_poweron",   &kChargeAutoPoweron, kNone},
    {HI3861L_SET_CMD,                     "set_cmd",                   &kRawCommand,        kNone},
    {HI3861L_SET_TAMPER_SWITCH,           "set_tamper_switch",         &kValue,             kNone},
    {HI3861L_GET_CONFIG_INFO,             "get_config_info",           kNone,               &kConfigInfo},
    {HI3861L_GET_WIFI_SCANF_INFO,         "get_wifi_scanf_info",       &kSelector,          &kWifiScanfInfo},
    {HI3861L_GET_WIFI_EXTENDED_STATUS,    "get_wifi_extended_status",  kNone,               &kWifiExtendedStatus},
    {HI3861L_SET_SOC_POWERON_TIME_INFO,   "set_soc_poweron_time_info", &kSocTimeInfo,       kNone},
    {HI3861L_GET_SOC_POWERON_TIME_LIST,   "get_soc_poweron_time_list", kNone,               &kSocTimeList},
    {HI3861L_GET_SOC_POWERON_TIME_CUR,    "get_soc_poweron_time_cur",  kNone,               &kSocTimeCur},
});

// The driver's table has the time-outs.
constexpr auto kMessageTable = [] {
    auto all = kMessageRows;
    // cppcheck-suppress syntaxError ; cppcheck cannot parse a lambda here
    for (message& each : all) {
        each.timeout_ms = hi3861l_timeout_ms(static_cast<hi3861l_msg_type>(each.type));
    }
    return all;
}();

// One row of the daemon's table, in its order. What follows from its message is not repeated.
constexpr record kLayoutOfMessage{};
constexpr const record* kAsMessage = &kLayoutOfMessage;
constexpr auto kNoMessage = std::nullopt;
struct service_row {
    std::string_view name;
    std::optional<uint8_t> message;
    std::string_view meaning;
    const record* request = kAsMessage;
    const record* reply = kAsMessage;
    std::string_view refusal = {};
};

#define METHOD "method.quon.mcu."
#define SIGNAL "signal.quon.mcu."
constexpr auto kServiceRows = std::to_array<service_row>({
    // name                               chip message                        meaning; then differences from the message: request, reply, why it fails
    {METHOD "get.ver",                    HI3861L_GET_VERSION,                "firmware version of the chip"},
    {METHOD "get.wakeup.info",            HI3861L_GET_WAKEUP_INFO,            "why and when the main processor was woken"},
    {METHOD "get.allwakeup.info",         kNoMessage,                         "the start-up snapshot", kNone, &kWakeupContext},
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
    {METHOD "get.wifi.info",              kNoMessage,                         "network settings of wlan0 as the daemon knows them", kNone, &kWifiInfo},
    {SIGNAL "set.wifi.keepalive",         HI3861L_SET_WIFI_KEEPALIVE,         "set the Wi-Fi keep-alive"},
    {SIGNAL "set.wifi.extended.info",     HI3861L_SET_WIFI_EXTENDED_INFO,     "set the extended Wi-Fi information"},
    {METHOD "get.wifi.scanf.info",        HI3861L_GET_WIFI_SCANF_INFO,        "Wi-Fi scan information"},
    {SIGNAL "set.system.state",           HI3861L_SET_SYSTEM_STATE,           "tell the chip the system's state"},
    {METHOD "get.event.info",             kNoMessage,                         "take the oldest event off the event queue", kNone, &kEventInfo, "the event queue is empty"},
    {METHOD "upg.start",                  HI3861L_UPG_START,                  "begin a firmware upgrade", kAsMessage, &kZeroWord},
    {METHOD "upg.transmit",               HI3861L_UPG_TRANSMIT,               "send one block of the image", kAsMessage, &kZeroWord, "the chip refused the block, or the channel to it is closed"},
    {METHOD "upg.finish",                 HI3861L_UPG_FINISH,                 "end the firmware upgrade", kAsMessage, &kZeroWord},
    {SIGNAL "set.store.params",           HI3861L_SET_STORE_PARAMS,           "store parameters in the chip"},
    {METHOD "get.store.params",           HI3861L_GET_STORE_PARAMS,           "parameters stored in the chip"},
    {SIGNAL "set.wdg.state",              HI3861L_SET_WDG_STATE,              "set the watchdog state"},
    {METHOD "get.wdg.state",              HI3861L_GET_WDG_STATE,              "watchdog state, its first digit", kAsMessage, &kWdgStateText},
    {SIGNAL "set.wdg.period",             HI3861L_SET_WDG_PERIOD,             "set the watchdog period"},
    {SIGNAL "set.wdg.feed",               HI3861L_SET_WDG_FEED,               "feed the watchdog"},
    {SIGNAL "set.alarm",                  HI3861L_SET_ALARM,                  "set the alarm"},
    {METHOD "get.alarm",                  HI3861L_GET_ALARM,                  "the alarm"},
    {SIGNAL "set.crash.test",             HI3861L_SET_CRASH_TEST,             "make the chip crash, as a test"},
    {SIGNAL "set.ap.start",               HI3861L_SET_AP_START,               "start the access point"},
    {SIGNAL "set.ap.stop",                HI3861L_SET_AP_STOP,                "stop the access point"},
    {METHOD "get.err.report",             HI3861L_GET_ERR_REPORT,             "the chip's error report"},
    {METHOD "get.system",                 kNoMessage,                         "run a shell command, get its wait status", &kShellCommand, &kShellStatus, "the daemon could not run the command"},
    {METHOD "get.popen",                  kNoMessage,                         "run a shell command, get its output", &kShellCommand, &kShellOutput, "the daemon could not run the command"},
    {SIGNAL "set.log.profile",            kNoMessage,                         "set the daemon's log level", &kLogProfileRequest, kNone},
    {METHOD "get.log.profile",            kNoMessage,                         "log profile; this chip has none", kNone, &kLogProfile, "this chip has none"},
    {METHOD "get.soc.min.ver",            HI3861L_GET_SOC_MIN_VERSION,        "minimum version of the main processor's software"},
    {SIGNAL "set.uart.switch",            HI3861L_SET_UART_SWITCH,            "switch the UART"},
    {SIGNAL "set.wakeup.info",            HI3861L_SET_WAKEUP_INFO,            "set the wake-up information"},
    {METHOD "get.status.info",            HI3861L_GET_STATUS_INFO,            "status information"},
    {SIGNAL "set.charge.auto.poweron",    HI3861L_SET_CHARGE_AUTO_POWERON,    "set the power-on while charging"},
    {SIGNAL "set.cmd",                    HI3861L_SET_CMD,                    "send the chip a raw command"},
    {SIGNAL "set.tamper.info",            HI3861L_SET_TAMPER_SWITCH,          "switch the tamper detection"},
    {METHOD "get.config.info",            HI3861L_GET_CONFIG_INFO,            "configuration information"},
    {METHOD "get.bit.err.rate",           kNoMessage,                         "bit error rate; this chip has none", kNone, &kBitErrRate, "this chip has none"},
    {METHOD "get.socup.time",             kNoMessage,                         "wake-up times, and the time since the snapshot", kNone, &kSocupTime},
    {METHOD "get.wifi.extended.status",   HI3861L_GET_WIFI_EXTENDED_STATUS,   "extended state of the Wi-Fi link"},
    {SIGNAL "set.soc.time.info",          HI3861L_SET_SOC_POWERON_TIME_INFO,  "set a power-on time of the main processor"},
    {METHOD "get.soc.time.list",          HI3861L_GET_SOC_POWERON_TIME_LIST,  "power-on times of the main processor"},
    {METHOD "get.soc.time.cur.info",      HI3861L_GET_SOC_POWERON_TIME_CUR,   "current power-on time of the main processor"},
});
// clang-format on

constexpr const message* message_of(uint8_t type) {
    for (const message& each : kMessageTable) {
        if (each.type == type) {
            return &each;
        }
    }
    return nullptr;
}

constexpr service whole_service(size_t index) {
    const service_row& row = kServiceRows[index];
    const message* sent = row.message ? message_of(*row.message) : nullptr;
    return {static_cast<int>(index),
            row.name,
            row.name.starts_with("method") ? service_kind::method : service_kind::signal,
            row.request == kAsMessage ? sent->request : row.request,
            row.reply == kAsMessage ? sent->reply : row.reply,
            row.message,
            sent == nullptr ? 0 : sent->timeout_ms,
            row.meaning,
            row.refusal};
}

constexpr auto kServiceTable = [] {
    std::array<service, kServiceRows.size()> all{};
    // cppcheck-suppress syntaxError ; cppcheck cannot parse a lambda here
    for (size_t i = 0; i < all.size(); ++i) {
        all[i] = whole_service(i);
    }
    return all;
}();

// The visible table: the tables above, until a record is added.
struct shown_tables {
    std::vector<service> services{kServiceTable.begin(), kServiceTable.end()};
    std::vector<message> messages{kMessageTable.begin(), kMessageTable.end()};
    std::vector<const record*> records;  // each once, in the order of services and messages

    shown_tables() {
        for_each([this](const record*& one) { add(one); });
    }

    void for_each(const auto& act) {
        for (service& each : services) {
            act(each.request);
            act(each.reply);
        }
        for (message& each : messages) {
            act(each.request);
            act(each.reply);
        }
    }

    void add(const record* one) {
        if (one != nullptr && std::ranges::find(records, one) == records.end()) {
            records.push_back(one);
        }
    }

    void replace(const record* old, const record* by) {
        for_each([&](const record*& one) { one = one == old ? by : one; });
        std::ranges::replace(records, old, by);
    }
};

shown_tables& shown() {
    static shown_tables tables;
    return tables;
}

}  // namespace

std::span<const service> services() {
    return shown().services;
}

std::span<const message> messages() {
    return shown().messages;
}

std::span<const record* const> records() {
    return shown().records;
}

void put_record(const record& what) {
    const record* old = find_record(what.name);
    if (old == nullptr) {
        shown().add(&what);
    } else {
        shown().replace(old, &what);
    }
}

void forget_records() {
    shown() = shown_tables();
}

std::string_view zero_reason(const service& what) {
    if (what.reply == nullptr || !what.reply->zero.empty()) {
        return what.reply == nullptr ? std::string_view() : what.reply->zero;
    }
    const message* cause = what.message ? find_message(*what.message) : nullptr;
    const bool brings_answer = cause != nullptr && cause->reply == what.reply;
    return brings_answer ? kZeroInAnswer : std::string_view();
}

const service* find_service(std::string_view full_name) {
    const auto found = std::ranges::find(shown().services, full_name, &service::name);
    return found == shown().services.end() ? nullptr : &*found;
}

const message* find_message(uint8_t type) {
    const auto found = std::ranges::find(shown().messages, type, &message::type);
    return found == shown().messages.end() ? nullptr : &*found;
}

const record* find_record(std::string_view name) {
    const auto found = std::ranges::find(records(), name, &record::name);
    return found == records().end() ? nullptr : *found;
}

}  // namespace quon::catalog
