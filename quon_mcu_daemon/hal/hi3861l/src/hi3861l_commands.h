// The families of chip commands. A slot of the operations table names its family, and with it what
// is special about the slot: message type, time-out in milliseconds or size in bytes, and the
// operation's name as the log shows it.
#ifndef HI3861L_COMMANDS_H
#define HI3861L_COMMANDS_H

#include <stddef.h>
#include <stdint.h>

#include "hi3861l_protocol.h"
#include "mcu_records.h"

// An operation's name as a template argument.
template <size_t Size>
struct hi3861l_name {
    char text[Size];

    consteval hi3861l_name(const char (&name)[Size]) {
        for (size_t i = 0; i < Size; i++) {
            text[i] = name[i];
        }
    }
};

struct hi3861l_query {
    hi3861l_msg_type type;
    int32_t timeout_ms;
    const char* name;
};

struct hi3861l_command {
    hi3861l_msg_type type;
    const char* name;
};

int32_t hi3861l_run_query(const hi3861l_query& query, uint8_t* record);
int32_t hi3861l_run_text_query(const hi3861l_query& query, char* text);
int32_t hi3861l_run_list_query(const hi3861l_query& query, uint32_t entry_size, uint8_t* list);

// `body` has `size` (at most HI3861L_PAYLOAD_SIZE) bytes and may be null when that is 0.
int32_t hi3861l_run_command(const hi3861l_command& command, const void* body, uint32_t size);

// The reply's own length decides how much is copied to the caller's area.
template <hi3861l_msg_type Type, int32_t TimeoutMs, hi3861l_name Name>
int32_t query(uint8_t* record) {
    return hi3861l_run_query({Type, TimeoutMs, Name.text}, record);
}

// The reply is copied as a NUL-terminated text.
template <hi3861l_msg_type Type, int32_t TimeoutMs, hi3861l_name Name>
int32_t text_query(char* text) {
    return hi3861l_run_text_query({Type, TimeoutMs, Name.text}, text);
}

// The reply is a count and as many entries.
template <hi3861l_msg_type Type, int32_t TimeoutMs, int32_t EntrySize, hi3861l_name Name>
int32_t list_query(uint8_t* list) {
    return hi3861l_run_list_query({Type, TimeoutMs, Name.text}, EntrySize, list);
}

template <hi3861l_msg_type Type, hi3861l_name Name>
int32_t empty_command() {
    return hi3861l_run_command({Type, Name.text}, nullptr, 0);
}

template <hi3861l_msg_type Type, hi3861l_name Name>
int32_t byte_command(uint8_t value) {
    return hi3861l_run_command({Type, Name.text}, &value, sizeof(value));
}

template <hi3861l_msg_type Type, int32_t Size, hi3861l_name Name>
int32_t record_command(mcu_record<Size> record) {
    return hi3861l_run_command({Type, Name.text}, record.bytes, sizeof(record.bytes));
}

// Operations that differ from their family.
int32_t hi3861l_api_get_wakeup_info(uint8_t* record);
int32_t hi3861l_api_get_wifi_scanf_info(uint8_t selector, uint8_t* record);
int32_t hi3861l_api_set_time(const uint8_t* time);
int32_t hi3861l_api_set_system_state(uint8_t state);
int32_t hi3861l_api_set_wdg_period(uint32_t period);
int32_t hi3861l_api_set_cmd(const uint8_t* bytes, int32_t len);
int32_t hi3861l_api_upg_start(uint8_t first, uint32_t second);
int32_t hi3861l_api_upg_transmit(const uint8_t* block);
int32_t hi3861l_api_upg_finish();

#endif
