#include "hi3861l_net_record.h"

#include "hi3861l_api.h"
#include "hi3861l_context.h"
#include "hi3861l_query_commands.h"
#include "mcu_octets.h"
#include "securec.h"

int32_t hi3861l_get_ip_info(uint8_t* out) {
    if (out == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "para invalid");
    }
    if (hi3861l_run_query(HI3861L_GET_NET_INFO, __func__, out) != 0) {
        return -1;
    }
    hi3861l_net_info info;
    (void)memcpy_s(&info, sizeof(info), out, sizeof(info));
    HI3861L_LOG(QN_LOG_DEBUG, "%x:%x:%x:%x:%x:%x\n", info.mac[0], info.mac[1], info.mac[2],
                info.mac[3], info.mac[4], info.mac[5]);
    hi3861l_keep_net_info(info, false);
    return 0;
}

void hi3861l_keep_net_info(const hi3861l_net_info& info, bool updated) {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    g_hi3861l.net_info = info;
    if (updated) {
        g_hi3861l.ip_updated = 1;
    }
    pthread_mutex_unlock(&g_hi3861l.record_lock);
}

void hi3861l_keep_second_mac(const uint8_t* mac) {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    (void)memcpy_s(&g_hi3861l.second_mac, sizeof(hi3861l_mac), mac, sizeof(hi3861l_mac));
    pthread_mutex_unlock(&g_hi3861l.record_lock);
}

int32_t hi3861l_api_get_wifi_info(uint8_t* info) {
    if (info == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    pthread_mutex_lock(&g_hi3861l.record_lock);
    const hi3861l_net_info net = g_hi3861l.net_info;
    const hi3861l_mac second = g_hi3861l.second_mac;
    pthread_mutex_unlock(&g_hi3861l.record_lock);

    mcu_write_wifi_texts(reinterpret_cast<hi3861l_wifi_info*>(info), net,
                         mcu_is_zero(second.octets) ? net.mac : second.octets);
    return 0;
}

int32_t hi3861l_api_get_ipaddr_update_status(uint32_t* updated) {
    if (updated == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "param is invalid");
    }
    pthread_mutex_lock(&g_hi3861l.record_lock);
    *updated = g_hi3861l.ip_updated;
    pthread_mutex_unlock(&g_hi3861l.record_lock);
    return 0;
}
