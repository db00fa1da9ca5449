#include "hi3861l_net_update.h"

#include <string.h>

#include "hi3861l_context.h"
#include "hi3861l_net_record.h"
#include "mcu_octets.h"
#include "mcu_resolver.h"
#include "mcu_wlan.h"

namespace {

constexpr mcu_log_origin kUpdate = {kHi3861lTag, kHi3861lSource, "hi3861l_update_ip_info"};

bool is_mac_applied(const uint8_t (&mac)[6]) {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    const bool applied =
        g_hi3861l.mac_applied && memcmp(g_hi3861l.net_info.mac, mac, sizeof(mac)) == 0;
    pthread_mutex_unlock(&g_hi3861l.record_lock);
    return applied;
}

void mark_mac_applied() {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    g_hi3861l.mac_applied = true;
    pthread_mutex_unlock(&g_hi3861l.record_lock);
}

bool apply_mac(const uint8_t (&mac)[6]) {
    if (is_mac_applied(mac)) {
        return true;
    }
    if (mcu_is_zero(mac)) {
        MCU_LOG(kUpdate, QN_LOG_ERROR, "mac is invalid\n");
        return false;
    }
    if (!mcu_wlan_set_mac(kUpdate, mac)) {
        return false;
    }
    mark_mac_applied();
    return true;
}

}  // namespace

void hi3861l_update_dns(const hi3861l_net_info* info) {
    mcu_resolver_write({kHi3861lTag, kHi3861lSource, __func__}, *info);
}

void hi3861l_update_ip_info(const hi3861l_net_info* info) {
    const bool applied = mcu_wlan_down(kUpdate) && apply_mac(info->mac) &&
                         mcu_wlan_set_address(kUpdate, info->ip, info->netmask) &&
                         mcu_wlan_set_gateway(kUpdate, info->gateway) && mcu_wlan_up(kUpdate);
    if (applied) {
        hi3861l_update_dns(info);
        hi3861l_keep_net_info(*info, true);
    }
}
