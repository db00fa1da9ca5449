#include <string.h>

#include <algorithm>

#include "hi3861l_commands.h"
#include "hi3861l_driver.h"
#include "securec.h"

// A chip's answer is at most one payload long, and so is the area it is copied to.
static_assert(MCU_REPLY_AREA_SIZE == HI3861L_PAYLOAD_SIZE);

namespace {

constexpr int32_t kWakeupInfoTimeoutMs = 2000;
constexpr int32_t kWifiScanfInfoTimeoutMs = 2000;

// Fills `reply`. `body` has `size` bytes.
int32_t exchange(const hi3861l_query& query, const void* body, uint32_t size, hi3861l_msg* reply) {
    hi3861l_msg request{.type = query.type, .payload = {}, .len = size};
    if (size != 0) {
        memcpy(request.payload, body, size);
    }
    *reply = hi3861l_msg{.type = query.type, .payload = {}, .len = 0};
    if (hi3861l_send_msg_sync(&request, reply, query.timeout_ms) != 0) {
        return hi3861l_failed(query.name, __LINE__, "hi3861l_send_msg_sync failed");
    }
    return 0;
}

void copy_record(uint8_t* record, const hi3861l_msg& reply) {
    (void)memcpy_s(record, MCU_REPLY_AREA_SIZE, reply.payload, reply.len);
}

}  // namespace

int32_t hi3861l_run_query(const hi3861l_query& query, uint8_t* record) {
    if (record == nullptr) {
        return hi3861l_failed(query.name, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (exchange(query, nullptr, 0, &reply) != 0) {
        return -1;
    }
    copy_record(record, reply);
    return 0;
}

// Without a check of the pointer. Intended.
int32_t hi3861l_run_text_query(const hi3861l_query& query, char* text) {
    hi3861l_msg reply;
    if (exchange(query, nullptr, 0, &reply) != 0) {
        return -1;
    }
    const size_t length =
        strnlen(reinterpret_cast<const char*>(reply.payload), MCU_REPLY_AREA_SIZE - 1);
    memcpy(text, reply.payload, length);
    text[length] = '\0';
    return 0;
}

// The count is the chip's and goes to the caller as it stands; the entries are copied as far as
// the payload holds them.
int32_t hi3861l_run_list_query(const hi3861l_query& query, uint32_t entry_size, uint8_t* list) {
    if (list == nullptr) {
        return hi3861l_failed(query.name, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (exchange(query, nullptr, 0, &reply) != 0) {
        return -1;
    }
    const uint8_t count = reply.payload[0];
    list[0] = count;
    const uint32_t size = std::min(count * entry_size, HI3861L_PAYLOAD_SIZE - 1);
    memcpy(list + 1, reply.payload + 1, size);
    return 0;
}

int32_t hi3861l_api_get_wakeup_info(uint8_t* record) {
    if (record == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (exchange({HI3861L_GET_WAKEUP_INFO, kWakeupInfoTimeoutMs, __func__}, nullptr, 0, &reply) !=
        0) {
        return -1;
    }
    copy_record(record, reply);
    hi3861l_keep_second_mac(reply.payload + MCU_WAKEUP_MAC_OFFSET);
    return 0;
}

int32_t hi3861l_api_get_wifi_scanf_info(uint8_t selector, uint8_t* record) {
    if (record == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    hi3861l_msg reply;
    if (exchange({HI3861L_GET_WIFI_SCANF_INFO, kWifiScanfInfoTimeoutMs, __func__}, &selector,
                 sizeof(selector), &reply) != 0) {
        return -1;
    }
    copy_record(record, reply);
    return 0;
}
