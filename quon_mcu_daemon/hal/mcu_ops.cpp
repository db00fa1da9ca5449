#include "mcu_ops.h"

#include "hi3861l_dev.h"

const mcu_ops* mcu_get_ops_handle() {
    return hi3861l_get_ops_handle();
}

int32_t mcu_probe_init() {
    return mcu_get_ops_handle()->init();
}
