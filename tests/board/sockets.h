// The two sockets used by checks on the board: the daemon's bus and the chip's control socket.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dbus_socket_common.h"

namespace quon::board {

using Bytes = std::vector<uint8_t>;

inline constexpr int kPatienceMs = 30000;  // an emulated board on a busy machine is slow

// Connects to a Unix stream socket. Throws std::runtime_error if nobody is listening.
class Connection {
  public:
    explicit Connection(const std::string& path);
    ~Connection();
    Connection(Connection&& other) noexcept;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    Connection& operator=(Connection&&) = delete;

    void write_all(const void* data, size_t size) const;
    // The result of one read, at most `size` bytes; 0 if nothing came in time or the stream has
    // ended.
    size_t read_some(void* data, size_t size) const;

  private:
    int fd_;
};

// One connection to the daemon.
class BusPeer {
  public:
    BusPeer();
    void send(uint32_t type, std::string_view name, const Bytes& request, uint32_t id) const;
    // The next result, or nothing if none came in time.
    [[nodiscard]] std::optional<DbusMsg> receive() const;
    // One request and its result.
    [[nodiscard]] std::optional<DbusMsg> call(std::string_view name, const Bytes& request) const;

  private:
    Connection connection_;
};

// The control socket of the simulated chip.
class ChipControl {
  public:
    ChipControl();
    void send(const std::string& words) const;
    // True when the next answer is "ok".
    bool accepted();

  private:
    Connection connection_;
    std::string unread_;
};

// Sends one command over its own connection.
bool chip_control(const std::string& words);

}  // namespace quon::board
