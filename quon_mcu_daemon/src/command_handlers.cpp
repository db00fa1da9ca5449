// Handlers of the "signal.quon.mcu.set." services and of the three firmware upgrade methods.

#include "mcu_call.h"
#include "mcu_records.h"
#include "quon_little_endian.h"
#include "securec.h"
#include "service_handlers.h"

namespace {

uint8_t byte_of(const uint8_t* request) {
    return request[0];
}

uint32_t word_of(const uint8_t* request) {
    return quon_load_le32(request);
}

// Not inlined: record sizes differ, but the copy is the same.
__attribute__((noinline)) void copy_record(uint8_t* record, const uint8_t* request, size_t size) {
    (void)memcpy_s(record, size, request, size);
}

template <int32_t Size>
mcu_record<Size> record_of(const uint8_t* request) {
    mcu_record<Size> record;
    copy_record(record.bytes, request, Size);
    return record;
}

// The reply is a zero word on success.
int32_t upgrade_reply(int32_t result, uint8_t* reply) {
    if (result != 0) {
        return -1;
    }
    quon_store_le32(reply, 0);
    return kMcuUpgReplySize;
}

// Request byte 0 stands for a member that setting a profile ignores: intended.
void apply_own_log_profile(const uint8_t* request) {
    QnLogProfile profile = {};
    QnLogGetProfile(&profile);
    profile.enable = request[0];
    profile.level_limit = request[1];
    QnLogSetProfile(profile);
}

}  // namespace

#define COMMAND(name, slot, check, failure, ...)                               \
    void name([[maybe_unused]] const uint8_t* request, int32_t) {              \
        static constexpr handler_row kRow = {#name, __LINE__, check, failure}; \
        call_mcu(kRow, &mcu_ops::slot __VA_OPT__(, ) __VA_ARGS__);             \
    }

#define UPGRADE_METHOD(name, slot, failure, ...)                                                \
    int32_t name([[maybe_unused]] const uint8_t* request, int32_t, uint8_t* reply, int32_t) {   \
        static constexpr handler_row kRow = {#name, __LINE__, null_check::no, failure};         \
        return upgrade_reply(call_mcu(kRow, &mcu_ops::slot __VA_OPT__(, ) __VA_ARGS__), reply); \
    }

// clang-format off
//      handler                             slot                        null check       failure text                            payload passed
// cppcheck-suppress syntaxError ; cppcheck does not support __VA_OPT__ and skips this file
COMMAND(quon_mcu_set_time,                  set_time,                   null_check::no,  "mcu_set_time failed",                  request)
COMMAND(quon_mcu_set_led_state,             set_led_state,              null_check::no,  "mcu_set_led_state failed",             byte_of(request))
COMMAND(quon_mcu_set_pir_switch,            set_pir_switch,             null_check::no,  "mcu_set_pir_switch failed",            byte_of(request))
COMMAND(quon_mcu_set_pir_sensivity,         set_pir_sensitivity,        null_check::no,  "mcu_set_pir_sensitivity failed",       byte_of(request))
COMMAND(quon_mcu_set_pir_info,              set_pir_info,               null_check::no,  "mcu_set_pir_info failed",              record_of<kMcuPirInfoSize>(request))
COMMAND(quon_mcu_set_wifi_connect,          set_wifi_connect,           null_check::no,  "mcu_set_wifi_connect failed",          record_of<kMcuWifiConnectSize>(request))
COMMAND(quon_mcu_set_wifi_disconnect,       set_wifi_disconnect,        null_check::no,  "mcu_set_wifi_disconnect failed")
COMMAND(quon_mcu_set_wifi_keepalive,        set_wifi_keepalive,         null_check::no,  "mcu_set_wifi_keepalive failed",        record_of<kMcuWifiKeepaliveSize>(request))
COMMAND(quon_mcu_set_wifi_extended_info,    set_wifi_extended_info,     null_check::no,  "mcu_set_wifi_extended_info failed",    record_of<kMcuWifiExtendedInfoSize>(request))
COMMAND(quon_mcu_set_system_state,          set_system_state,           null_check::no,  "mcu_set_system_state failed",          byte_of(request))
COMMAND(quon_mcu_set_store_params,          set_store_params,           null_check::no,  "mcu_set_store_params failed",          record_of<kMcuStoreParamsSize>(request))
COMMAND(quon_mcu_set_wdg_state,             set_wdg_state,              null_check::no,  "mcu_set_wdg_state failed",             byte_of(request))
COMMAND(quon_mcu_set_wdg_period,            set_wdg_period,             null_check::no,  "mcu_set_wdg_period failed",            word_of(request))
COMMAND(quon_mcu_set_wdg_feed,              set_wdg_feed,               null_check::no,  "mcu_set_wdg_feed failed")
COMMAND(quon_mcu_set_alarm,                 set_alarm,                  null_check::no,  "mcu_set_alarm failed",                 record_of<kMcuAlarmSize>(request))
COMMAND(quon_mcu_set_ap_start,              set_ap_start,               null_check::no,  "mcu_set_ap_start failed",              record_of<kMcuApStartSize>(request))
COMMAND(quon_mcu_set_ap_stop,               set_ap_stop,                null_check::no,  "mcu_set_ap_stop failed")
COMMAND(quon_mcu_set_crash_test,            set_crash_test,             null_check::no,  "mcu_set_crash_test failed")
COMMAND(quon_mcu_set_uart_switch,           set_uart_switch,            null_check::no,  "mcu_set_uart_switch failed",           byte_of(request))
COMMAND(quon_mcu_set_wakeup_info,           set_wakeup_info,            null_check::no,  "mcu_set_wakeup_info failed",           record_of<kMcuWakeupInfoSize>(request))
COMMAND(quon_mcu_set_charge_auto_poweron,   set_charge_auto_poweron,    null_check::yes, "mcu_set_charge_auto_poweron failed",   record_of<kMcuChargeAutoPoweronSize>(request))
COMMAND(quon_mcu_set_tamper_switch,         set_tamper_switch,          null_check::yes, "mcu_set_tamper_switch failed",         byte_of(request))
COMMAND(quon_mcu_set_soc_poweron_time_info, set_soc_poweron_time_info,  null_check::yes, "mcu_set_soc_poweron_time_info failed", record_of<kMcuSocTimeInfoSize>(request))

//             handler                slot          failure text               payload passed
UPGRADE_METHOD(quon_mcu_upg_start,    upg_start,    "mcu_upg_start failed",    byte_of(request), word_of(request + 1))
UPGRADE_METHOD(quon_mcu_upg_transmit, upg_transmit, "mcu_upg_transmit failed", request)
UPGRADE_METHOD(quon_mcu_upg_finish,   upg_finish,   "mcu_upg_finish failed")
// clang-format on

void quon_mcu_set_cmd(const uint8_t* request, int32_t request_len) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::no, "mcu_set_cmd failed"};
    call_mcu(kRow, &mcu_ops::set_cmd, request, request_len);
}

void quon_mcu_set_log_profile(const uint8_t* request, int32_t) {
    static constexpr handler_row kRow = {__func__, __LINE__, null_check::yes,
                                         "mcu_set_log_profile failed"};
    apply_own_log_profile(request);
    call_mcu(kRow, &mcu_ops::set_log_profile, record_of<kMcuLogProfileSize>(request));
}
