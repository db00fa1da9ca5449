#include "mcu_ops.h"

#include <string_view>

// One line per chip: its name in the build, and the function that returns its driver's table.
#define MCU_CHIPS(X)                     \
    X("hi3861l", hi3861l_get_ops_handle) \
    X("example", example_get_ops_handle)

#define DECLARE_CHIP(name, get_ops_handle) const mcu_ops* get_ops_handle();
MCU_CHIPS(DECLARE_CHIP)

const mcu_ops* mcu_get_ops_handle() {
#define CHOOSE_CHIP(name, get_ops_handle)                      \
    if constexpr (std::string_view(QUON_MCU_CHIP) == (name)) { \
        return get_ops_handle();                               \
    }
    // cppcheck-suppress missingReturn ; the chosen row returns
    MCU_CHIPS(CHOOSE_CHIP)
}

int32_t mcu_probe_init() {
    return mcu_get_ops_handle()->init();
}
