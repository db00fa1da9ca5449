// handoff: asks the daemon for a connected socket and relays over it.
#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "quon_mcu/commands.h"
#include "quon_mcu/daemon_state.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/owned_descriptor.h"
#include "shared/values.h"

namespace quon::client {
namespace {

using steady = std::chrono::steady_clock;

constexpr uint8_t give_connection = 0;
constexpr uint8_t drop_connection = 1;
constexpr uint8_t hand_over = 1;
constexpr size_t hand_over_size = 8;

[[noreturn]] void fail_with_errno(exit_status status, const std::string& what) {
    throw failure(status, what + ": " + std::strerror(errno));
}

sockaddr_in parse_peer(const std::string& text) {
    const size_t colon = text.rfind(':');
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    if (colon == std::string::npos ||
        inet_pton(AF_INET, text.substr(0, colon).c_str(), &peer.sin_addr) != 1) {
        throw failure(exit_status::usage, "'" + text + "' is no ADDRESS:PORT, as 192.168.1.2:80");
    }
    const int64_t port =
        parse_number("port", std::string_view(text).substr(colon + 1), 1, UINT16_MAX);
    peer.sin_port = htons(static_cast<uint16_t>(port));
    return peer;
}

std::string shown(const sockaddr_in& peer) {
    std::array<char, INET_ADDRSTRLEN> address{};
    inet_ntop(AF_INET, &peer.sin_addr, address.data(), address.size());
    return std::string(address.data()) + ":" + std::to_string(ntohs(peer.sin_port));
}

owned_descriptor connect_locally(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw failure(exit_status::usage, "the socket's path is too long");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    owned_descriptor local(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (connect(local.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw failure(exit_status::unreachable, why_unreachable(path));
    }
    fcntl(local.get(), F_SETFL, 0);  // what follows may wait
    return local;
}

// Command, address in network order, port in the host's own order.
void send_request(int local, uint8_t command, const sockaddr_in& peer) {
    std::array<uint8_t, 7> request{command};
    const uint16_t port = ntohs(peer.sin_port);
    std::memcpy(&request[1], &peer.sin_addr.s_addr, 4);
    std::memcpy(&request[5], &port, 2);
    if (::send(local, request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size())) {
        fail_with_errno(exit_status::unreachable, "cannot send the request");
    }
}

// The daemon acts on the last request once more when its peer closes. A request to drop keeps it
// from connecting again for nobody.
class asked_connection {
  public:
    explicit asked_connection(int local) : local_(local) {}
    ~asked_connection() { static_cast<void>(::send(local_, &drop_connection, 1, MSG_NOSIGNAL)); }
    asked_connection(const asked_connection&) = delete;
    asked_connection& operator=(const asked_connection&) = delete;

  private:
    int local_;
};

int milliseconds_until(steady::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

void wait_readable(int fd, int32_t timeout_ms, const std::string& path) {
    const auto deadline = steady::now() + std::chrono::milliseconds(timeout_ms);
    pollfd entry{fd, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&entry, 1, milliseconds_until(deadline));
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) {
        const std::string text = "no connection within " + std::to_string(timeout_ms) + " ms";
        const std::string cause = look_at_daemon(path).text;
        throw failure(exit_status::timed_out, cause.empty() ? text : text + ": " + cause);
    }
}

owned_descriptor received_descriptor(const msghdr& message) {
    for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr;
         each = CMSG_NXTHDR(const_cast<msghdr*>(&message), each)) {
        if (each->cmsg_level == SOL_SOCKET && each->cmsg_type == SCM_RIGHTS &&
            each->cmsg_len == CMSG_LEN(sizeof(int))) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(each), sizeof(fd));
            return owned_descriptor(fd);
        }
    }
    return owned_descriptor(-1);
}

owned_descriptor receive_connection(int local) {
    std::array<uint8_t, hand_over_size> data{};
    alignas(cmsghdr) std::array<uint8_t, CMSG_SPACE(sizeof(int))> control{};
    iovec block{data.data(), data.size()};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t got = recvmsg(local, &message, MSG_CMSG_CLOEXEC);
    if (got == 0) {
        throw failure(exit_status::unreachable, "the daemon closed the hand-off socket");
    }
    if (got < 0) {
        fail_with_errno(exit_status::unreachable, "the hand-off socket");
    }
    owned_descriptor remote = received_descriptor(message);
    if (got != static_cast<ssize_t>(data.size()) || data[0] != hand_over || remote.get() < 0) {
        throw failure(exit_status::malformed, "malformed hand-over message");
    }
    return remote;
}

sockaddr_in connected_peer(int remote, const std::string& wanted) {
    sockaddr_in peer{};
    socklen_t length = sizeof(peer);
    if (getpeername(remote, reinterpret_cast<sockaddr*>(&peer), &length) != 0) {
        throw failure(exit_status::failure,
                      "no connection to " + wanted + ": the socket handed over is not connected");
    }
    return peer;
}

// Bytes read, 0 at the end, -1 when there was nothing to read after all.
ssize_t read_some(int fd, std::span<uint8_t> room, const char* what) {
    const ssize_t got = ::read(fd, room.data(), room.size());
    if (got < 0 && errno != EAGAIN && errno != EINTR) {
        fail_with_errno(exit_status::failure, what);
    }
    return got;
}

// Both ways until the peer closes; the end of standard input closes our direction only. Neither
// way waits for the other: an echoing server may stop reading until it is read.
class relay {
  public:
    relay(output& out, int remote) : out_(out), remote_(remote) {}

