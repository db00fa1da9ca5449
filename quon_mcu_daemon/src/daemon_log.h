// How the daemon's own lines look in the log.
#ifndef DAEMON_LOG_H
#define DAEMON_LOG_H

#include "quon_log.h"

inline constexpr char kDaemonLogTag[] = "QUON_MCU_DAEMON";
inline constexpr char kDaemonSourceName[] = "quon_mcu_daemon";

// A line under the name `func`, with the message's format and its arguments.
#define DAEMON_LOG_AS(func, line, level, ...) \
    QnLogPrint(level, kDaemonLogTag, kDaemonSourceName, func, line, __VA_ARGS__)

// The same under the name of the function that it stands in.
#define DAEMON_LOG(level, ...) DAEMON_LOG_AS(__func__, __LINE__, level, __VA_ARGS__)

#endif
