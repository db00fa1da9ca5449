// The source name under which code shared by the drivers logs.
#ifndef MCU_LOG_ORIGIN_H
#define MCU_LOG_ORIGIN_H

#include "quon_log.h"

struct mcu_log_origin {
    const char* tag;
    const char* source;
    const char* function;
};

#define MCU_LOG(origin, level, ...) \
    QnLogPrint(level, (origin).tag, (origin).source, (origin).function, __LINE__, __VA_ARGS__)

#endif
