// The log lines of failures, as the daemon prints them.
#pragma once

#include <string>

#include "expected_table.h"
#include "expected_texts.h"
#include "log_lines.h"

namespace quon::test {

inline constexpr char kDaemonTag[] = "QUON_MCU_DAEMON";
inline constexpr char kDriverTag[] = "HI3861L";
inline constexpr char kBusTag[] = "DBUS";

// The log carries at most 31 characters of a function's name.
inline Expected error_line(const std::string& tag, const std::string& function,
                           const std::string& text) {
    return {'E', tag, function.substr(0, 31), text};
}

inline Expected handler_failed(const ExpectedService& service) {
    return error_line(kDaemonTag, service.handler, expected::failed(service.failure));
}

inline Expected handler_finds_no_slot(const ExpectedService& service) {
    return error_line(kDaemonTag, service.handler, expected::kEmptySlot);
}

inline Expected driver_failed(const std::string& function, const std::string& reason) {
    return error_line(kDriverTag, function, expected::failed(reason));
}

inline Expected exchange_failed(const ExpectedOperation& operation) {
    return driver_failed(operation.name, expected::kSyncSendFailed);
}

inline Expected send_failed(const ExpectedOperation& operation) {
    return driver_failed(operation.name, expected::kAsyncSendFailed);
}

}  // namespace quon::test
