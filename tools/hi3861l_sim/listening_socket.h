// A Unix socket at a path, listening for connections.
#pragma once

#include <functional>
#include <string>

#include "event_loop.h"
#include "shared/owned_descriptor.h"

namespace quon::sim {

class listening_socket {
  public:
    using arrival = std::function<void(owned_descriptor)>;

    // `type` is SOCK_STREAM or SOCK_SEQPACKET; `arrived` is called with each connection,
    // non-blocking.
    // Replaces a socket that nobody listens on. Throws std::runtime_error if somebody does or the
    // socket cannot be created, and std::invalid_argument for a path that a socket cannot have.
    listening_socket(event_loop& loop, std::string path, int type, arrival arrived);
    ~listening_socket();  // removes the path
    listening_socket(const listening_socket&) = delete;
    listening_socket& operator=(const listening_socket&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    void watch();
    void accept();

    event_loop& loop_;
    std::string path_;
    arrival arrived_;
    owned_descriptor fd_;
    event_loop::timer_id pause_ = 0;
};

// Connects to a Unix socket. Returns a negative descriptor with errno set if nobody listens; throws
// std::invalid_argument for a path that a socket cannot have.
owned_descriptor connect_unix(const std::string& path, int type);

}  // namespace quon::sim
