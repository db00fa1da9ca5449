// The two programs that the remote wake-up connects: the remote server, here on this machine, and
// the local program that asks for the connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "descriptor.h"
#include "hex.h"
#include "waiting.h"

namespace quon::test {

// The next bytes of a stream; empty if nothing comes in time.
std::string read_text(int descriptor);
// True if the other side closes in time and nothing is left to read.
bool at_end(int descriptor, std::chrono::milliseconds bound = kLongEnough);
// Fails the test unless bytes written at each end arrive at the other.
void expect_connected(const Descriptor& client, const Descriptor& server);

class RemoteServer {
  public:
    explicit RemoteServer(int backlog = 8);

    [[nodiscard]] std::uint16_t port() const { return port_; }
    // True if a connection is waiting to be accepted.
    [[nodiscard]] bool called(std::chrono::milliseconds bound = kLongEnough) const;
    [[nodiscard]] Descriptor accept_one() const;
    // Fills the queue of waiting connections, so that new callers get no answer at all.
    void stop_answering();

  private:
    Descriptor listener_;
    std::uint16_t port_ = 0;
    std::vector<Descriptor> callers_;
};

class LocalProgram {
  public:
    LocalProgram();

    void ask(const Bytes& address, std::uint16_t port) const;
    void drop() const { send_bytes({1}); }
    void send_bytes(const Bytes& bytes) const;
    // The connection that is handed over. Fails the test unless it comes with exactly the expected
    // bytes.
    [[nodiscard]] Descriptor receive() const;
    [[nodiscard]] bool gets_something(std::chrono::milliseconds bound) const;
    [[nodiscard]] bool ended() const { return at_end(socket_.get()); }
    void leave() { socket_ = Descriptor(); }

  private:
    Descriptor socket_;
};

}  // namespace quon::test
