// One message bus, as the measuring programs use it: a server process that copies what it is asked
// and counts one-way records, and a caller. Each program in peers/ wraps one bus in this interface.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace quon::bench {

using Payload = std::span<const std::uint8_t>;

class Peer {
  public:
    virtual ~Peer() = default;

    // Before both sides start: anything they share (a bus between them, a pair of sockets).
    virtual void prepare() {}
    // In the server's process. Calls `ready` once callers can connect, and never returns. With
    // `pauses` each handler pauses as long as this project's bus does.
    virtual void serve(bool pauses, std::atomic<std::uint64_t>& received,
                       const std::function<void()>& ready) = 0;
    virtual void connect() = 0;
    // Returns when the answer, a copy of the payload, has arrived.
    virtual void call(Payload payload) = 0;
    // May buffer records until the flush.
    virtual void send(Payload payload) = 0;
    virtual void flush() {}
};

// The pause of this project's bus: 1000 microseconds, without timer slack.
void pause_as_the_bus_does();

// This program's bus in the named variant; throws std::invalid_argument. `folder` is empty and
// private.
std::unique_ptr<Peer> make_peer(const std::string& variant, const std::string& folder);

}  // namespace quon::bench
