// A Unix socket at a path, waiting for connections.
#pragma once

#include <string>

#include "file_descriptor.h"

namespace quon::sim {

class listening_socket {
  public:
    // `type` is SOCK_STREAM or SOCK_SEQPACKET. Replaces a socket that nobody listens on; throws
    // std::runtime_error when somebody does, or when the socket cannot be made, and
    // std::invalid_argument for a path that no socket can have.
    listening_socket(std::string path, int type);
    ~listening_socket();  // removes the path
    listening_socket(const listening_socket&) = delete;
    listening_socket& operator=(const listening_socket&) = delete;

    [[nodiscard]] int get() const { return fd_.get(); }
    [[nodiscard]] const std::string& path() const { return path_; }

    // The next connection, non-blocking; -1 when there is none.
    [[nodiscard]] file_descriptor accept() const;

  private:
    std::string path_;
    file_descriptor fd_;
};

// Connects to a Unix socket. Returns a descriptor below 0 with errno set when nobody listens;
// throws std::invalid_argument for a path that no socket can have.
file_descriptor connect_unix(const std::string& path, int type);

}  // namespace quon::sim
