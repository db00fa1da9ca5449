#include "mcu_resolver.h"

#include <stdio.h>
#include <string.h>

#include "mcu_octets.h"
#include "mcu_wlan.h"
#include "quon_descriptor.h"
#include "securec.h"

namespace {

constexpr char kResolvConf[] = "/etc/resolv.conf";
constexpr size_t kAddressSize = 16;

struct address_text {
    char text[kAddressSize];

    bool empty() const { return text[0] == '\0'; }
    bool operator==(const address_text& other) const { return strcmp(text, other.text) == 0; }
};

// Empty when all four octets are zero.
address_text name_server(const uint8_t (&ip)[4]) {
    address_text address{};
    if (!mcu_is_zero(ip)) {
        (void)snprintf_s(address.text, sizeof(address.text), sizeof(address.text) - 1,
                         "%d.%d.%d.%d", ip[0], ip[1], ip[2], ip[3]);
    }
    return address;
}

void write_name_server(FILE* file, const address_text& address) {
    fprintf(file, "nameserver %s # %s\n", address.text, kMcuWlanInterface);
}

}  // namespace

// The gateway is listed as a third name server, although the chip reports it only as a gateway.
// Intended.
void mcu_resolver_write(const mcu_log_origin& origin, const mcu_net_info& info) {
    const address_text a = name_server(info.dns1);
    const address_text b = name_server(info.dns2);
    const address_text c = name_server(info.gateway);
    FILE* const file = quon_create_file(kResolvConf);
    if (file == nullptr) {
        MCU_LOG(origin, QN_LOG_ERROR, "fopen %s failed\n", kResolvConf);
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
