// The simulated chip of this world, for tests in C++17 or later: state, events, faults, frames and
// a server for the hand-off. quon_mcu_discover_tests() of the CMake package quon_mcu runs a
// program's GoogleTests each in a world with a chip and the daemon; in it:
//
//     quon::testing::Chip chip;
//     chip.set("battery", "15");
//     ... typed calls of quon_mcu_client.h ...
//     chip.wait_frame("set_led");
//
// Each function throws std::runtime_error with what went wrong. One thread at a time.
#ifndef QUON_MCU_TESTING_H
#define QUON_MCU_TESTING_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace quon::testing {

// A descriptor that closes itself.
class Socket {
  public:
    explicit Socket(int fd = -1) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    [[nodiscard]] int get() const { return fd_; }

  private:
    int fd_;
};

namespace detail {

[[noreturn]] inline void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

inline void wait_readable(const Socket& socket, int timeout_ms, const std::string& what) {
    pollfd entry = {socket.get(), POLLIN, 0};
    if (::poll(&entry, 1, timeout_ms) <= 0) {
        throw std::runtime_error(what + ": nothing within " + std::to_string(timeout_ms) + " ms");
    }
}

}  // namespace detail

class Chip {
  public:
    static constexpr int kTimeoutMs = 10000;

    explicit Chip(std::string control = "/tmp/hi3861l-sim.ctl") : control_(std::move(control)) {
        forget();
    }

    // Names and forms of values: 'hi3861l-sim help'.
    void set(const std::string& name, const std::string& value) {
        command("set " + name + " " + value);
    }
    [[nodiscard]] std::string get(const std::string& name) const {
        return command("get " + name).at(0).substr(name.size() + 1);
    }

    // An event with these bytes, as hexadecimal digits.
    void event(const std::string& number, const std::string& hex) {
        command("event raw " + number + " " + hex);
    }

    // "get_battery_status drop count 1", "any delay 500": 'hi3861l-sim help fault'.
    void fault(const std::string& rule) { command("fault " + rule); }
    void clear_faults() { command("clear-faults"); }

    // The journal's lines since the last forget(), or since this object was created.
    [[nodiscard]] std::vector<std::string> frames() const { return command("frames"); }
    void forget() { command("forget"); }

    // Waits until the daemon has sent that many frames of the kind ("set_led") since forget().
    void wait_frame(const std::string& kind, int count = 1, int timeout_ms = kTimeoutMs) {
        command("wait-frame " + kind + " count " + std::to_string(count) + " timeout " +
                    std::to_string(timeout_ms),
                timeout_ms + kTimeoutMs);
    }

    // Sends a command to the control socket; returns the lines of its answer.
    std::vector<std::string> command(const std::string& words, int timeout_ms = kTimeoutMs) const {
        const Socket socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        control_.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            detail::fail("no simulated chip at " + control_);
        }
        const std::string line = words + "\n";
        if (::send(socket.get(), line.data(), line.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(line.size())) {
            detail::fail(words);
        }
        return answer(socket, words, timeout_ms);
    }

  private:
    static std::vector<std::string> answer(const Socket& socket, const std::string& words,
                                           int timeout_ms) {
        std::vector<std::string> lines(1);
        for (;;) {
            char piece[512];
            detail::wait_readable(socket, timeout_ms, words);
            const ssize_t got = ::recv(socket.get(), piece, sizeof(piece), 0);
            if (got <= 0) {
                throw std::runtime_error(words + ": the chip has ended");
            }
            for (ssize_t i = 0; i < got; ++i) {
                if (piece[i] != '\n') {
                    lines.back() += piece[i];
                    continue;
                }
                if (lines.back() == "ok") {
                    lines.pop_back();
                    return lines;
                }
                if (lines.back().rfind("error: ", 0) == 0) {
                    throw std::runtime_error(words + ": " + lines.back().substr(7));
                }
                lines.emplace_back();
            }
        }
    }

    std::string control_;
};

// The server that the daemon connects to on a remote wake-up or a hand-off.
class HandoffServer {
  public:
    HandoffServer() : listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        if (::bind(listening_.get(), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::listen(listening_.get(), 8) != 0 ||
            ::getsockname(listening_.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            detail::fail("a server for the hand-off");
        }
        port_ = ntohs(address.sin_port);
    }
    [[nodiscard]] const char* ip() const { return "127.0.0.1"; }
    [[nodiscard]] unsigned short port() const { return port_; }

    Socket accept(int timeout_ms = Chip::kTimeoutMs) {
        detail::wait_readable(listening_, timeout_ms, "no connection of the daemon");
        Socket connection(::accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (connection.get() < 0) {
            detail::fail("accept");
        }
        return connection;
    }

  private:
    Socket listening_;
    unsigned short port_ = 0;
};

}  // namespace quon::testing

#endif
