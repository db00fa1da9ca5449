#include "startup_snapshot.h"

#include <array>
#include <atomic>

#include "quon_clock.h"
#include "quon_little_endian.h"
#include "remote_wakeup.h"
#include "securec.h"
#include "service_handlers.h"

namespace {

static_assert(kMcuContextTimeOffset == kMcuContextWakeupOffset + kMcuWakeupInfoSize);
static_assert(kMcuContextBatteryOffset == kMcuContextTimeOffset + kMcuTimeSize);
static_assert(kMcuContextWifiStatusOffset == kMcuContextBatteryOffset + kMcuBatteryStatusSize);
static_assert(kMcuContextWifiInfoOffset == kMcuContextWifiStatusOffset + kMcuWifiStatusSize);
static_assert(kMcuContextStoreOffset == kMcuContextWifiInfoOffset + kMcuWifiInfoSize);
static_assert(kMcuContextVersionOffset == kMcuContextStoreOffset + kMcuStoreParamsSize);
static_assert(kMcuContextStartMsOffset == kMcuContextVersionOffset + kMcuVersionSize);
static_assert(kMcuWakeupContextSize == kMcuContextStartMsOffset + 4);

// The context, filled by the main thread.
constinit wakeup_context own_context = {};

// The copy for handlers. They may read it while the snapshot is being taken, and then get part of
// it.
constexpr size_t kContextWords = kMcuWakeupContextSize / sizeof(uint32_t);
constinit std::array<std::atomic<uint32_t>, kContextWords> published_context = {};

void publish_context() {
    for (size_t i = 0; i < kContextWords; i++) {
        published_context[i].store(quon_load_le32(own_context.bytes + i * sizeof(uint32_t)),
                                   std::memory_order_relaxed);
    }
}

struct context_field {
    method_handler* query;
    int32_t offset;
    int32_t size;
    int32_t capacity;  // passed to the query
};

constexpr context_field kWakeupInfo = {quon_mcu_get_wakeup_info, kMcuContextWakeupOffset,
                                       kMcuWakeupInfoSize, 0};
constexpr context_field kStoreParams = {quon_mcu_get_store_params, kMcuContextStoreOffset,
                                        kMcuStoreParamsSize, 0};
constexpr context_field kVersion = {quon_mcu_get_version, kMcuContextVersionOffset, kMcuVersionSize,
                                    kMcuVersionSize};

constexpr context_field kChipState[] = {
    {quon_mcu_get_time, kMcuContextTimeOffset, kMcuTimeSize, 0},
    {quon_mcu_get_battery_status, kMcuContextBatteryOffset, kMcuBatteryStatusSize, 0},
    {quon_mcu_get_wifi_status, kMcuContextWifiStatusOffset, kMcuWifiStatusSize, 0},
    {quon_mcu_get_wifi_info, kMcuContextWifiInfoOffset, kMcuWifiInfoSize, 0},
};

// Each answer, of whatever length, goes to an area of its own with room for a terminator, and its
// field's share from there to the context. Returns the query's result.
int32_t snapshot_field(const context_field& field) {
    uint8_t answer[kMcuReplyAreaSize + 1] = {};
    const int32_t result = field.query(nullptr, 0, answer, field.capacity);
    (void)memcpy_s(own_context.bytes + field.offset,
                   static_cast<size_t>(kMcuWakeupContextSize - field.offset), answer,
                   static_cast<size_t>(field.size));
    publish_context();
    return result;
}

void snapshot_start_time() {
    quon_store_le32(own_context.bytes + kMcuContextStartMsOffset, quon_mcu_monotonic_ms());
    publish_context();
}

}  // namespace

uint32_t quon_mcu_monotonic_ms() {
    return quon_clock_ms();
}

void quon_mcu_startup_snapshot() {
    snapshot_field(kWakeupInfo);
    snapshot_start_time();
    for (const context_field& field : kChipState) {
        snapshot_field(field);
    }
    const bool has_store_params = snapshot_field(kStoreParams) > 0;
    quon_mcu_start_remote_wakeup(own_context.bytes, has_store_params);
    snapshot_field(kVersion);
}

wakeup_context quon_mcu_wakeup_context() {
    wakeup_context context;
    for (size_t i = 0; i < kContextWords; i++) {
        const uint32_t word = published_context[i].load(std::memory_order_relaxed);
        quon_store_le32(context.bytes + i * sizeof(word), word);
    }
    return context;  // cppcheck-suppress uninitvar ; filled word by word
}
