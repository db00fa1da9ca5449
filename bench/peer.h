// One message bus as the measuring programs use it: a server in a process of its own that copies
// what it is asked and counts what comes one way, and a caller. Each program of peers/ is this
// frame around one bus.
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

    // Before both sides: what they share (a bus between them, a pair of sockets).
    virtual void prepare() {}
    // In the server's process. Calls `ready` once callers can connect, and never returns. With
    // `pauses` each call's handler waits as long as this project's bus does after each.
    virtual void serve(bool pauses, std::atomic<std::uint64_t>& received,
                       const std::function<void()>& ready) = 0;
    virtual void connect() = 0;
    // Returns when the answer, a copy of the payload, is there.
    virtual void call(Payload payload) = 0;
    // May keep records back until the flush.
    virtual void send(Payload payload) = 0;
    virtual void flush() {}
};

// The pause of this project's bus: 1000 microseconds, without the timer's slack.
void pause_as_the_bus_does();

// The bus of this program in the named variant; throws std::invalid_argument. `folder` is empty and
// its own.
std::unique_ptr<Peer> make_peer(const std::string& variant, const std::string& folder);

}  // namespace quon::bench
