#include "hi3861l_operations.h"

#include "hi3861l_api.h"
#include "hi3861l_dev.h"
#include "hi3861l_query_commands.h"
#include "hi3861l_set_commands.h"

// Generates each family's functions. OWN functions are written in the files of their subject.
#define QUERY(function, message, size)                       \
    int32_t function(uint8_t* record) {                      \
        return hi3861l_run_query(message, __func__, record); \
    }

#define TEXT_QUERY(function, message, size)                     \
    int32_t function(char* text) {                              \
        return hi3861l_run_text_query(message, __func__, text); \
    }

#define LIST_QUERY(function, message, size)                           \
    int32_t function(uint8_t* list) {                                 \
        return hi3861l_run_list_query(message, __func__, size, list); \
    }

#define EMPTY_COMMAND(function, message, size)                        \
    int32_t function() {                                              \
        return hi3861l_run_command(message, __func__, nullptr, size); \
    }

#define BYTE_COMMAND(function, message, size)                        \
    int32_t function(uint8_t value) {                                \
        return hi3861l_run_command(message, __func__, &value, size); \
    }

#define RECORD_COMMAND(function, message, size)                            \
    int32_t function(mcu_record<size> record) {                            \
        return hi3861l_run_command(message, __func__, record.bytes, size); \
    }

#define OWN(function, message, size)

#define DEFINE(family, slot, function, message, type, timeout_ms, size) \
    family(function, message, size)
HI3861L_OPERATIONS(DEFINE)

namespace {

constexpr mcu_ops make_table() {
    mcu_ops table = {};
#define FILL_LOCAL(slot, function) table.slot = function;
#define FILL(family, slot, function, ...) FILL_LOCAL(slot, function)
    HI3861L_OPERATIONS(FILL)
    HI3861L_LOCAL_OPERATIONS(FILL_LOCAL)
    return table;
}

}  // namespace

const mcu_ops* hi3861l_get_ops_handle() {
    static constexpr mcu_ops kTable = make_table();
    return &kTable;
}
