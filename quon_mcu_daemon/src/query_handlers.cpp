// Handlers of the "method.quon.mcu.get." services that ask the chip for one record or return the
// start-up snapshot.
#include <stdio.h>
#include <string.h>

#include "dbus_socket_common.h"
#include "mcu_call.h"
#include "mcu_records.h"
#include "quon_little_endian.h"
#include "securec.h"
#include "service_handlers.h"
#include "startup_snapshot.h"

namespace {

// A local record followed by room for the longest payload and a terminator.
struct staging_area {
    uint8_t bytes[kMcuReplyAreaSize + 1] = {};
};

int32_t copy_staged(const staging_area& area, uint8_t* reply, int32_t length) {
    (void)memcpy_s(reply, DBUS_DATA_SIZE, area.bytes, static_cast<size_t>(length));
    return length;
}

}  // namespace

// The operation writes straight into the reply, up to kMcuReplyAreaSize bytes.
#define DIRECT_QUERY(name, slot, check, length, failure)                          \
    int32_t name(const uint8_t*, int32_t, uint8_t* reply, int32_t) {              \
        static constexpr handler_row kRow = {#name, __LINE__, check, failure};    \
        return call_mcu(kRow, &mcu_ops::slot, reply) == 0 ? int32_t{length} : -1; \
    }

// The operation writes into a local area, so the reply is unchanged on failure.
#define STAGED_QUERY(name, slot, check, length, failure)                       \
    int32_t name(const uint8_t*, int32_t, uint8_t* reply, int32_t) {           \
        static constexpr handler_row kRow = {#name, __LINE__, check, failure}; \
        static_assert((length) <= kMcuReplyAreaSize);                          \
        staging_area area;                                                     \
        if (call_mcu(kRow, &mcu_ops::slot, area.bytes) != 0) {                 \
            return -1;                                                         \
        }                                                                      \
        return copy_staged(area, reply, length);                               \
    }

// clang-format off
//           handler                                 slot                            null check       reply bytes                 failure text
DIRECT_QUERY(quon_mcu_get_wakeup_info,               get_wakeup_info,                null_check::no,  kMcuWakeupInfoSize,         "mcu_get_wakeup_info failed")
DIRECT_QUERY(quon_mcu_get_time,                      get_time,                       null_check::no,  kMcuTimeSize,               "mcu_get_time failed")
DIRECT_QUERY(quon_mcu_get_battery_status,            get_battery_status,             null_check::no,  kMcuBatteryStatusSize,      "mcu_get_battery_status failed")
DIRECT_QUERY(quon_mcu_get_pir_info,                  get_pir_info,                   null_check::no,  kMcuPirInfoSize,            "mcu_get_pir_info failed")
DIRECT_QUERY(quon_mcu_get_wifi_status,               get_wifi_status,                null_check::no,  kMcuWifiStatusSize,         "mcu_get_wifi_status failed")
DIRECT_QUERY(quon_mcu_get_wifi_info,                 get_wifi_info,                  null_check::no,  kMcuWifiInfoSize,           "mcu_get_wifi_info failed")
DIRECT_QUERY(quon_mcu_get_store_params,              get_store_params,               null_check::no,  kMcuStoreParamsSize,        "mcu_get_store_params failed")
DIRECT_QUERY(quon_mcu_get_alarm,                     get_alarm,                      null_check::no,  kMcuAlarmSize,              "mcu_get_alarm failed")
DIRECT_QUERY(quon_mcu_get_err_report,                get_err_report,                 null_check::no,  kMcuErrReportSize,          "mcu_get_err_report failed")
DIRECT_QUERY(quon_mcu_get_status_info,               get_status_info,                null_check::yes, kMcuStatusInfoSize,         "mcu_get_status_info failed")
DIRECT_QUERY(quon_mcu_get_config_info,               get_config_info,                null_check::yes, kMcuConfigInfoSize,         "mcu_get_config_info failed")
DIRECT_QUERY(quon_mcu_get_wifi_extended_status,      get_wifi_extended_status,       null_check::yes, kMcuWifiExtendedStatusSize, "mcu_get_wifi_extended_status failed")
DIRECT_QUERY(quon_mcu_get_soc_poweron_time_list,     get_soc_poweron_time_info_list, null_check::yes, kMcuSocTimeListSize,        "mcu_get_soc_poweron_time_info_list failed")
DIRECT_QUERY(quon_mcu_get_soc_poweron_time_cur_info, get_soc_poweron_time_cur_info,  null_check::yes, kMcuSocTimeCurSize,         "mcu_get_soc_poweron_time_cur_info failed")

STAGED_QUERY(quon_mcu_get_log_profile,               get_log_profile,                null_check::yes, kMcuLogProfileSize,         "mcu_get_log_profile failed")
STAGED_QUERY(quon_mcu_get_bit_err_rate,              get_bit_err_rate,               null_check::yes, kMcuBitErrRateSize,         "mcu_get_bit_err_rate failed")
// clang-format on

int32_t quon_mcu_get_wifi_scanf_info(const uint8_t* request, int32_t, uint8_t* reply, int32_t) {
    // The failure text names the handler, not the operation: intended.
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::yes,
                                         "quon_mcu_get_wifi_scanf_info failed"};
    const uint8_t selector = request[0];
    staging_area area;
    if (call_mcu(kRow, &mcu_ops::get_wifi_scanf_info, selector, area.bytes) != 0) {
        return -1;
    }
    return copy_staged(area, reply, kMcuWifiScanfInfoSize);
}

int32_t quon_mcu_get_event_info(const uint8_t*, int32_t, uint8_t* reply, int32_t) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::no, nullptr};
    const int32_t result = call_mcu(kRow, &mcu_ops::get_event_info, reply);
    return result == 0 ? kMcuEventInfoSize : result;
}

