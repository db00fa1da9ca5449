#include "quon_mcu/own_network.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "shared/owned_descriptor.h"

namespace quon::client {
namespace {

bool asked(int socket, unsigned long what, ifreq& request, const std::string& name) {
    request = {};
    std::snprintf(static_cast<char*>(request.ifr_name), IFNAMSIZ, "%s", name.c_str());
    return ioctl(socket, what, &request) == 0;
}

std::string mac_text(const ifreq& request) {
    std::array<unsigned char, 6> mac{};
    std::memcpy(mac.data(), request.ifr_hwaddr.sa_data, mac.size());
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text.data();
}

std::string ip_text(in_addr address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

std::string address_text(const ifreq& request) {
    sockaddr_in address{};
    std::memcpy(&address, &request.ifr_addr, sizeof(address));
    return ip_text(address.sin_addr);
}

// /proc/net/route: interface, destination, gateway, ... with addresses in kernel byte order.
std::string default_gateway(const std::string& name) {
    std::ifstream table("/proc/net/route");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string interface;
        std::string destination;
        std::string gateway;
        words >> interface >> destination >> gateway;
        if (interface == name && destination == "00000000") {
            return ip_text({static_cast<in_addr_t>(std::stoul(gateway, nullptr, 16))});
        }
    }
    return "";
}

}  // namespace

interface_state state_of_interface(const std::string& name) {
    const owned_descriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    interface_state state;
    ifreq request{};
    if (!asked(any.get(), SIOCGIFFLAGS, request, name)) {
        return state;
    }
    state.exists = true;
    state.is_up = (request.ifr_flags & IFF_UP) != 0;
    if (asked(any.get(), SIOCGIFHWADDR, request, name)) {
        state.mac = mac_text(request);
    }
    if (asked(any.get(), SIOCGIFADDR, request, name)) {
        state.ip = address_text(request);
    }
    state.gateway = default_gateway(name);
    return state;
}

}  // namespace quon::client
