// The neighbours of the hand-off thread: a remote TCP server and local peers, real ones.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "captured_output.h"
#include "descriptor.h"
#include "hex.h"
#include "waiting.h"
#include "websocket.h"

namespace quon::test {

// True when something can be read, the end of the stream included.
bool readable_within(int descriptor, std::chrono::milliseconds bound = kLongEnough);
// True when the other side has closed and has sent nothing before.
bool ends_within(int descriptor, std::chrono::milliseconds bound = kLongEnough);
// Sends a text over a connection and tells whether the other end gets it.
bool carries(int from, int to, const std::string& text);

// A listening TCP socket, on a port of its own when `port` is 0.
class RemoteServer {
  public:
    explicit RemoteServer(const std::string& address = "127.0.0.1", std::uint16_t port = 0,
                          int backlog = 5);
    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] std::uint32_t ip() const { return ip_; }  // network byte order
    // The next connection; not valid when none comes.
    [[nodiscard]] Descriptor accept(std::chrono::milliseconds bound = kLongEnough) const;
    [[nodiscard]] bool has_visitor(std::chrono::milliseconds bound) const {
        return readable_within(socket_.get(), bound);
    }
    void stop_listening() { socket_.reset(); }

  private:
    Descriptor socket_;
    std::uint32_t ip_ = 0;
    std::uint16_t port_ = 0;
};

// A server that lets no further connection in and refuses none: its queue is full.
class SilentServer {
  public:
    SilentServer();
    [[nodiscard]] std::uint32_t ip() const { return server_.ip(); }
    [[nodiscard]] std::uint16_t port() const { return server_.port(); }
    // The local ends of the connections to it that wait for an answer.
    [[nodiscard]] std::vector<std::string> attempts() const;
    // From now on it is not there: whoever asks again is refused.
    void leave();

  private:
    RemoteServer server_;
    Descriptor occupant_;
};

// A port of the loopback address that nobody listens on.
std::uint16_t closed_port();

Bytes connect_request(std::uint32_t ip, std::uint16_t port);
template <typename Server>
Bytes connect_request(const Server& server) {
    return connect_request(server.ip(), server.port());
}
const Bytes kDropRequest = {WS_COMMAND_DROP, 0, 0, 0, 0, 0, 0};

struct Handover {
    Bytes data;
    Descriptor socket;
};

// A client of the hand-off socket.
class LocalPeer {
  public:
    explicit LocalPeer(Descriptor socket = unconnected());  // waits for the thread to listen
    static Descriptor unconnected();
    void send(const Bytes& request) const;
    [[nodiscard]] std::optional<Handover> receive(
        std::chrono::milliseconds bound = kLongEnough) const;
    [[nodiscard]] int get() const { return socket_.get(); }
    void close() { socket_.reset(); }

  private:
    Descriptor socket_;
};

// Sockets of this process with their flags, from outside: the thread's descriptors are its own.
std::map<std::string, unsigned long> open_sockets();

// Milliseconds gone by.
int since(std::chrono::steady_clock::time_point start);

// Long enough for the thread's 20 ms passes to show what must not happen.
inline constexpr std::chrono::milliseconds kSomePasses{200};

// Whether the thread of this name runs in this process.
bool thread_runs(const std::string& name);

// Numbers that differ from run to run become '#': descriptors and the clock.
std::string without_numbers(const std::string& text);

// What the driver answers when it is asked for the network, and how often it was asked.
void set_network_up(bool up);
int network_questions();
int answer_network_question(int* updated);

ws_preinit_param record_without_wakeup();
ws_preinit_param record_for(std::uint32_t ip, std::uint16_t port);
template <typename Server>
ws_preinit_param record_for(const Server& server) {
    return record_for(server.ip(), server.port());
}

// A test that starts the real thread: once in its process, in a private world.
class HandOffTest : public testing::Test {
  protected:
    void SetUp() override;
    static void start(const ws_preinit_param& param);
    // The whole output so far, without its numbers, must become `lines`.
    void expect_output(const std::string& lines) const;
    [[nodiscard]] bool prints(const std::string& part) const;
    [[nodiscard]] bool prints_exactly(const std::string& part) const;  // with its numbers
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string output_with_numbers() const;

  private:
    std::optional<OutputCapture> capture_;
};

// Lines that the thread prints.
std::string init_line(std::uint32_t ip, std::uint16_t port);
std::string request_line(std::uint32_t ip, std::uint16_t port, int state);
template <typename Server>
std::string init_line(const Server& server) {
    return init_line(server.ip(), server.port());
}
template <typename Server>
std::string request_line(const Server& server, int state) {
    return request_line(server.ip(), server.port(), state);
}
inline const std::string kNoTargetLine = "ws init ip: 0-0\n";
inline const std::string kClientLine = "===========client_sock:#\n";
inline const std::string kWholeRequestLine = "ws ls recv[0] ----> len:7\n";
inline const std::string kDropLine = "ws ls recv[1] ----> len:7\n";
inline const std::string kConnectedLine = "ws ls connected remote:src/websocket.c-2484:#\n";
inline const std::string kSentAtOnceLine = "ws ls sendfd ret = 8, fd:#\n";
inline const std::string kSentLaterLine = "ws ls polling sendfd ret = 8, fd:#\n";
inline const std::string kServedLater = kConnectedLine + kSentLaterLine;
inline const std::string kNotSentLine = "ws ls polling sendfd ret = -1, fd:#\n";
inline const std::string kClosedLines = "client close\nws ls recv[0] ----> len:0\n";

}  // namespace quon::test