int32_t quon_mcu_get_version(const uint8_t*, int32_t, uint8_t* reply, int32_t) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::no,
                                         "mcu_get_version failed"};
    char* text = reinterpret_cast<char*>(reply);
    if (call_mcu(kRow, &mcu_ops::get_version, text) != 0) {
        return -1;
    }
    return static_cast<int32_t>(strlen(text));
}

int32_t quon_mcu_get_wdg_state(const uint8_t*, int32_t, uint8_t* reply, int32_t reply_capacity) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::no,
                                         "mcu_get_wdg_state failed"};
    staging_area area;
    if (call_mcu(kRow, &mcu_ops::get_wdg_state, area.bytes) != 0) {
        return -1;
    }
    const int state = area.bytes[0];
    snprintf(reinterpret_cast<char*>(reply), static_cast<size_t>(reply_capacity), "%d", state);
    return 1;  // even for a state of two or three digits: intended
}

int32_t quon_mcu_get_soc_min_version(const uint8_t*, int32_t, uint8_t* reply,
                                     int32_t reply_capacity) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::no,
                                         "mcu_get_soc_min_version failed"};
    staging_area area;
    char* text = reinterpret_cast<char*>(area.bytes);
    if (call_mcu(kRow, &mcu_ops::get_soc_min_version, text) != 0) {
        return -1;
    }
    snprintf(reinterpret_cast<char*>(reply), static_cast<size_t>(reply_capacity), "%s", text);
    return static_cast<int32_t>(strlen(text));
}

int32_t quon_mcu_get_allwakeup_info(const uint8_t*, int32_t, uint8_t* reply, int32_t) {
    const wakeup_context context = quon_mcu_wakeup_context();
    (void)memcpy_s(reply, DBUS_DATA_SIZE, context.bytes, sizeof(context.bytes));
    return kMcuWakeupContextSize;
}

// Two words of the wake-up record and the milliseconds since the snapshot.
int32_t quon_mcu_get_socup_time(const uint8_t*, int32_t, uint8_t* reply, int32_t) {
    const wakeup_context context = quon_mcu_wakeup_context();
    const uint32_t start_ms = quon_load_le32(context.bytes + kMcuContextStartMsOffset);
    quon_store_le32(reply, quon_load_le32(context.bytes + kMcuWakeupTime1Offset));
    quon_store_le32(reply + 4, quon_load_le32(context.bytes + kMcuWakeupTime2Offset));
    quon_store_le32(reply + 8, quon_mcu_monotonic_ms() - start_ms);
    return kMcuSocupTimeSize;
}
