// What the tests of the bus library share: records, peers and servers that speak them by hand, and
// registrations with handlers of the test's own.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "dbus_socket_common.h"
#include "waiting.h"

namespace quon::test {

// A bus name that no other test of this process uses.
std::string fresh_name();
std::string socket_path(const std::string& bus_name);

// A cleared record with its head set; a method request unless told otherwise.
DbusMsg make_request(const std::string& member, std::uint32_t id = 1,
                     std::string_view payload = {});
DbusMsg make_signal(const std::string& member, std::string_view payload = {});
// A cleared result for `request`.
DbusMsg make_result(const DbusMsg& request, std::int32_t result, std::string_view payload = {});
std::string payload_of(const DbusMsg& record);  // the first data_len bytes
std::span<const std::uint8_t> bytes_of_record(const DbusMsg& record);
std::string text_of(const char* field);  // of at most DBUS_NAME_SIZE bytes

// One end of a connection, spoken by hand.
class RawPeer {
  public:
    explicit RawPeer(int descriptor) : descriptor_(descriptor) {}
    ~RawPeer() { close_now(); }
    RawPeer(RawPeer&& other) noexcept;
    RawPeer& operator=(RawPeer&& other) noexcept;
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    static RawPeer connect_to(const std::string& bus_name);

    [[nodiscard]] int descriptor() const { return descriptor_; }
    void send(const DbusMsg& record) const;
    void send_bytes(std::span<const std::uint8_t> bytes) const;
    // The next whole record; nothing when none comes in time or the stream ends.
    std::optional<DbusMsg> receive(std::chrono::milliseconds bound = kLongEnough);
    // True once the other end has closed and everything has been read.
    bool sees_end(std::chrono::milliseconds bound = kLongEnough);
    // True when nothing has come within `span`.
    bool is_silent(std::chrono::milliseconds span = std::chrono::milliseconds(50));
    void close_now();

  private:
    bool fill(std::chrono::milliseconds bound);

    int descriptor_;
    std::vector<std::uint8_t> pending_;
    bool ended_ = false;
};

// A listening socket, spoken by hand.
class RawServer {
  public:
    explicit RawServer(const std::string& bus_name);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    std::optional<RawPeer> accept_one(std::chrono::milliseconds bound = kLongEnough) const;

  private:
    std::string path_;
    int descriptor_;
};

// Peers that wait to be accepted, as many as a server's backlog of 5 lets wait.
std::vector<RawPeer> fill_queue_of(const std::string& bus_name);

struct Member {
    std::string name;
    DbusMethodHandler method = nullptr;
    DbusSignalHandler signal = nullptr;
    std::string method_marker = "Method";  // empty: no method calls
    std::string signal_marker = {};        // empty: no signals
};

// Handlers that reply the one byte '1' or '2'.
std::int32_t answer_one(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                        std::int32_t capacity);
std::int32_t answer_two(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                        std::int32_t capacity);

// Whether "method.one", served by answer_one, is.
bool serves(RawPeer& peer);

// A filled registration that is not registered yet. It lives until the process ends, as its threads
// do.
DbusInfo* make_registration(const std::string& bus_name, const std::vector<Member>& members);
// The same, registered in the server role.
DbusInfo* start_server(const std::string& bus_name, const std::vector<Member>& members);

int open_descriptors();  // of this process

// Names of the threads of this process, and the ids of those with a name.
std::multiset<std::string> thread_names();
std::vector<pid_t> threads_named(const std::string& name);
// True when each of them has been waiting for something for a while, now and some time ago.
bool all_asleep(const std::string& name);
// Interrupts the system call of a thread (EINTR).
void interrupt_thread(pid_t thread);

// Opened and closed by the test, waited for by handlers.
class Gate {
  public:
    void open();
    void close();
    bool wait(std::chrono::milliseconds bound = kLongEnough) const;

  private:
    int flag_ = 0;
};

std::int64_t now_ms();  // monotonic

// "Function 123 rest" becomes "Function LINE rest" in each line: source lines are nobody's
// contract.
std::string without_line_numbers(const std::string& text);
int count_of(const std::string& text, const std::string& part);

}  // namespace quon::test
