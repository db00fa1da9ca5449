// Hosts connect over the chip link. Whoever holds port 1100 gets the chip's messages.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <list>
#include <utility>

#include "chip_link/chip_link_protocol.h"
#include "hichannel_host.h"
#include "listening_socket.h"
#include "transport.h"

namespace quon::sim {
namespace {

constexpr int kSendBuffer = 2 * 1024 * 1024;  // a few thousand messages
constexpr size_t kLargestDatagram = 65536;
constexpr std::chrono::milliseconds kShortestPortPause{1};
constexpr std::chrono::milliseconds kLongestPortPause{100};

class unix_transport : public transport {
  public:
    unix_transport(event_loop& loop, const std::string& path)
        : loop_(loop), listener_(loop, path, SOCK_SEQPACKET, [this](owned_descriptor fd) {
              accept_host(std::move(fd));
          }) {}
    ~unix_transport() override {
        loop_.cancel(port_timer_);
        for (const owned_descriptor& peer : peers_) {
            loop_.unwatch(peer.get());
        }
    }
    unix_transport(const unix_transport&) = delete;
    unix_transport& operator=(const unix_transport&) = delete;

    delivery send(byte_view message) override {
        const int host = host_socket();
        if (host < 0) {
            return delivery::no_host;
        }
        const byte_list datagram = with_header(message);
        if (::send(host, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
            return delivery::sent;
        }
        if (errno == EPIPE || errno == ECONNRESET) {
            return delivery::no_host;
        }
        return errno == EAGAIN || errno == ENOBUFS ? delivery::overrun : delivery::failed;
    }

    [[nodiscard]] bool host_present() const override { return host_socket() >= 0; }
    [[nodiscard]] std::string where() const override { return listener_.path(); }

  private:
    static uint32_t port_of(int fd) {
        sockaddr_un name{};
        socklen_t length = sizeof name;
        const bool known = getpeername(fd, reinterpret_cast<sockaddr*>(&name), &length) == 0;
        return known ? chip_link_port_of(&name, length) : 0;
    }

    // A departed host keeps its name until its connection is closed here.
    static bool is_there(int fd) {
        pollfd one{fd, 0, 0};
        return poll(&one, 1, 0) == 0 || (one.revents & POLLHUP) == 0;
    }

    // A host binds its port shortly after connecting, and no descriptor reports it.
    void look_for_host() {
        loop_.cancel(port_timer_);
        const bool present = host_present();
        if (present && !std::exchange(present_, present)) {
            note("host holds port " + std::to_string(HI_CHANNEL_HOST_PORT));
        }
        present_ = present;
        if (!present && !peers_.empty()) {
            port_pause_ = std::min(port_pause_ * 2, kLongestPortPause);
            port_timer_ = loop_.after(port_pause_, [this] { look_for_host(); });
        }
    }

    [[nodiscard]] int host_socket() const {
        for (const owned_descriptor& peer : peers_) {
            if (port_of(peer.get()) == HI_CHANNEL_HOST_PORT && is_there(peer.get())) {
                return peer.get();
            }
        }
        return -1;
    }

    void accept_host(owned_descriptor fd) {
        for (const int option : {SO_SNDBUF, SO_SNDBUFFORCE}) {
            (void)setsockopt(fd.get(), SOL_SOCKET, option, &kSendBuffer, sizeof kSendBuffer);
        }
        peers_.push_back(std::move(fd));
        const auto peer = std::prev(peers_.end());
        note("host connected");
        loop_.watch(peer->get(), POLLIN, [this, peer](short) { read_host(peer); });
        port_pause_ = kShortestPortPause;
        look_for_host();
    }

    void read_host(std::list<owned_descriptor>::iterator peer) {
        const ssize_t size = recv(peer->get(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (size > 0) {
            take(byte_view(buffer_).first(static_cast<size_t>(size)));
            return;
        }
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        }
        loop_.unwatch(peer->get());
        peers_.erase(peer);
        present_ = host_present();
        note("host gone");
    }

    event_loop& loop_;
    listening_socket listener_;
    std::list<owned_descriptor> peers_;
    bool present_ = false;  // last state written to the journal
    event_loop::timer_id port_timer_ = 0;
    std::chrono::milliseconds port_pause_ = kShortestPortPause;
    byte_list buffer_ = byte_list(kLargestDatagram);
};

}  // namespace

std::unique_ptr<transport> make_unix_transport(event_loop& loop, const std::string& path) {
    return std::make_unique<unix_transport>(loop, path);
}

}  // namespace quon::sim
