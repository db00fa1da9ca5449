// On the board, a kernel module relays between the daemon's port and this one.
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "shared/owned_descriptor.h"
#include "transport.h"

namespace quon::sim {
namespace {

constexpr int kReceiveBuffer = 1024 * 1024;
constexpr size_t kLargestDatagram = 65536;

sockaddr_nl address_of(uint32_t port) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = port;
    return address;
}

class netlink_transport : public transport {
  public:
    netlink_transport(event_loop& loop, int protocol, uint32_t port, uint32_t peer)
        : loop_(loop),
          name_("netlink port " + std::to_string(port)),
          peer_(address_of(peer)),
          fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol)) {
        const sockaddr_nl local = address_of(port);
        if (fd_.get() < 0 ||
            bind(fd_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            throw std::runtime_error(name_ + ", protocol " + std::to_string(protocol) + ": " +
                                     std::strerror(errno));
        }
        const int on = 1;
        (void)setsockopt(fd_.get(), SOL_NETLINK, NETLINK_NO_ENOBUFS, &on, sizeof on);
        for (const int option : {SO_RCVBUF, SO_RCVBUFFORCE}) {
            (void)setsockopt(fd_.get(), SOL_SOCKET, option, &kReceiveBuffer, sizeof kReceiveBuffer);
        }
        loop_.watch(fd_.get(), POLLIN, [this](short) { read_one(); });
    }
    ~netlink_transport() override { loop_.unwatch(fd_.get()); }
    netlink_transport(const netlink_transport&) = delete;
    netlink_transport& operator=(const netlink_transport&) = delete;

    delivery send(byte_view message) override {
        const byte_list datagram = with_header(message);
        if (sendto(fd_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT,
                   reinterpret_cast<const sockaddr*>(&peer_), sizeof peer_) >= 0) {
            return delivery::sent;
        }
        if (errno == ECONNREFUSED) {
            return delivery::no_host;
        }
        return errno == EAGAIN || errno == ENOBUFS ? delivery::overrun : delivery::failed;
    }

    // The relay reports nothing; a message to an unused port is lost there.
    [[nodiscard]] bool host_present() const override { return true; }
    [[nodiscard]] std::string where() const override { return name_; }

  private:
    void read_one() {
        const ssize_t size = recv(fd_.get(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (size > 0) {
            take(byte_view(buffer_).first(static_cast<size_t>(size)));
        }
    }

    event_loop& loop_;
    std::string name_;
    sockaddr_nl peer_;
    owned_descriptor fd_;
    byte_list buffer_ = byte_list(kLargestDatagram);
};

}  // namespace

std::unique_ptr<transport> make_netlink_transport(event_loop& loop, int protocol, uint32_t port,
                                                  uint32_t peer) {
    return std::make_unique<netlink_transport>(loop, protocol, port, peer);
}

}  // namespace quon::sim
