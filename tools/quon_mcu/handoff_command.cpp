// handoff: asks the daemon for a connected socket and relays over it.
#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "quon_mcu/commands.h"
#include "quon_mcu/daemon_state.h"
#include "quon_mcu/present.h"
#include "quon_mcu_client.h"
#include "shared/failure.h"
#include "shared/owned_descriptor.h"
#include "shared/values.h"

namespace quon::client {
namespace {

constexpr uint8_t kDropConnection = 1;

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
    fcntl(local.get(), F_SETFL, 0);  // the rest may block
    return local;
}

void send_drop(const std::string& path) {
    const owned_descriptor local = connect_locally(path);
    const std::array<uint8_t, 7> request{kDropConnection};
    if (::send(local.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size())) {
        fail_with_errno(exit_status::unreachable, "cannot send the request");
    }
}

[[noreturn]] void fail_to_take(int status, const handoff_words& words, int32_t timeout_ms) {
    const daemon_report daemon = look_at_daemon(words.socket);
    const std::string in_time = "no connection within " + std::to_string(timeout_ms) + " ms";
    switch (status) {
        case QUON_MCU_TIMEOUT:
            throw failure(exit_status::timed_out,
                          daemon.text.empty() ? in_time : in_time + ": " + daemon.text);
        case QUON_MCU_NO_CONNECTION:
            throw failure(exit_status::unreachable, daemon.state == daemon_state::running
                                                        ? "the daemon closed the hand-off socket"
                                                        : why_unreachable(words.socket));
        case QUON_MCU_MALFORMED:
            throw failure(exit_status::malformed, "malformed hand-over message");
        case QUON_MCU_FAILED:
            throw failure(exit_status::failure, "no connection to " + words.peer +
                                                    ": the socket handed over is not connected");
        case QUON_MCU_INVALID:
            throw failure(exit_status::usage, "the socket's path is too long");
        default:
            fail_with_errno(exit_status::failure, "no socket");
    }
}

owned_descriptor take_connection(const handoff_words& words, int32_t timeout_ms) {
    const uint16_t port = ntohs(parse_peer(words.peer).sin_port);
    const std::string address = words.peer.substr(0, words.peer.rfind(':'));
    const int taken =
        quon_mcu_client_take_socket_at(words.socket.c_str(), address.c_str(), port, timeout_ms);
    if (taken < 0) {
        fail_to_take(taken, words, timeout_ms);
    }
    return owned_descriptor(taken);
}

sockaddr_in connected_peer(int remote, const handoff_words& words) {
    sockaddr_in peer{};
    socklen_t length = sizeof(peer);
    if (getpeername(remote, reinterpret_cast<sockaddr*>(&peer), &length) != 0) {
        fail_to_take(QUON_MCU_FAILED, words, 0);
    }
    return peer;
}

// Bytes read, 0 at the end, -1 if there was nothing to read.
ssize_t read_some(int fd, std::span<uint8_t> room, const char* what) {
    const ssize_t got = ::read(fd, room.data(), room.size());
    if (got < 0 && errno != EAGAIN && errno != EINTR) {
        fail_with_errno(exit_status::failure, what);
    }
    return got;
}

// Both directions until the peer closes; the end of standard input closes only the sending
// direction. Neither waits for the other: an echoing server may stop reading until it is read.
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
    if (words.drop) {
        send_drop(words.socket);
        return;
    }
    const owned_descriptor remote = take_connection(words, ctx.timeout_ms);
    show_peer(ctx, words, connected_peer(remote.get(), words));
    if (!words.no_relay) {
        relay(ctx.out, remote.get()).run();
    }
}

}  // namespace quon::client
