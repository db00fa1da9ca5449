#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "hi3861l_driver.h"
#include "quon_descriptor.h"
#include "securec.h"

namespace {

constexpr char kResolvConf[] = "/etc/resolv.conf";
constexpr size_t kCommandSize = 128;
constexpr size_t kAddressSize = 16;
constexpr int32_t kIpInfoTimeoutMs = 1000;

template <size_t Size>
bool is_zero(const uint8_t (&octets)[Size]) {
    return std::all_of(octets, octets + Size, [](uint8_t octet) { return octet == 0; });
}

struct address_text {
    char text[kAddressSize];

    bool empty() const { return text[0] == '\0'; }
    bool operator==(const address_text& other) const { return strcmp(text, other.text) == 0; }
};

// Empty when all four octets are zero.
address_text name_server(const uint8_t (&ip)[4]) {
    address_text address{};
    if (!is_zero(ip)) {
        snprintf(address.text, sizeof(address.text), "%d.%d.%d.%d", ip[0], ip[1], ip[2], ip[3]);
    }
    return address;
}

// --- the update, on the receive thread

constexpr char kUpdateName[] = "hi3861l_update_ip_info";

// Only a command that could not be run at all counts as failed; its exit status does not matter.
bool run(const char (&command)[kCommandSize]) {
    QnLogPrint(QN_LOG_INFO, HI3861L_TAG, HI3861L_SOURCE, kUpdateName, __LINE__, "%s\n", command);
    if (system(command) == -1) {
        QnLogPrint(QN_LOG_ERROR, HI3861L_TAG, HI3861L_SOURCE, kUpdateName, __LINE__, "%s failed\n",
                   command);
        return false;
    }
    return true;
}

bool take_interface_down() {
    char command[kCommandSize] = {};
    snprintf(command, sizeof(command), "ifconfig %s down", HI3861L_INTERFACE);
    return run(command);
}

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
    if (is_zero(mac)) {
        QnLogPrint(QN_LOG_ERROR, HI3861L_TAG, HI3861L_SOURCE, kUpdateName, __LINE__,
                   "mac is invalid\n");
        return false;
    }
    char command[kCommandSize] = {};
    snprintf(command, sizeof(command), "ifconfig %s hw ether %x:%x:%x:%x:%x:%x", HI3861L_INTERFACE,
             mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    if (!run(command)) {
        return false;
    }
    mark_mac_applied();
    return true;
}

bool apply_address(const uint8_t (&ip)[4], const uint8_t (&netmask)[4]) {
    char command[kCommandSize] = {};
    snprintf(command, sizeof(command), "ifconfig %s %d.%d.%d.%d netmask %d.%d.%d.%d",
             HI3861L_INTERFACE, ip[0], ip[1], ip[2], ip[3], netmask[0], netmask[1], netmask[2],
             netmask[3]);
    return run(command);
}

bool apply_gateway(const uint8_t (&gateway)[4]) {
    char command[kCommandSize] = {};
    snprintf(command, sizeof(command), "route add default gw %d.%d.%d.%d dev %s", gateway[0],
             gateway[1], gateway[2], gateway[3], HI3861L_INTERFACE);
    return run(command);
}

bool bring_interface_up() {
    char command[kCommandSize] = {};
    snprintf(command, sizeof(command), "ifconfig %s up", HI3861L_INTERFACE);
    return run(command);
}

void write_name_server(FILE* file, const address_text& address) {
    fprintf(file, "nameserver %s # %s\n", address.text, HI3861L_INTERFACE);
}

// The gateway is listed as the third name server although the chip reports it only as a gateway.
// Intended.
void hi3861l_update_dns(const hi3861l_net_info* info) {
    const address_text a = name_server(info->dns1);
    const address_text b = name_server(info->dns2);
    const address_text c = name_server(info->gateway);
    FILE* const file = quon_create_file(kResolvConf);
    if (file == nullptr) {
        QnLogPrint(QN_LOG_ERROR, HI3861L_TAG, HI3861L_SOURCE, __func__, __LINE__,
                   "fopen %s failed\n", kResolvConf);
        return;
    }
    fputs("options timeout:1\n", file);
    if (!a.empty()) {
        write_name_server(file, a);
    }
    if (!b.empty() && !(b == a)) {
        write_name_server(file, b);
    }
    if (!c.empty() && !(c == a) && !(c == b)) {
        write_name_server(file, c);
    }
    fclose(file);
}

void keep_net_info(const hi3861l_net_info& info, bool updated) {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    g_hi3861l.net_info = info;
    if (updated) {
        g_hi3861l.ip_updated = 1;
    }
    pthread_mutex_unlock(&g_hi3861l.record_lock);
}

// --- what the daemon reads back

void write_mac(char (&field)[MCU_WIFI_INFO_TEXT_SIZE], const uint8_t (&mac)[6]) {
    (void)snprintf_s(field, sizeof(field), sizeof(field) - 1, "%02x:%02x:%02x:%02x:%02x:%02x",
                     mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}

void write_address(char (&field)[MCU_WIFI_INFO_TEXT_SIZE], const uint8_t (&ip)[4]) {
    (void)snprintf_s(field, sizeof(field), sizeof(field) - 1, "%d.%d.%d.%d", ip[0], ip[1], ip[2],
                     ip[3]);
}

void write_name_server_field(char (&field)[MCU_WIFI_INFO_TEXT_SIZE], const uint8_t (&ip)[4]) {
    (void)memset_s(field, sizeof(field), 0, sizeof(field));
    if (!is_zero(ip)) {
        write_address(field, ip);
    }
}

}  // namespace

void hi3861l_update_ip_info(const hi3861l_net_info* info) {
    const bool applied = take_interface_down() && apply_mac(info->mac) &&
                         apply_address(info->ip, info->netmask) && apply_gateway(info->gateway) &&
                         bring_interface_up();
    if (applied) {
        hi3861l_update_dns(info);
        keep_net_info(*info, true);
    }
}

int32_t hi3861l_get_ip_info(uint8_t* out) {
    if (out == nullptr) {
        return hi3861l_failed(__func__, __LINE__, "para invalid");
    }
    const hi3861l_msg request{.type = HI3861L_GET_NET_INFO, .payload = {}, .len = 0};
    hi3861l_msg reply = request;
    if (hi3861l_send_msg_sync(&request, &reply, kIpInfoTimeoutMs) != 0) {
        return hi3861l_failed(__func__, __LINE__, "hi3861l_send_msg_sync failed");
    }
    (void)memcpy_s(out, MCU_REPLY_AREA_SIZE, reply.payload, reply.len);
    hi3861l_net_info info;
    memcpy(&info, out, sizeof(info));
    QnLogPrint(QN_LOG_DEBUG, HI3861L_TAG, HI3861L_SOURCE, __func__, __LINE__, "%x:%x:%x:%x:%x:%x\n",
               info.mac[0], info.mac[1], info.mac[2], info.mac[3], info.mac[4], info.mac[5]);
    keep_net_info(info, false);
    return 0;
}

void hi3861l_keep_second_mac(const uint8_t* mac) {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    memcpy(g_hi3861l.second_mac.octets, mac, sizeof(g_hi3861l.second_mac.octets));
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

    auto* const fields = reinterpret_cast<hi3861l_wifi_info*>(info);
    write_mac(fields->mac, is_zero(second.octets) ? net.mac : second.octets);
    write_address(fields->ip, net.ip);
    write_address(fields->gateway, net.gateway);
    write_name_server_field(fields->dns1, net.dns1);
    write_name_server_field(fields->dns2, net.dns2);
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
