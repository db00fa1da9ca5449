#include "interfaces.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace quon::world {

namespace {

constexpr char kInterface[] = "wlan0";

class LinkRequest {
  public:
    LinkRequest() {
        message_.header.nlmsg_len = NLMSG_LENGTH(sizeof(ifinfomsg));
        message_.header.nlmsg_type = RTM_NEWLINK;
        message_.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL;
    }

    rtattr* open(unsigned short type) {
        auto* attribute = reinterpret_cast<rtattr*>(reinterpret_cast<char*>(&message_) +
                                                    message_.header.nlmsg_len);
        attribute->rta_type = type;
        attribute->rta_len = RTA_LENGTH(0);
        message_.header.nlmsg_len += RTA_LENGTH(0);
        return attribute;
    }

    void close(rtattr* attribute) {
        attribute->rta_len = static_cast<unsigned short>(reinterpret_cast<char*>(&message_) +
                                                         message_.header.nlmsg_len -
                                                         reinterpret_cast<char*>(attribute));
    }

    void add_text(unsigned short type, std::string_view text) {
        rtattr* attribute = open(type);
        std::memcpy(RTA_DATA(attribute), text.data(), text.size());
        attribute->rta_len = static_cast<unsigned short>(RTA_LENGTH(text.size() + 1));
        message_.header.nlmsg_len += static_cast<unsigned>(RTA_ALIGN(text.size() + 1));
    }

    // 0 or a negative error number.
    int send() {
        const int link = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
        struct {
            nlmsghdr header;
            nlmsgerr error;
            char rest[512];
        } answer{};
        const bool answered = link >= 0 &&
                              ::send(link, &message_, message_.header.nlmsg_len, 0) > 0 &&
                              recv(link, &answer, sizeof(answer), 0) >=
                                  static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr)));
        ::close(link);
        return answered && answer.header.nlmsg_type == NLMSG_ERROR ? answer.error.error : -1;
    }

  private:
    struct {
        nlmsghdr header;
        ifinfomsg info;
        char attributes[256];
    } message_{};
};

bool make_link(std::string_view kind) {
    LinkRequest request;
    request.add_text(IFLA_IFNAME, kInterface);
    rtattr* info = request.open(IFLA_LINKINFO);
    request.add_text(IFLA_INFO_KIND, kind);
    request.close(info);
    return request.send() == 0;
}

bool make_tap() {
    const int tun = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
    if (tun < 0) {
        return false;
    }
    ifreq request{};
    std::memcpy(request.ifr_name, kInterface, sizeof(kInterface));
    request.ifr_flags = IFF_TAP | IFF_NO_PI;
    const bool made = ioctl(tun, TUNSETIFF, &request) == 0 && ioctl(tun, TUNSETPERSIST, 1) == 0;
    close(tun);
    return made;
}

bool bring_up(const char* name) {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, name, sizeof(request.ifr_name) - 1);
    bool up = any >= 0 && ioctl(any, SIOCGIFFLAGS, &request) == 0;
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_RUNNING);
    up = up && ioctl(any, SIOCSIFFLAGS, &request) == 0;
    close(any);
    return up;
}

}  // namespace

bool bring_up_loopback() {
    return bring_up("lo");
}

bool make_wlan0() {
    if (make_link("veth")) {
        bring_up("veth0");  // the other end, named by the kernel; gives wlan0 a carrier
        return true;
    }
    return make_tap() || make_link("dummy");
}

}  // namespace quon::world
