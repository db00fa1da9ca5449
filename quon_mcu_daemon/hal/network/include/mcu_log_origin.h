// Under whose name shared code of the drivers logs.
#ifndef MCU_LOG_ORIGIN_H
#define MCU_LOG_ORIGIN_H

struct mcu_log_origin {
    const char* tag;
    const char* source;
    const char* function;
};

#endif
