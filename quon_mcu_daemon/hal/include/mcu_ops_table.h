// The operations table of an MCU: 52 slots in a fixed order. A driver fills one constant table; the
// daemon calls through it (mcu_ops.h).
//
// Every slot returns 0, or -1 after logging why; get_event_info logs nothing when no event is
// pending, nor does upg_transmit when the chip rejects the block. A slot that the chip does not
// support is null if callers check it (slots 18, 39, 40, 42 to 51); the others are called unchecked
// and must be filled. Slots may be called from any thread; each blocks for its own exchange's
// time-out plus those of the exchanges ahead of it. The area passed to a query slot has
// kMcuReplyAreaSize bytes.
#ifndef MCU_OPS_TABLE_H
#define MCU_OPS_TABLE_H

#include <stddef.h>
#include <stdint.h>

#include "mcu_records.h"

using mcu_query = int32_t (*)(uint8_t* record);
using mcu_text_query = int32_t (*)(char* text);
using mcu_byte_command = int32_t (*)(uint8_t value);
using mcu_command = int32_t (*)();

struct mcu_ops {
    mcu_command init;                                                   // 0
    mcu_command deinit;                                                 // 1
    mcu_text_query get_version;                                         // 2
    mcu_query get_wakeup_info;                                          // 3
    int32_t (*set_time)(const uint8_t* time);                           // 4
    mcu_query get_time;                                                 // 5
    mcu_byte_command set_led_state;                                     // 6
    mcu_query get_battery_status;                                       // 7
    mcu_byte_command set_pir_switch;                                    // 8
    mcu_byte_command set_pir_sensitivity;                               // 9
    mcu_query get_pir_info;                                             // 10
    int32_t (*set_pir_info)(mcu_pir_info info);                         // 11
    int32_t (*set_wifi_connect)(mcu_wifi_connect info);                 // 12
    mcu_command set_wifi_disconnect;                                    // 13
    mcu_query get_wifi_status;                                          // 14
    mcu_query get_wifi_info;                                            // 15
    int32_t (*set_wifi_keepalive)(mcu_wifi_keepalive info);             // 16
    int32_t (*set_wifi_extended_info)(mcu_wifi_extended_info info);     // 17
    int32_t (*get_wifi_scanf_info)(uint8_t selector, uint8_t* record);  // 18
    mcu_byte_command set_system_state;                                  // 19
    mcu_query get_event_info;                                           // 20
    int32_t (*upg_start)(uint8_t first, uint32_t second);               // 21
    int32_t (*upg_transmit)(const uint8_t* block);                      // 22
    mcu_command upg_finish;                                             // 23
    int32_t (*set_store_params)(mcu_store_params params);               // 24
    mcu_query get_store_params;                                         // 25
    mcu_byte_command set_wdg_state;                                     // 26
    mcu_query get_wdg_state;                                            // 27
    int32_t (*set_wdg_period)(uint32_t period);                         // 28
    mcu_command set_wdg_feed;                                           // 29
    int32_t (*set_alarm)(mcu_alarm alarm);                              // 30
    mcu_query get_alarm;                                                // 31
    int32_t (*set_ap_start)(mcu_ap_start info);                         // 32
    mcu_command set_ap_stop;                                            // 33
    mcu_command set_crash_test;                                         // 34
    mcu_query get_err_report;                                           // 35
    mcu_text_query get_soc_min_version;                                 // 36
    mcu_byte_command set_uart_switch;                                   // 37
    int32_t (*set_wakeup_info)(mcu_wakeup_info info);                   // 38
    mcu_query get_status_info;                                          // 39
    int32_t (*set_charge_auto_poweron)(mcu_charge_auto_poweron info);   // 40
    int32_t (*set_cmd)(const uint8_t* bytes, int32_t len);              // 41
    mcu_byte_command set_tamper_switch;                                 // 42
    mcu_query get_config_info;                                          // 43
    int32_t (*set_log_profile)(mcu_log_profile profile);                // 44
    mcu_query get_log_profile;                                          // 45
    mcu_query get_bit_err_rate;                                         // 46
    int32_t (*get_ipaddr_update_status)(uint32_t* updated);             // 47
    mcu_query get_wifi_extended_status;                                 // 48
    int32_t (*set_soc_poweron_time_info)(mcu_soc_time_info info);       // 49
    mcu_query get_soc_poweron_time_info_list;                           // 50
    mcu_query get_soc_poweron_time_cur_info;                            // 51
};

inline constexpr size_t kMcuOpsSlots = 52;
static_assert(sizeof(mcu_ops) == kMcuOpsSlots * sizeof(void*));

#endif
