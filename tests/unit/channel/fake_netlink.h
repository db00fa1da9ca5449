// Stands in for the kernel's netlink protocol 28, which a developer's machine does not have: the
// calls by which the channel reaches the system go here (linker option --wrap), and everything that
// is not the channel's socket passes through.
#pragma once

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "hex.h"

namespace quon::test {

struct SocketCall {
    int family;
    int type;
    int protocol;
    bool operator==(const SocketCall&) const = default;
};

struct OptionCall {
    int level;
    int option;
    int value;
    bool operator==(const OptionCall&) const = default;
};

struct ReceiveCall {
    std::size_t size;
    int flags;
    socklen_t address_size;
};

struct SentMessage {
    Bytes bytes;
    int flags;
    sockaddr_nl to;
    socklen_t to_size;
};

// --- faults, each for the next such call only

void fail_next_socket(int error);
void fail_next_bind(int error);
void fail_next_send(int error);
void fail_next_receive(int error);
void fail_next_thread_start();
void fail_next_malloc();  // of the calling thread
void take_privileges();   // for good: what only a privileged process may ask for is refused

// --- what the channel did

// Empties the lists below.
void forget_calls();

std::vector<SocketCall> socket_calls();
std::vector<OptionCall> option_calls();
std::vector<sockaddr_nl> bind_calls();
std::vector<ReceiveCall> receive_calls();
std::vector<SentMessage> sent_messages();
std::vector<useconds_t> pauses();  // the arguments of usleep, of any thread
std::size_t cancel_calls();

// The channel's socket made last, or -1; it may be closed again.
int host_socket();
bool is_open(int descriptor);

// --- the kernel's part

// Queues one message, header included, for the channel's socket.
void send_to_host(const Bytes& message);

// Called with every message that the channel sends, on the sending thread.
void on_message_from_host(std::function<void(const Bytes&)> function);

// 16 header bytes, then the payload.
Bytes netlink_message(const Bytes& payload);

}  // namespace quon::test
