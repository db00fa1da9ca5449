#include "hi3861l_dev.h"

#include <stdio.h>
#include <stdlib.h>

#include "hi3861l_commands.h"
#include "hi3861l_driver.h"
#include "hichannel_host.h"
#include "securec.h"

// The locks are usable from process start: the bus offers its services before init has run.
constinit hi3861l_context g_hi3861l{
    .initialised = 0,
    .mac_applied = false,
    .request_lock = PTHREAD_MUTEX_INITIALIZER,
    .reply_lock = PTHREAD_MUTEX_INITIALIZER,
    .reply_cond = PTHREAD_COND_INITIALIZER,
    .reply_cond_attr = {},
    .pending = {},
    .net_info = {},
    .second_mac = {},
    .events = nullptr,
    .ip_updated = 0,
    .record_lock = PTHREAD_MUTEX_INITIALIZER,
};

namespace {

constexpr char kPrintSource[] = "quon_mcu_daemon/hal/hi3861l/src/hi3861l_dev";
constexpr size_t kCommandSize = 384;

void clear_records() {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    g_hi3861l.mac_applied = false;
    g_hi3861l.net_info = {};
    g_hi3861l.second_mac = {};
    g_hi3861l.ip_updated = 0;
    pthread_mutex_unlock(&g_hi3861l.record_lock);
}

// As at process start: an operation between a stop and the next start fails on the closed channel.
void init_locks() {
    pthread_mutex_init(&g_hi3861l.request_lock, nullptr);
    pthread_mutex_init(&g_hi3861l.reply_lock, nullptr);
}

void init_reply_cond() {
    pthread_condattr_init(&g_hi3861l.reply_cond_attr);
    pthread_condattr_setclock(&g_hi3861l.reply_cond_attr, CLOCK_MONOTONIC);
    pthread_cond_init(&g_hi3861l.reply_cond, &g_hi3861l.reply_cond_attr);
}

// Clears the context and makes its condition. An operation that a bus peer asked for too early
// either ends first, failing on the closed channel, or finds everything in place.
void init_context() {
    pthread_mutex_lock(&g_hi3861l.request_lock);
    pthread_mutex_lock(&g_hi3861l.reply_lock);
    g_hi3861l.initialised = 0;
    g_hi3861l.pending = {};
    g_hi3861l.events.store(nullptr, std::memory_order_release);
    clear_records();
    init_reply_cond();
    pthread_mutex_unlock(&g_hi3861l.reply_lock);
    pthread_mutex_unlock(&g_hi3861l.request_lock);
}

int32_t sample_wlan_init_up() {
    char command[kCommandSize] = {};
    if (snprintf_s(command, sizeof(command), sizeof(command) - 1, "ifconfig %s up",
                   HI3861L_INTERFACE) < 0) {
        printf("[%s][%s][l:%d],snprintf_s fail\n\r\n", kPrintSource, __func__, __LINE__);
        return -1;
    }
    if (system(command) == -1) {
        printf("[%s][%s][l:%d],%s up error\n\r\n", kPrintSource, __func__, __LINE__,
               HI3861L_INTERFACE);
        return -1;
    }
    return 0;
}

int32_t hi3861l_wlan_init_mac() {
    uint8_t info[MCU_REPLY_AREA_SIZE] = {};
    if (hi3861l_get_ip_info(info) != 0) {
        return hi3861l_failed(__func__, __LINE__, "hi3861l_get_ip_info failed");
    }
    return 0;
}

}  // namespace

int32_t hi3861l_failed(const char* function, int line, const char* reason) {
    QnLogPrint(QN_LOG_ERROR, HI3861L_TAG, HI3861L_SOURCE, function, line, "[%s] failed\n", reason);
    return -1;
}

// Each failing step is reported and passed over; init as a whole always succeeds. Intended.
int32_t hi3861l_api_init() {
    init_context();
    if (sample_wlan_init_up() != 0) {
        printf("[%s][%s][l:%d],sample_wlan_init_up is fail\n\r\n", kPrintSource, __func__,
               __LINE__);
    }
    if (hi_channel_init() != 0) {
        printf("[%s][%s][l:%d],hi_channel_init is fail\n\r\n", kPrintSource, __func__, __LINE__);
    }
    (void)hi_channel_register_rx_cb(hi3861l_rx_callback);
    hi3861l_event_init();
    if (hi3861l_wlan_init_mac() != 0) {
        (void)hi3861l_failed(__func__, __LINE__, "hi3861l_wlan_init_mac failed");
    }
    g_hi3861l.initialised = 1;
    return 0;
}

// The receive thread may be pushing an event: it loses sight of the queue first, and the memory
// goes when the thread has ended.
int32_t hi3861l_api_deinit() {
    QN_QUEUE* const events = g_hi3861l.events.exchange(nullptr, std::memory_order_acq_rel);
    if (events == nullptr) {
        QN_QUEUE_Destroy(nullptr);
    }
    (void)hi_channel_deinit();
    if (events != nullptr) {
        QN_QUEUE_Destroy(events);
    }
    pthread_mutex_destroy(&g_hi3861l.request_lock);
    pthread_mutex_destroy(&g_hi3861l.reply_lock);
    pthread_cond_destroy(&g_hi3861l.reply_cond);
    pthread_condattr_destroy(&g_hi3861l.reply_cond_attr);
    init_locks();
    return 0;
}

