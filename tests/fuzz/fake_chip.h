// The kernel's end of the channel, and the machine that the driver's commands would change: the
// real driver on the real channel, both on the caller's thread. The chip's answer to an exchange
// arrives while the driver waits for it. The calls listed as kWrapped in CMakeLists.txt are
// replaced at link time.
#pragma once

#include <deque>
#include <mutex>
#include <vector>

#include "input.h"

namespace quon::fuzz {

// A datagram of the chip.
struct Datagram {
    Bytes bytes;
    bool answers = false;  // byte 0 of its frame becomes the type of the request
};

class FakeChip {
  public:
    // For the next input: the channel can be opened, nothing is answered, commands succeed.
    void reset();

    // What arrives during the following exchanges, one element each.
    void answer_next(std::vector<Datagram> datagrams);

    // What arrives while nobody waits. The channel is open.
    void deliver(std::vector<Datagram> datagrams);

    bool opens = true;       // whether the socket can be bound
    bool takes = true;       // whether a message can be sent
    int command_result = 0;  // of `system`
    Bytes command_output;    // of `popen`
    bool has_popen = true;

    // --- the calls
    void on_send(const std::uint8_t* message, std::size_t size);
    bool on_wait();  // whether the wait was signalled
    void on_signal();

  private:
    std::mutex lock_;
    std::deque<std::vector<Datagram>> answers_;
    std::uint8_t last_request_ = 0;
    bool signalled_ = false;
};

FakeChip& chip();

// A frame in a netlink header: type, length field, payload.
Bytes framed(std::uint8_t type, std::uint32_t length, const Bytes& payload);

// A netlink header in front of any bytes.
Bytes with_header(const Bytes& message);

// Some datagrams: a kind, then what it needs.
std::vector<Datagram> take_datagrams(Input& input);

}  // namespace quon::fuzz
