// A handler's call through the operations table, with the log lines of its failures.
#ifndef MCU_CALL_H
#define MCU_CALL_H

#include <stdint.h>

#include "daemon_log.h"
#include "mcu_ops.h"

enum class null_check {
    no,   // the driver must fill the slot; it is called unchecked
    yes,  // an empty slot is logged and not called
};

// Members common to the rows of the handler tables.
struct handler_row {
    const char* handler;
    int line;  // of the row, for the log
    null_check check;
    const char* failure;  // null: a failed operation is not logged
};

// Returns the operation's result, or -1 if its slot is checked and empty.
template <typename Operation, typename... Args>
int32_t call_mcu(const handler_row& row, Operation mcu_ops::*slot, Args... args) {
    const Operation operation = mcu_get_ops_handle()->*slot;
    if (row.check == null_check::yes && operation == nullptr) {
        DAEMON_LOG_AS(row.handler, row.line, QN_LOG_ERROR, "func is null\n");
        return -1;
    }
    const int32_t result = operation(args...);
    if (result != 0 && row.failure != nullptr) {
        DAEMON_LOG_AS(row.handler, row.line, QN_LOG_ERROR, "[%s] failed\n", row.failure);
    }
    return result;
}

#endif
