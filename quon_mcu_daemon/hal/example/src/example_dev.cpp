#include "example_dev.h"

#include <pthread.h>

#include "mcu_resolver.h"
#include "mcu_wifi_texts.h"
#include "mcu_wlan.h"
#include "securec.h"

namespace {

constexpr mcu_log_origin kUpdate = {"EXAMPLE", "example_dev", "example_set_wifi_connect"};
constexpr mcu_log_origin kRefusal = {"EXAMPLE", "example_dev", "example_refuse"};

// What a chip would report once its Wi-Fi link is up; the addresses are reserved for documentation.
constexpr mcu_net_info kNetwork = {.ip = {192, 0, 2, 10},
                                   .netmask = {255, 255, 255, 0},
                                   .gateway = {192, 0, 2, 1},
                                   .mac = {0x02, 0, 0, 0, 0, 0x0e},
                                   .dns1 = {192, 0, 2, 53},
                                   .dns2 = {0, 0, 0, 0}};

// Handlers call it from many threads.
pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
uint8_t g_time[kMcuTimeSize] = {26, 1, 1};  // 2026-01-01
mcu_net_info g_network = {};
uint32_t g_network_updated = 0;

int32_t example_succeed() {
    return 0;
}

int32_t example_get_version(char* text) {
    constexpr char kVersion[] = "example";
    (void)memcpy_s(text, kMcuReplyAreaSize, kVersion, sizeof(kVersion));
    return 0;
}

int32_t example_get_wakeup_info(uint8_t* record) {
    (void)memset_s(record, kMcuReplyAreaSize, 0, kMcuWakeupInfoSize);
    return 0;
}

int32_t example_set_time(const uint8_t* time) {
    pthread_mutex_lock(&g_lock);
    (void)memcpy_s(g_time, sizeof(g_time), time, sizeof(g_time));
    pthread_mutex_unlock(&g_lock);
    return 0;
}

int32_t example_get_time(uint8_t* record) {
    pthread_mutex_lock(&g_lock);
    (void)memcpy_s(record, kMcuReplyAreaSize, g_time, sizeof(g_time));
    pthread_mutex_unlock(&g_lock);
    return 0;
}

// The "link" is up at once, with the same network for every request.
int32_t example_set_wifi_connect(mcu_wifi_connect) {
    const bool applied = mcu_wlan_down(kUpdate) && mcu_wlan_set_mac(kUpdate, kNetwork.mac) &&
                         mcu_wlan_set_address(kUpdate, kNetwork.ip, kNetwork.netmask) &&
                         mcu_wlan_set_gateway(kUpdate, kNetwork.gateway) && mcu_wlan_up(kUpdate);
    if (!applied) {
        return -1;
    }
    mcu_resolver_write(kUpdate, kNetwork);
    pthread_mutex_lock(&g_lock);
    g_network = kNetwork;
    g_network_updated = 1;
    pthread_mutex_unlock(&g_lock);
    return 0;
}

int32_t example_get_wifi_info(uint8_t* info) {
    pthread_mutex_lock(&g_lock);
    const mcu_net_info network = g_network;
    pthread_mutex_unlock(&g_lock);
    mcu_write_wifi_texts(reinterpret_cast<mcu_wifi_texts*>(info), network, network.mac);
    return 0;
}

int32_t example_get_ipaddr_update_status(uint32_t* updated) {
    pthread_mutex_lock(&g_lock);
    *updated = g_network_updated;
    pthread_mutex_unlock(&g_lock);
    return 0;
}

// For a slot that callers do not check, which must not be null.
template <typename... Args>
int32_t example_refuse(Args...) {
    MCU_LOG(kRefusal, QN_LOG_ERROR, "not served\n");
    return -1;
}

// There are never events, which is not a failure.
int32_t example_get_event_info(uint8_t*) {
    return -1;
}

constexpr mcu_ops make_table() {
    mcu_ops table = {};  // the slots that are not named here stay null
    table.init = example_succeed;
    table.deinit = example_succeed;
    table.get_version = example_get_version;
    table.get_wakeup_info = example_get_wakeup_info;
    table.set_time = example_set_time;
    table.get_time = example_get_time;
    table.set_led_state = example_refuse;
    table.get_battery_status = example_refuse;
    table.set_pir_switch = example_refuse;
    table.set_pir_sensitivity = example_refuse;
    table.get_pir_info = example_refuse;
    table.set_pir_info = example_refuse;
    table.set_wifi_connect = example_set_wifi_connect;
    table.set_wifi_disconnect = example_refuse;
    table.get_wifi_status = example_refuse;
    table.get_wifi_info = example_get_wifi_info;
    table.set_wifi_keepalive = example_refuse;
    table.set_wifi_extended_info = example_refuse;
    table.set_system_state = example_refuse;
    table.get_event_info = example_get_event_info;
    table.upg_start = example_refuse;
    table.upg_transmit = example_refuse;
    table.upg_finish = example_refuse;
    table.set_store_params = example_refuse;
    table.get_store_params = example_refuse;
    table.set_wdg_state = example_refuse;
    table.get_wdg_state = example_refuse;
    table.set_wdg_period = example_refuse;
    table.set_wdg_feed = example_refuse;
    table.set_alarm = example_refuse;
    table.get_alarm = example_refuse;
    table.set_ap_start = example_refuse;
    table.set_ap_stop = example_refuse;
    table.set_crash_test = example_refuse;
    table.get_err_report = example_refuse;
    table.get_soc_min_version = example_refuse;
    table.set_uart_switch = example_refuse;
    table.set_wakeup_info = example_refuse;
    table.set_cmd = example_refuse;
    table.get_ipaddr_update_status = example_get_ipaddr_update_status;
    return table;
}

}  // namespace

const mcu_ops* example_get_ops_handle() {
    static constexpr mcu_ops kTable = make_table();
    return &kTable;
}
