#include "hi3861l_query_commands.h"

#include <string.h>

#include <algorithm>

#include "hi3861l_api.h"
#include "hi3861l_context.h"
#include "hi3861l_net_record.h"
#include "hi3861l_transport.h"
#include "securec.h"

// A chip's answer is at most one payload long, and so is the destination.
static_assert(kMcuReplyAreaSize == kHi3861lPayloadSize);

int32_t hi3861l_exchange(hi3861l_msg_type type, const char* name, const void* body, uint32_t size,
                         hi3861l_msg* reply) {
    hi3861l_msg request{.type = type, .payload = {}, .len = size};
    if (size != 0) {
        (void)memcpy_s(request.payload, sizeof(request.payload), body, size);
    }
    *reply = hi3861l_msg{.type = type, .payload = {}, .len = 0};
    if (hi3861l_send_msg_sync(&request, reply, hi3861l_timeout_ms(type)) != 0) {
        return hi3861l_failed(name, __LINE__, "hi3861l_send_msg_sync failed");
    }
    return 0;
}

void hi3861l_copy_answer(uint8_t* area, const hi3861l_msg& reply) {
    if (reply.len != 0) {
        (void)memcpy_s(area, kMcuReplyAreaSize, reply.payload, reply.len);
    }
}

int32_t hi3861l_run_query(hi3861l_msg_type type, const char* name, uint8_t* record) {
    if (record == nullptr) {
        return hi3861l_failed(name, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (hi3861l_exchange(type, name, nullptr, 0, &reply) != 0) {
        return -1;
    }
    hi3861l_copy_answer(record, reply);
    return 0;
}

// The pointer is not checked. Intended.
int32_t hi3861l_run_text_query(hi3861l_msg_type type, const char* name, char* text) {
    hi3861l_msg reply;
    if (hi3861l_exchange(type, name, nullptr, 0, &reply) != 0) {
        return -1;
    }
    const size_t length =
        strnlen(reinterpret_cast<const char*>(reply.payload), kMcuReplyAreaSize - 1);
    if (length != 0) {
        (void)memcpy_s(text, kMcuReplyAreaSize, reply.payload, length);
    }
    text[length] = '\0';
    return 0;
}

// The count is the chip's and is passed on unchanged.
int32_t hi3861l_run_list_query(hi3861l_msg_type type, const char* name, uint32_t entry_size,
                               uint8_t* list) {
    if (list == nullptr) {
        return hi3861l_failed(name, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (hi3861l_exchange(type, name, nullptr, 0, &reply) != 0) {
        return -1;
    }
    const uint8_t count = reply.payload[0];
    list[0] = count;
    const uint32_t size = std::min(count * entry_size, kHi3861lPayloadSize - 1);
    if (size != 0) {
        (void)memcpy_s(list + 1, kMcuReplyAreaSize - 1, reply.payload + 1, size);
    }
    return 0;
}

// The MAC is read from the caller's record: if the answer ends before it, the record's previous
// bytes count.
int32_t hi3861l_api_get_wakeup_info(uint8_t* record) {
    if (hi3861l_run_query(HI3861L_GET_WAKEUP_INFO, __func__, record) != 0) {
        return -1;
    }
    hi3861l_keep_second_mac(record + kMcuWakeupMacOffset);
    return 0;
}

int32_t hi3861l_api_get_wifi_scanf_info(uint8_t selector, uint8_t* record) {
    if (record == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (hi3861l_exchange(HI3861L_GET_WIFI_SCANF_INFO, __func__, &selector, sizeof(selector),
                         &reply) != 0) {
        return -1;
    }
    hi3861l_copy_answer(record, reply);
    return 0;
}
