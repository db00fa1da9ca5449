// The driver's operations that send a message, one row each, in slot order. Everything that depends
// on a row is generated from it: the function, its place in the table, the message types and the
// time-outs, which the simulated chip, the client and the tests share.
#ifndef HI3861L_OPERATIONS_H
#define HI3861L_OPERATIONS_H

// X(family, slot, function, message, type, timeout_ms, bytes)
//
// Families: a QUERY copies the answer by its own length, a TEXT_QUERY as a zero-terminated text, a
// LIST_QUERY as a count and that many entries of `bytes`; commands send nothing, one byte or a
// record of `bytes`. An OWN function is written separately; its row says in a comment what is
// different. timeout_ms: for the answer; 0: no answer is awaited. bytes: size of the request's
// body, where fixed.
// clang-format off
#define HI3861L_OPERATIONS(X) \
    X(TEXT_QUERY,     get_version,                    hi3861l_api_get_version,                    HI3861L_GET_VERSION,               0x80, 1000, 0) \
    X(OWN,            get_wakeup_info,                hi3861l_api_get_wakeup_info,                HI3861L_GET_WAKEUP_INFO,           0x82, 2000, 0) /* keeps the second MAC */ \
    X(OWN,            set_time,                       hi3861l_api_set_time,                       HI3861L_SET_TIME,                  0x83, 0,    kMcuTimeSize) /* logs the time */ \
    X(QUERY,          get_time,                       hi3861l_api_get_time,                       HI3861L_GET_TIME,                  0x84, 1000, 0) \
    X(BYTE_COMMAND,   set_led_state,                  hi3861l_api_set_led,                        HI3861L_SET_LED,                   0x85, 0,    1) \
    X(QUERY,          get_battery_status,             hi3861l_api_get_battery_status,             HI3861L_GET_BATTERY_STATUS,        0x86, 2000, 0) \
    X(BYTE_COMMAND,   set_pir_switch,                 hi3861l_api_set_pir_switch,                 HI3861L_SET_PIR_SWITCH,            0x87, 0,    1) \
    X(BYTE_COMMAND,   set_pir_sensitivity,            hi3861l_api_set_pir_sensitivity,            HI3861L_SET_PIR_SENSITIVITY,       0x88, 0,    1) \
    X(QUERY,          get_pir_info,                   hi3861l_api_get_pir_info,                   HI3861L_GET_PIR_INFO,              0x89, 1000, 0) \
    X(RECORD_COMMAND, set_pir_info,                   hi3861l_api_set_pir_info,                   HI3861L_SET_PIR_INFO,              0xA2, 0,    kMcuPirInfoSize) \
    X(RECORD_COMMAND, set_wifi_connect,               hi3861l_api_set_wifi_connect,               HI3861L_SET_WIFI_CONNECT,          0x8A, 0,    kMcuWifiConnectSize) \
    X(EMPTY_COMMAND,  set_wifi_disconnect,            hi3861l_api_set_wifi_disconnect,            HI3861L_SET_WIFI_DISCONNECT,       0x8B, 0,    0) \
    X(QUERY,          get_wifi_status,                hi3861l_api_get_wifi_status,                HI3861L_GET_WIFI_STATUS,           0x8C, 1000, 0) \
    X(RECORD_COMMAND, set_wifi_keepalive,             hi3861l_api_set_wifi_keepalive,             HI3861L_SET_WIFI_KEEPALIVE,        0x8D, 0,    kMcuWifiKeepaliveSize) \
    X(RECORD_COMMAND, set_wifi_extended_info,         hi3861l_api_set_wifi_extended_info,         HI3861L_SET_WIFI_EXTENDED_INFO,    0x9D, 0,    kMcuWifiExtendedInfoSize) \
    X(OWN,            get_wifi_scanf_info,            hi3861l_api_get_wifi_scanf_info,            HI3861L_GET_WIFI_SCANF_INFO,       0xA9, 2000, 1) /* asks with a selector */ \
    X(OWN,            set_system_state,               hi3861l_api_set_system_state,               HI3861L_SET_SYSTEM_STATE,          0x8E, 0,    1) /* logs the state */ \
    X(OWN,            upg_start,                      hi3861l_api_upg_start,                      HI3861L_UPG_START,                 0x8F, 3000, kMcuUpgStartSize) /* two values */ \
    X(OWN,            upg_transmit,                   hi3861l_api_upg_transmit,                   HI3861L_UPG_TRANSMIT,              0x90, 3000, kMcuUpgBlockSize) /* the answer decides */ \
    X(OWN,            upg_finish,                     hi3861l_api_upg_finish,                     HI3861L_UPG_FINISH,                0x91, 0,    0) /* logs */ \
    X(RECORD_COMMAND, set_store_params,               hi3861l_api_set_store_params,               HI3861L_SET_STORE_PARAMS,          0x92, 0,    kMcuStoreParamsSize) \
    X(QUERY,          get_store_params,               hi3861l_api_get_store_params,               HI3861L_GET_STORE_PARAMS,          0x93, 1000, 0) \
    X(BYTE_COMMAND,   set_wdg_state,                  hi3861l_api_set_wdg_state,                  HI3861L_SET_WDG_STATE,             0x94, 0,    1) \
    X(QUERY,          get_wdg_state,                  hi3861l_api_get_wdg_state,                  HI3861L_GET_WDG_STATE,             0x95, 1000, 0) \
    X(OWN,            set_wdg_period,                 hi3861l_api_set_wdg_period,                 HI3861L_SET_WDG_PERIOD,            0x96, 0,    kMcuWdgPeriodSize) /* a number */ \
    X(EMPTY_COMMAND,  set_wdg_feed,                   hi3861l_api_set_wdg_feed,                   HI3861L_SET_WDG_FEED,              0x97, 0,    0) \
    X(RECORD_COMMAND, set_alarm,                      hi3861l_api_set_alarm,                      HI3861L_SET_ALARM,                 0x98, 0,    kMcuAlarmSize) \
    X(QUERY,          get_alarm,                      hi3861l_api_get_alarm,                      HI3861L_GET_ALARM,                 0x99, 1000, 0) \
    X(RECORD_COMMAND, set_ap_start,                   hi3861l_api_set_ap_start,                   HI3861L_SET_AP_START,              0x9A, 0,    kMcuApStartSize) \
    X(EMPTY_COMMAND,  set_ap_stop,                    hi3861l_api_set_ap_stop,                    HI3861L_SET_AP_STOP,               0x9B, 0,    0) \
    X(EMPTY_COMMAND,  set_crash_test,                 hi3861l_api_set_crash_test,                 HI3861L_SET_CRASH_TEST,            0x9C, 0,    0) \
    X(LIST_QUERY,     get_err_report,                 hi3861l_api_get_err_report,                 HI3861L_GET_ERR_REPORT,            0x9E, 1000, kMcuErrReportEntrySize) \
    X(TEXT_QUERY,     get_soc_min_version,            hi3861l_api_get_soc_min_version,            HI3861L_GET_SOC_MIN_VERSION,       0x9F, 1000, 0) \
    X(BYTE_COMMAND,   set_uart_switch,                hi3861l_api_set_uart_switch,                HI3861L_SET_UART_SWITCH,           0xA0, 0,    1) \
    X(RECORD_COMMAND, set_wakeup_info,                hi3861l_api_set_wakeup_info,                HI3861L_SET_WAKEUP_INFO,           0xA1, 0,    kMcuWakeupInfoSize) \
    X(QUERY,          get_status_info,                hi3861l_api_get_status_info,                HI3861L_GET_STATUS_INFO,           0xA3, 1000, 0) \
    X(RECORD_COMMAND, set_charge_auto_poweron,        hi3861l_api_set_charge_auto_poweron,        HI3861L_SET_CHARGE_AUTO_POWERON,   0xA4, 0,    kMcuChargeAutoPoweronSize) \
    X(OWN,            set_cmd,                        hi3861l_api_set_cmd,                        HI3861L_SET_CMD,                   0xA5, 0,    0) /* the caller's length */ \
    X(BYTE_COMMAND,   set_tamper_switch,              hi3861l_api_set_tamper_switch,              HI3861L_SET_TAMPER_SWITCH,         0xA6, 0,    1) \
    X(QUERY,          get_config_info,                hi3861l_api_get_config_info,                HI3861L_GET_CONFIG_INFO,           0xA7, 1000, 0) \
    X(QUERY,          get_wifi_extended_status,       hi3861l_api_get_wifi_extended_status,       HI3861L_GET_WIFI_EXTENDED_STATUS,  0xAA, 1000, 0) \
    X(RECORD_COMMAND, set_soc_poweron_time_info,      hi3861l_api_set_soc_poweron_time_info,      HI3861L_SET_SOC_POWERON_TIME_INFO, 0xAB, 0,    kMcuSocTimeInfoSize) \
    X(LIST_QUERY,     get_soc_poweron_time_info_list, hi3861l_api_get_soc_poweron_time_info_list, HI3861L_GET_SOC_POWERON_TIME_LIST, 0xAC, 1000, kMcuSocTimeEntrySize) \
    X(QUERY,          get_soc_poweron_time_cur_info,  hi3861l_api_get_soc_poweron_time_cur_info,  HI3861L_GET_SOC_POWERON_TIME_CUR,  0xAD, 1000, 0)

// The query that the start-up sends on its own.
#define HI3861L_START_QUERY(X) \
    X(HI3861L_GET_NET_INFO, 0x81, 1000)

// Operations that send nothing themselves: X(slot, function). Slots in neither list are empty.
#define HI3861L_LOCAL_OPERATIONS(X) \
    X(init,                     hi3861l_api_init) \
    X(deinit,                   hi3861l_api_deinit) \
    X(get_wifi_info,            hi3861l_api_get_wifi_info) \
    X(get_event_info,           hi3861l_api_get_event_info) \
    X(get_ipaddr_update_status, hi3861l_api_get_ipaddr_update_status)
// clang-format on

#endif
