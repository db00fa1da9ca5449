// The format of the daemon's own log lines.
#ifndef DAEMON_LOG_H
#define DAEMON_LOG_H

#include "quon_log.h"

inline constexpr char kDaemonLogTag[] = "QUON_MCU_DAEMON";
inline constexpr char kDaemonSourceName[] = "quon_mcu_daemon";

// Logs a line under the name `func`, with a format and its arguments.
#define DAEMON_LOG_AS(func, line, level, ...) \
    QnLogPrint(level, kDaemonLogTag, kDaemonSourceName, func, line, __VA_ARGS__)

// The same under the name of the enclosing function.
#define DAEMON_LOG(level, ...) DAEMON_LOG_AS(__func__, __LINE__, level, __VA_ARGS__)

#endif
