#include "startup_snapshot.h"

#include <string.h>

#include <array>
#include <atomic>

#include "mcu_call.h"
#include "mcu_records.h"
#include "query_handlers.h"
#include "quon_clock.h"
#include "quon_little_endian.h"
#include "websocket.h"

namespace {

static_assert(MCU_CONTEXT_TIME_OFFSET == MCU_CONTEXT_WAKEUP_OFFSET + MCU_WAKEUP_INFO_SIZE);
static_assert(MCU_CONTEXT_BATTERY_OFFSET == MCU_CONTEXT_TIME_OFFSET + MCU_TIME_SIZE);
static_assert(MCU_CONTEXT_WIFI_STATUS_OFFSET ==
              MCU_CONTEXT_BATTERY_OFFSET + MCU_BATTERY_STATUS_SIZE);
static_assert(MCU_CONTEXT_WIFI_INFO_OFFSET ==
              MCU_CONTEXT_WIFI_STATUS_OFFSET + MCU_WIFI_STATUS_SIZE);
static_assert(MCU_CONTEXT_STORE_OFFSET == MCU_CONTEXT_WIFI_INFO_OFFSET + MCU_WIFI_INFO_SIZE);
static_assert(MCU_CONTEXT_VERSION_OFFSET == MCU_CONTEXT_STORE_OFFSET + MCU_STORE_PARAMS_SIZE);
static_assert(MCU_CONTEXT_START_MS_OFFSET == MCU_CONTEXT_VERSION_OFFSET + MCU_VERSION_SIZE);
static_assert(MCU_WAKEUP_CONTEXT_SIZE == MCU_CONTEXT_START_MS_OFFSET + 4);

// The context as the queries write it, on the main thread alone. Behind it there is room for the
// longest reply to the query of its last field.
uint8_t working_area[MCU_CONTEXT_VERSION_OFFSET + MCU_REPLY_AREA_SIZE + 1];

// What the handlers read. They may ask while the snapshot is taken, and then get a part of it.
constexpr size_t CONTEXT_WORDS = MCU_WAKEUP_CONTEXT_SIZE / sizeof(uint32_t);
constinit std::array<std::atomic<uint32_t>, CONTEXT_WORDS> published_context = {};

struct context_image {
    uint8_t bytes[MCU_WAKEUP_CONTEXT_SIZE];
};

void publish_context() {
    for (size_t i = 0; i < CONTEXT_WORDS; i++) {
        uint32_t word = 0;
        memcpy(&word, working_area + i * sizeof(word), sizeof(word));
        published_context[i].store(word, std::memory_order_relaxed);
    }
}

context_image read_context() {
    context_image image;
    for (size_t i = 0; i < CONTEXT_WORDS; i++) {
        const uint32_t word = published_context[i].load(std::memory_order_relaxed);
        memcpy(image.bytes + i * sizeof(word), &word, sizeof(word));
    }
    return image;  // cppcheck-suppress uninitvar ; filled word by word
}

// One field of the context. Returns the handler's result.
int32_t snapshot_field(method_handler* query, int32_t offset, int32_t capacity) {
    const int32_t result = query(nullptr, 0, working_area + offset, capacity);
    publish_context();
    return result;
}

void snapshot_start_time() {
    quon_store_le32(working_area + MCU_CONTEXT_START_MS_OFFSET, quon_mcu_monotonic_ms());
    publish_context();
}

void take_server_address(ws_preinit_param& param) {
    const uint8_t* store = working_area + MCU_CONTEXT_STORE_OFFSET;
    uint32_t ip = 0;
    memcpy(&ip, store + MCU_STORE_SERVER_IP_OFFSET, sizeof(ip));
    const uint16_t port = quon_load_le16(store + MCU_STORE_SERVER_PORT_OFFSET);
    if (ip != 0 && port != 0) {
        param.server_ip = ip;
        param.server_port = port;
    }
}

bool is_remote_wakeup(uint8_t reason) {
    return reason == 1 || reason == 3 || reason == 13;
}

}  // namespace

uint32_t quon_mcu_monotonic_ms() {
    return quon_clock_ms();
}

void quon_mcu_startup_snapshot() {
    ws_preinit_param param = {};
    snapshot_field(quon_mcu_get_wakeup_info, MCU_CONTEXT_WAKEUP_OFFSET, 0);
    snapshot_start_time();
    snapshot_field(quon_mcu_get_time, MCU_CONTEXT_TIME_OFFSET, 0);
    snapshot_field(quon_mcu_get_battery_status, MCU_CONTEXT_BATTERY_OFFSET, 0);
    snapshot_field(quon_mcu_get_wifi_status, MCU_CONTEXT_WIFI_STATUS_OFFSET, 0);
    snapshot_field(quon_mcu_get_wifi_info, MCU_CONTEXT_WIFI_INFO_OFFSET, 0);
    if (snapshot_field(quon_mcu_get_store_params, MCU_CONTEXT_STORE_OFFSET, 0) > 0) {
        take_server_address(param);
    }
    param.remote_wakeup = is_remote_wakeup(working_area[MCU_WAKEUP_REASON_OFFSET]) ? 1 : 0;
    param.get_ip_update_status = quon_mcu_get_ipaddr_update_status;
    (void)websocket_local_server_init(&param);
    snapshot_field(quon_mcu_get_version, MCU_CONTEXT_VERSION_OFFSET, MCU_VERSION_SIZE);
}

int32_t quon_mcu_get_allwakeup_info(const uint8_t*, int32_t, uint8_t* reply, int32_t) {
    const context_image context = read_context();
    memcpy(reply, context.bytes, MCU_WAKEUP_CONTEXT_SIZE);
    return MCU_WAKEUP_CONTEXT_SIZE;
}

int32_t quon_mcu_get_socup_time(const uint8_t*, int32_t, uint8_t* reply, int32_t) {
    const context_image context = read_context();
    const uint32_t start_ms = quon_load_le32(context.bytes + MCU_CONTEXT_START_MS_OFFSET);
    memcpy(reply, context.bytes + MCU_WAKEUP_TIME1_OFFSET, 4);
    memcpy(reply + 4, context.bytes + MCU_WAKEUP_TIME2_OFFSET, 4);
    quon_store_le32(reply + 8, quon_mcu_monotonic_ms() - start_ms);
    return MCU_SOCUP_TIME_SIZE;
}

int quon_mcu_get_ipaddr_update_status(int* value) {
    static constexpr handler_row row = {__func__, __LINE__, null_check::yes,
                                        "mcu_get_ipaddr_update_status failed"};
    uint32_t* updated = reinterpret_cast<uint32_t*>(value);
    if (call_mcu(row, &mcu_ops::get_ipaddr_update_status, updated) != 0) {
        return -1;
    }
    return static_cast<int>(sizeof(*updated));
}