const mcu_ops* hi3861l_get_ops_handle() {
    // clang-format off
    static constexpr mcu_ops table = {
        .init = hi3861l_api_init,
        .deinit = hi3861l_api_deinit,
        .get_version = text_query<HI3861L_GET_VERSION, 1000, "hi3861l_api_get_version">,
        .get_wakeup_info = hi3861l_api_get_wakeup_info,
        .set_time = hi3861l_api_set_time,
        .get_time = query<HI3861L_GET_TIME, 1000, "hi3861l_api_get_time">,
        .set_led_state = byte_command<HI3861L_SET_LED, "hi3861l_api_set_led">,
        .get_battery_status = query<HI3861L_GET_BATTERY_STATUS, 2000, "hi3861l_api_get_battery_status">,
        .set_pir_switch = byte_command<HI3861L_SET_PIR_SWITCH, "hi3861l_api_set_pir_switch">,
        .set_pir_sensitivity = byte_command<HI3861L_SET_PIR_SENSITIVITY, "hi3861l_api_set_pir_sensitivity">,
        .get_pir_info = query<HI3861L_GET_PIR_INFO, 1000, "hi3861l_api_get_pir_info">,
        .set_pir_info = record_command<HI3861L_SET_PIR_INFO, 36, "hi3861l_api_set_pir_info">,
        .set_wifi_connect = record_command<HI3861L_SET_WIFI_CONNECT, 134, "hi3861l_api_set_wifi_connect">,
        .set_wifi_disconnect = empty_command<HI3861L_SET_WIFI_DISCONNECT, "hi3861l_api_set_wifi_disconnect">,
        .get_wifi_status = query<HI3861L_GET_WIFI_STATUS, 1000, "hi3861l_api_get_wifi_status">,
        .get_wifi_info = hi3861l_api_get_wifi_info,
        .set_wifi_keepalive = record_command<HI3861L_SET_WIFI_KEEPALIVE, 164, "hi3861l_api_set_wifi_keepalive">,
        .set_wifi_extended_info = record_command<HI3861L_SET_WIFI_EXTENDED_INFO, 66, "hi3861l_api_set_wifi_extended_info">,
        .get_wifi_scanf_info = hi3861l_api_get_wifi_scanf_info,
        .set_system_state = hi3861l_api_set_system_state,
        .get_event_info = hi3861l_api_get_event_info,
        .upg_start = hi3861l_api_upg_start,
        .upg_transmit = hi3861l_api_upg_transmit,
        .upg_finish = hi3861l_api_upg_finish,
        .set_store_params = record_command<HI3861L_SET_STORE_PARAMS, 48, "hi3861l_api_set_store_params">,
        .get_store_params = query<HI3861L_GET_STORE_PARAMS, 1000, "hi3861l_api_get_store_params">,
        .set_wdg_state = byte_command<HI3861L_SET_WDG_STATE, "hi3861l_api_set_wdg_state">,
        .get_wdg_state = query<HI3861L_GET_WDG_STATE, 1000, "hi3861l_api_get_wdg_state">,
        .set_wdg_period = hi3861l_api_set_wdg_period,
        .set_wdg_feed = empty_command<HI3861L_SET_WDG_FEED, "hi3861l_api_set_wdg_feed">,
        .set_alarm = record_command<HI3861L_SET_ALARM, 7, "hi3861l_api_set_alarm">,
        .get_alarm = query<HI3861L_GET_ALARM, 1000, "hi3861l_api_get_alarm">,
        .set_ap_start = record_command<HI3861L_SET_AP_START, 166, "hi3861l_api_set_ap_start">,
        .set_ap_stop = empty_command<HI3861L_SET_AP_STOP, "hi3861l_api_set_ap_stop">,
        .set_crash_test = empty_command<HI3861L_SET_CRASH_TEST, "hi3861l_api_set_crash_test">,
        .get_err_report = list_query<HI3861L_GET_ERR_REPORT, 1000, 36, "hi3861l_api_get_err_report">,
        .get_soc_min_version = text_query<HI3861L_GET_SOC_MIN_VERSION, 1000, "hi3861l_api_get_soc_min_version">,
        .set_uart_switch = byte_command<HI3861L_SET_UART_SWITCH, "hi3861l_api_set_uart_switch">,
        .set_wakeup_info = record_command<HI3861L_SET_WAKEUP_INFO, 71, "hi3861l_api_set_wakeup_info">,
        .get_status_info = query<HI3861L_GET_STATUS_INFO, 1000, "hi3861l_api_get_status_info">,
        .set_charge_auto_poweron = record_command<HI3861L_SET_CHARGE_AUTO_POWERON, 67, "hi3861l_api_set_charge_auto_poweron">,
        .set_cmd = hi3861l_api_set_cmd,
        .set_tamper_switch = byte_command<HI3861L_SET_TAMPER_SWITCH, "hi3861l_api_set_tamper_switch">,
        .get_config_info = query<HI3861L_GET_CONFIG_INFO, 1000, "hi3861l_api_get_config_info">,
        .set_log_profile = nullptr,   // not provided by this chip, like the next two
        .get_log_profile = nullptr,
        .get_bit_err_rate = nullptr,
        .get_ipaddr_update_status = hi3861l_api_get_ipaddr_update_status,
        .get_wifi_extended_status = query<HI3861L_GET_WIFI_EXTENDED_STATUS, 1000, "hi3861l_api_get_wifi_extended_status">,
        .set_soc_poweron_time_info = record_command<HI3861L_SET_SOC_POWERON_TIME_INFO, 44, "hi3861l_api_set_soc_poweron_time_info">,
        .get_soc_poweron_time_info_list = list_query<HI3861L_GET_SOC_POWERON_TIME_LIST, 1000, 44, "hi3861l_api_get_soc_poweron_time_info_list">,
        .get_soc_poweron_time_cur_info = query<HI3861L_GET_SOC_POWERON_TIME_CUR, 1000, "hi3861l_api_get_soc_poweron_time_cur_info">,
    };
    // clang-format on
    return &table;
}
