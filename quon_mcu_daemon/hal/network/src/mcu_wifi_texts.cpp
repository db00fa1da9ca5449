#include "mcu_wifi_texts.h"

#include "mcu_octets.h"
#include "securec.h"

namespace {

using text_field = char[kMcuWifiInfoTextSize];

void write_mac(text_field& field, const uint8_t (&mac)[6]) {
    (void)snprintf_s(field, sizeof(field), sizeof(field) - 1, "%02x:%02x:%02x:%02x:%02x:%02x",
                     mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}

void write_address(text_field& field, const uint8_t (&ip)[4]) {
    (void)snprintf_s(field, sizeof(field), sizeof(field) - 1, "%d.%d.%d.%d", ip[0], ip[1], ip[2],
                     ip[3]);
}

void write_name_server(text_field& field, const uint8_t (&ip)[4]) {
    (void)memset_s(field, sizeof(field), 0, sizeof(field));
    if (!mcu_is_zero(ip)) {
        write_address(field, ip);
    }
}

}  // namespace

void mcu_write_wifi_texts(mcu_wifi_texts* texts, const mcu_net_info& net, const uint8_t (&mac)[6]) {
    write_mac(texts->mac, mac);
    write_address(texts->ip, net.ip);
    write_address(texts->gateway, net.gateway);
    write_name_server(texts->dns1, net.dns1);
    write_name_server(texts->dns2, net.dns2);
}
