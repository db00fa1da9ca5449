// The page of messages.
#include "quon_mcu/describe.h"
#include "quon_mcu/log_messages.h"

namespace quon::client {
namespace {

constexpr const char* kHead =
    "# Messages\n\n"
    "What the daemon and its libraries log or print, as the sources have it. This page is "
    "generated:\n"
    "`quon-mcu docs messages` prints it, and a test compares it with the sources.\n\n"
    "A log line begins with its level's letter (F 0, E 1, W 2, I 3, D 4), the module's tag, the "
    "time and\n"
    "the function; lines of level 1 and below are printed unless `quon-mcu log-level` says "
    "otherwise.\n"
    "A message of the level \"-\" goes to standard output whatever the level is, without time and\n"
    "function. `%s` and the like stand for what the line tells.\n";

constexpr const char* kServicesHead =
    "\n## Services that failed\n\n"
    "Each is a log line `[%s] failed` of level 1 under the name of the service's handler: the "
    "service\n"
    "answered with a failure, or the command went nowhere. The driver's line before it names the "
    "cause;\n"
    "without one, the operation itself refused.\n\n";

struct service_failure {
    std::string_view reason;
    std::string_view service;  // or the function that asked
    std::string_view source;
};

// clang-format off
constexpr service_failure kFailures[] = {
    {"mcu_get_wakeup_info failed", "get.wakeup.info", "query_handlers.cpp"},
    {"mcu_get_time failed", "get.time", "query_handlers.cpp"},
    {"mcu_get_battery_status failed", "get.battery.status", "query_handlers.cpp"},
    {"mcu_get_pir_info failed", "get.pir.info", "query_handlers.cpp"},
    {"mcu_get_wifi_status failed", "get.wifi.status", "query_handlers.cpp"},
    {"mcu_get_wifi_info failed", "get.wifi.info", "query_handlers.cpp"},
    {"mcu_get_store_params failed", "get.store.params", "query_handlers.cpp"},
    {"mcu_get_alarm failed", "get.alarm", "query_handlers.cpp"},
    {"mcu_get_err_report failed", "get.err.report", "query_handlers.cpp"},
    {"mcu_get_status_info failed", "get.status.info", "query_handlers.cpp"},
    {"mcu_get_config_info failed", "get.config.info", "query_handlers.cpp"},
    {"mcu_get_wifi_extended_status failed", "get.wifi.extended.status", "query_handlers.cpp"},
    {"mcu_get_soc_poweron_time_info_list failed", "get.soc.time.list", "query_handlers.cpp"},
    {"mcu_get_soc_poweron_time_cur_info failed", "get.soc.time.cur.info", "query_handlers.cpp"},
    {"mcu_get_log_profile failed", "get.log.profile", "query_handlers.cpp"},
    {"mcu_get_bit_err_rate failed", "get.bit.err.rate", "query_handlers.cpp"},
    {"quon_mcu_get_wifi_scanf_info failed", "get.wifi.scanf.info", "query_handlers.cpp"},
    {"mcu_get_version failed", "get.ver", "query_handlers.cpp"},
    {"mcu_get_wdg_state failed", "get.wdg.state", "query_handlers.cpp"},
    {"mcu_get_soc_min_version failed", "get.soc.min.ver", "query_handlers.cpp"},
    {"mcu_set_time failed", "set.time", "command_handlers.cpp"},
    {"mcu_set_led_state failed", "set.led", "command_handlers.cpp"},
    {"mcu_set_pir_switch failed", "set.pir.switch", "command_handlers.cpp"},
    {"mcu_set_pir_sensitivity failed", "set.pir.sensitivity", "command_handlers.cpp"},
    {"mcu_set_pir_info failed", "set.pir.info", "command_handlers.cpp"},
    {"mcu_set_wifi_connect failed", "set.wifi.connect", "command_handlers.cpp"},
    {"mcu_set_wifi_disconnect failed", "set.wifi.disconnect", "command_handlers.cpp"},
    {"mcu_set_wifi_keepalive failed", "set.wifi.keepalive", "command_handlers.cpp"},
    {"mcu_set_wifi_extended_info failed", "set.wifi.extended.info", "command_handlers.cpp"},
    {"mcu_set_system_state failed", "set.system.state", "command_handlers.cpp"},
    {"mcu_set_store_params failed", "set.store.params", "command_handlers.cpp"},
    {"mcu_set_wdg_state failed", "set.wdg.state", "command_handlers.cpp"},
    {"mcu_set_wdg_period failed", "set.wdg.period", "command_handlers.cpp"},
    {"mcu_set_wdg_feed failed", "set.wdg.feed", "command_handlers.cpp"},
    {"mcu_set_alarm failed", "set.alarm", "command_handlers.cpp"},
    {"mcu_set_ap_start failed", "set.ap.start", "command_handlers.cpp"},
    {"mcu_set_ap_stop failed", "set.ap.stop", "command_handlers.cpp"},
    {"mcu_set_crash_test failed", "set.crash.test", "command_handlers.cpp"},
    {"mcu_set_uart_switch failed", "set.uart.switch", "command_handlers.cpp"},
    {"mcu_set_wakeup_info failed", "set.wakeup.info", "command_handlers.cpp"},
    {"mcu_set_charge_auto_poweron failed", "set.charge.auto.poweron", "command_handlers.cpp"},
    {"mcu_set_tamper_switch failed", "set.tamper.info", "command_handlers.cpp"},
    {"mcu_set_soc_poweron_time_info failed", "set.soc.time.info", "command_handlers.cpp"},
    {"mcu_upg_start failed", "upg.start", "command_handlers.cpp"},
    {"mcu_upg_transmit failed", "upg.transmit", "command_handlers.cpp"},
    {"mcu_upg_finish failed", "upg.finish", "command_handlers.cpp"},
    {"mcu_set_cmd failed", "set.cmd", "command_handlers.cpp"},
    {"mcu_set_log_profile failed", "set.log.profile", "command_handlers.cpp"},
    {"mcu_get_ipaddr_update_status failed", "quon_mcu_get_ipaddr_update_status", "remote_wakeup.cpp"},
};
// clang-format on

std::string as_code(std::string_view text) {
    return "`" + std::string(text) + "`";
}

std::string level_text(int level) {
    return level == kPrinted ? "-" : std::to_string(level);
}

std::string table_of(std::span<const log_message> messages) {
    row_list rows = {{"message", "level", "source", "meaning", "what to do"}};
    for (const log_message& each : messages) {
        rows.push_back({as_code(each.text), level_text(each.level), std::string(each.sources),
                        std::string(each.meaning), std::string(each.advice)});
    }
    return markdown(rows);
}

std::string table_of_failures() {
    row_list rows = {{"message", "level", "source", "service"}};
    for (const service_failure& each : kFailures) {
        rows.push_back({as_code("[" + std::string(each.reason) + R"(] failed\n)"), "1",
                        std::string(each.source), as_code(each.service)});
    }
    return markdown(rows);
}

}  // namespace

std::string log_messages_page() {
    std::string text = kHead;
    for (const log_message_group& each : log_messages()) {
        text += "\n## " + std::string(each.title) + "\n\n" + table_of(each.messages);
    }
    return text + kServicesHead + table_of_failures();
}

}  // namespace quon::client
