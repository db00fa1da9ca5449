// The page of messages.
#include "quon_mcu/describe.h"
#include "quon_mcu/log_messages.h"
#include "quon_mcu_services.h"

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

struct service_handler {
    std::string_view service;
    std::string_view handler;
};

#define HANDLER(index, name, handler) {name, #handler},
constexpr service_handler kHandlers[] = {QUON_MCU_SERVICES(HANDLER)};
#undef HANDLER

constexpr std::string_view kNone = {};

// Handlers whose reason differs from their name without "quon_".
struct other_reason {
    std::string_view handler;
    std::string_view reason;
};
constexpr other_reason kOtherReasons[] = {
    {"quon_mcu_get_allwakeup_info", kNone},
    {"quon_mcu_set_pir_sensivity", "mcu_set_pir_sensitivity failed"},
    {"quon_mcu_get_wifi_scanf_info", "quon_mcu_get_wifi_scanf_info failed"},
    {"quon_mcu_get_event_info", kNone},
    {"system_call", kNone},
    {"popen_call", kNone},
    {"quon_mcu_get_socup_time", kNone},
    {"quon_mcu_get_soc_poweron_time_list", "mcu_get_soc_poweron_time_info_list failed"},
};

std::string reason_of(std::string_view handler) {
    for (const other_reason& each : kOtherReasons) {
        if (each.handler == handler) {
            return std::string(each.reason);
        }
    }
    return std::string(handler.substr(std::string_view("quon_").size())) + " failed";
}

// "set.time"
std::string_view short_name(std::string_view service) {
    return service.substr(std::string_view("signal.quon.mcu.").size());
}

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

std::vector<std::string> failure_row(const std::string& reason, const char* source,
                                     std::string_view service) {
    return {as_code("[" + reason + R"(] failed\n)"), "1", source, as_code(service)};
}

std::string table_of_failures() {
    row_list rows = {{"message", "level", "source", "service"}};
    for (const service_handler& each : kHandlers) {
        const std::string reason = reason_of(each.handler);
        const std::string_view service = short_name(each.service);
        if (!reason.empty()) {
            rows.push_back(failure_row(
                reason, service.starts_with("get") ? "query_handlers.cpp" : "command_handlers.cpp",
                service));
        }
    }
    rows.push_back(failure_row("mcu_get_ipaddr_update_status failed", "remote_wakeup.cpp",
                               "quon_mcu_get_ipaddr_update_status"));
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
