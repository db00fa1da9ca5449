#include "startup_snapshot.h"

#include <string.h>

#include <array>
#include <atomic>

#include "quon_clock.h"
#include "quon_little_endian.h"
#include "remote_wakeup.h"
#include "service_handlers.h"

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

// The context as the main thread fills it.
constinit wakeup_context own_context = {};

// What the handlers read. They may ask while the snapshot is taken, and then get a part of it.
constexpr size_t CONTEXT_WORDS = MCU_WAKEUP_CONTEXT_SIZE / sizeof(uint32_t);
constinit std::array<std::atomic<uint32_t>, CONTEXT_WORDS> published_context = {};

void publish_context() {
    for (size_t i = 0; i < CONTEXT_WORDS; i++) {
        uint32_t word = 0;
        memcpy(&word, own_context.bytes + i * sizeof(word), sizeof(word));
        published_context[i].store(word, std::memory_order_relaxed);
    }
}

struct context_field {
    method_handler* query;
    int32_t offset;
    int32_t size;
    int32_t capacity;  // as the query is told
};

constexpr context_field WAKEUP_INFO = {quon_mcu_get_wakeup_info, MCU_CONTEXT_WAKEUP_OFFSET,
                                       MCU_WAKEUP_INFO_SIZE, 0};
constexpr context_field STORE_PARAMS = {quon_mcu_get_store_params, MCU_CONTEXT_STORE_OFFSET,
                                        MCU_STORE_PARAMS_SIZE, 0};
constexpr context_field VERSION = {quon_mcu_get_version, MCU_CONTEXT_VERSION_OFFSET,
                                   MCU_VERSION_SIZE, MCU_VERSION_SIZE};

constexpr context_field CHIP_STATE[] = {
    {quon_mcu_get_time, MCU_CONTEXT_TIME_OFFSET, MCU_TIME_SIZE, 0},
    {quon_mcu_get_battery_status, MCU_CONTEXT_BATTERY_OFFSET, MCU_BATTERY_STATUS_SIZE, 0},
    {quon_mcu_get_wifi_status, MCU_CONTEXT_WIFI_STATUS_OFFSET, MCU_WIFI_STATUS_SIZE, 0},
    {quon_mcu_get_wifi_info, MCU_CONTEXT_WIFI_INFO_OFFSET, MCU_WIFI_INFO_SIZE, 0},
};

// An answer as long as the chip made it gets an area of its own, with room for a terminator behind
// it, and the context the part that is its field's. Returns the query's result.
int32_t snapshot_field(const context_field& field) {
    uint8_t answer[MCU_REPLY_AREA_SIZE + 1] = {};
    const int32_t result = field.query(nullptr, 0, answer, field.capacity);
    memcpy(own_context.bytes + field.offset, answer, static_cast<size_t>(field.size));
    publish_context();
    return result;
}

void snapshot_start_time() {
    quon_store_le32(own_context.bytes + MCU_CONTEXT_START_MS_OFFSET, quon_mcu_monotonic_ms());
    publish_context();
}

}  // namespace

uint32_t quon_mcu_monotonic_ms() {
    return quon_clock_ms();
}

void quon_mcu_startup_snapshot() {
    snapshot_field(WAKEUP_INFO);
    snapshot_start_time();
    for (const context_field& field : CHIP_STATE) {
        snapshot_field(field);
    }
    const bool has_store_params = snapshot_field(STORE_PARAMS) > 0;
    quon_mcu_start_remote_wakeup(own_context.bytes, has_store_params);
    snapshot_field(VERSION);
}

wakeup_context quon_mcu_wakeup_context() {
    wakeup_context context;
    for (size_t i = 0; i < CONTEXT_WORDS; i++) {
        const uint32_t word = published_context[i].load(std::memory_order_relaxed);
        memcpy(context.bytes + i * sizeof(word), &word, sizeof(word));
    }
    return context;  // cppcheck-suppress uninitvar ; filled word by word
}