    void run() {
        while (open_) {
            const bool full = !unsent_.empty();
            std::array<pollfd, 2> watched{
                pollfd{remote_, static_cast<short>(full ? POLLIN | POLLOUT : POLLIN), 0},
                pollfd{full || input_ended_ ? -1 : STDIN_FILENO, POLLIN, 0}};
            if (poll(watched.data(), watched.size(), -1) < 0) {
                continue;  // interrupted
            }
            if ((watched[0].revents & ~POLLOUT) != 0) {
                from_remote();
            }
            if (watched[1].revents != 0) {
                from_input();
            }
            send_unsent();
        }
    }

  private:
    void from_remote() {
        const ssize_t got = read_some(remote_, room_, "the connection failed");
        open_ = got != 0;
        if (got > 0) {
            out_.write(std::span(room_).first(static_cast<size_t>(got)));
        }
    }

    void from_input() {
        const ssize_t got = read_some(STDIN_FILENO, room_, "standard input");
        if (got == 0) {
            input_ended_ = true;
            shutdown(remote_, SHUT_WR);
        } else if (got > 0) {
            unsent_.assign(room_.begin(), room_.begin() + got);
        }
    }

    void send_unsent() {
        if (unsent_.empty()) {
            return;
        }
        const ssize_t done =
            ::send(remote_, unsent_.data(), unsent_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (done > 0) {
            unsent_.erase(unsent_.begin(), unsent_.begin() + done);
        } else if (errno != EAGAIN && errno != EINTR) {
            fail_with_errno(exit_status::failure, "the connection failed");
        }
    }

    output& out_;
    int remote_;
    bool open_ = true;
    bool input_ended_ = false;
    byte_list unsent_;
    std::array<uint8_t, 16384> room_{};
};

void show_peer(context& ctx, const handoff_words& words, const sockaddr_in& peer) {
    if (!words.no_relay) {
        ctx.out.note("connected to " + shown(peer));
    } else if (ctx.out.mode == output_mode::json) {
        print(ctx.out, {{"peer", shown(peer)}});
    } else {
        ctx.out.line("connected to " + shown(peer));
    }
}

}  // namespace

void hand_off(context& ctx, const handoff_words& words) {
    if (words.peer.empty() != words.drop) {
        throw failure(exit_status::usage, "handoff takes either ADDRESS:PORT or --drop");
    }
    const sockaddr_in wanted = words.drop ? sockaddr_in{} : parse_peer(words.peer);
    const owned_descriptor local = connect_locally(words.socket);
    send_request(local.get(), words.drop ? drop_connection : give_connection, wanted);
    if (words.drop) {
        return;
    }
    const asked_connection asked(local.get());
    wait_readable(local.get(), ctx.timeout_ms, words.socket);
    const owned_descriptor remote = receive_connection(local.get());
    show_peer(ctx, words, connected_peer(remote.get(), words.peer));
    if (!words.no_relay) {
        relay(ctx.out, remote.get()).run();
    }
}

}  // namespace quon::client
