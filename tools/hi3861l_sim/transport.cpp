#include "transport.h"

#include <linux/netlink.h>

#include <cstring>

#include "hichannel_host.h"

namespace quon::sim {

static_assert(sizeof(nlmsghdr) == HI_CHANNEL_HEADER_SIZE);

std::string show_delivery(delivery result) {
    switch (result) {
        case delivery::sent:
            return "sent";
        case delivery::no_host:
            return "not sent: no host is connected";
        case delivery::overrun:
            return "not sent: the host does not read";
        case delivery::failed:
            break;
    }
    return "not sent: the socket failed";
}

byte_list transport::with_header(byte_view message) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(sizeof header + message.size());
    byte_list datagram(header.nlmsg_len);
    std::memcpy(datagram.data(), &header, sizeof header);
    std::ranges::copy(message, datagram.begin() + sizeof header);
    return datagram;
}

void transport::take(byte_view datagram) {
    nlmsghdr header{};
    if (datagram.size() < sizeof header) {
        note("datagram of " + std::to_string(datagram.size()) + " bytes from the host, no header");
        return;
    }
    std::memcpy(&header, datagram.data(), sizeof header);
    if (header.nlmsg_len != datagram.size() || header.nlmsg_pid != HI_CHANNEL_HOST_PORT) {
        note("header of the host's message says length " + std::to_string(header.nlmsg_len) +
             ", port " + std::to_string(header.nlmsg_pid) + "; it has " +
             std::to_string(datagram.size()) + " bytes");
    }
    receive_(datagram.subspan(sizeof header));
}

void transport::note(const std::string& text) const {
    note_(text);
}

}  // namespace quon::sim
