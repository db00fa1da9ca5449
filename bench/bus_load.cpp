// Loads the message bus with method calls, a fixed number of them in flight, and reports calls per
// second, the time of each, and the server's processor time and memory.
//
// Unless another server is given, it starts one on the bus library, with one method that copies the
// request's payload, or a bare one without the library.
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bare_server.h"
#include "child.h"
#include "dbus_socket_common.h"
#include "local_socket.h"
#include "quon_platform.h"
#include "report.h"
#include "timing.h"

namespace quon {
namespace {

using bench::Clock;
using bench::fail;
using bench::microseconds;
using bench::percentile;
using namespace std::chrono_literals;

constexpr char kMember[] = "method.bench.copy";
constexpr auto kPatience = 20s;  // without any progress
constexpr auto kRoomBound = 100ms;

struct Options {
    std::string server;  // bus name; empty: a server started here
    pid_t pid = 0;       // of that server, to measure it
    std::string member = kMember;
    std::uint32_t connections = 1;
    std::uint32_t in_flight = 20;  // on each connection
    std::uint32_t calls = 20'000;  // on all of them
    std::uint32_t payload = 10;
    std::uint32_t stack = 64 * 1024;  // of the own server's threads
    bool bare = false;                // it uses no bus library
    bool settle = false;
};

// ---- The server

std::int32_t copy_payload(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                          std::int32_t capacity) {
    const std::int32_t size = std::clamp(len, 0, capacity);
    std::memcpy(reply, request, static_cast<std::size_t>(size));
    return size;
}

std::string path_of(const std::string& server) {
    return "/tmp/dbus-" + server;
}

bool register_method(const std::string& name, std::uint32_t stack) {
    Dbus_SetThreadStack(stack);
    DbusInfo* info = DbusInfo_Alloc(1);
    name.copy(info->name, sizeof(info->name) - 1);
    DbusInterface& entry = *info->interfaces[0];
    std::strcpy(entry.name, kMember);
    std::strcpy(entry.method_type, "Method");
    entry.method_handler = copy_payload;
    return Dbus_Register(info) == 0;
}

[[noreturn]] void serve(const std::string& name, const Options& options, int ready) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    quon_limit_malloc_arenas();
    const int listener = options.bare ? bench::listen_at(path_of(name)) : -1;
    const bool serves = options.bare || register_method(name, options.stack);
    const char state = serves ? 'y' : 'n';
    if (write(ready, &state, 1) != 1) {
        _exit(1);
    }
    if (options.bare) {
        bench::serve_barely(listener, options.stack);
    }
    for (;;) {
        pause();
    }
}

// Kills the process and removes its socket file when destroyed.
class Server {
  public:
    Server(std::string name, const Options& options) : name_(std::move(name)) {
        int ends[2];
        if (pipe(ends) != 0) {
            fail("pipe");
        }
        pid_ = fork();
        if (pid_ < 0) {
            fail("fork");
        }
        if (pid_ == 0) {
            serve(name_, options, ends[1]);
        }
        close(ends[1]);
        char state = 'n';
        const bool told = read(ends[0], &state, 1) == 1;
        close(ends[0]);
        if (!told || state != 'y') {
            throw std::runtime_error("the server did not start");
        }
    }
    ~Server() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        unlink(path_of(name_).c_str());
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }

  private:
    std::string name_;
    pid_t pid_ = -1;
};

std::chrono::nanoseconds processor_time(pid_t pid) {
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
        return {};
    }
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

// ---- The load

class Connection {
  public:
    Connection(const Options& options, const std::string& server)
        : payload_(options.payload), starts_(options.in_flight) {
        socket_ = bench::try_to_connect(path_of(server));
        if (socket_ < 0) {
            fail("connect to " + server);
        }
        request_.head = DBUS_MSG_HEAD;
        request_.type = DBUS_TYPE_METHOD;
        std::strcpy(request_.src_name, "bench");
        server.copy(request_.dst_name, sizeof(request_.dst_name) - 1);
        options.member.copy(request_.name, sizeof(request_.name) - 1);
        request_.data_len = payload_;
        for (std::uint32_t slot = options.in_flight; slot > 0; slot--) {
            free_.push_back(slot - 1);
        }
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] int descriptor() const { return socket_; }
    [[nodiscard]] bool may_send() const { return !free_.empty(); }

    // Sends as many requests as there are free slots, room in the socket and calls left.
    void send_requests(std::uint32_t& left) {
        while (left > 0 && !free_.empty()) {
            request_.id = free_.back();
            const Clock::time_point start = Clock::now();
            const ssize_t sent =
                send(socket_, &request_, sizeof(request_), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent < 0 && errno == EAGAIN) {
                return;
            }
            if (sent != sizeof(request_)) {
                fail("send");
            }
            starts_[request_.id] = start;
            free_.pop_back();
            left--;
        }
    }

    // Sends a request for each result that has arrived; adds each call's time to `times`.
    void exchange(bench::Times& times, std::uint32_t& left) {
        send_requests(left);
        while (take_result(times)) {
            send_requests(left);
        }
    }

  private:
    // False: no complete result yet.
    bool take_result(bench::Times& times) {
        auto* bytes = reinterpret_cast<std::uint8_t*>(&result_);
        const ssize_t got = recv(socket_, bytes + filled_, sizeof(result_) - filled_, MSG_DONTWAIT);
        if (got < 0 && errno == EAGAIN) {
            return false;
        }
        if (got <= 0) {
            fail("the server has closed a connection");
        }
        filled_ += static_cast<std::size_t>(got);
        if (filled_ < sizeof(result_)) {
            return false;
        }
        filled_ = 0;
        if (result_.head != DBUS_MSG_HEAD || result_.id >= starts_.size() || result_.result < 0) {
            throw std::runtime_error("a result that answers no call");
        }
        times.push_back(Clock::now() - starts_[result_.id]);
        free_.push_back(result_.id);
        return true;
    }

    int socket_ = -1;
    std::uint32_t payload_;
    DbusMsg request_{};
    std::vector<Clock::time_point> starts_;  // by slot, which is the call's id
    std::vector<std::uint32_t> free_;
    DbusMsg result_{};
    std::size_t filled_ = 0;  // bytes of it
};

class Load {
  public:
    Load(const Options& options, const std::string& server) {
        for (std::uint32_t i = 0; i < options.connections; i++) {
            connections_.push_back(std::make_unique<Connection>(options, server));
        }
    }

    // Makes that many calls; returns how long each took, in the order in which they ended.
    bench::Times make(std::uint32_t calls) {
        bench::Times times;
        times.reserve(calls);
        std::uint32_t left = calls;
        for (const auto& connection : connections_) {
            fill(*connection, left);
        }
        while (times.size() < calls) {
            wait_for_something(left > 0);
            for (const auto& connection : connections_) {
                connection->exchange(times, left);
            }
        }
        return times;
    }

  private:
    // Nothing is read until the full number is in flight, so the calls are in the server, not
    // queued before it. A server that takes no more of them ends this phase.
    static void fill(Connection& connection, std::uint32_t& left) {
        pollfd room{connection.descriptor(), POLLOUT, 0};
        do {
            connection.send_requests(left);
        } while (left > 0 && connection.may_send() &&
                 poll(&room, 1, static_cast<int>(kRoomBound.count())) > 0);
    }

    void wait_for_something(bool want_to_send) {
        std::vector<pollfd> ready;
        for (const auto& connection : connections_) {
            const bool sends = want_to_send && connection->may_send();
            ready.push_back(
                {connection->descriptor(), static_cast<short>(POLLIN | (sends ? POLLOUT : 0)), 0});
        }
        constexpr auto kBound = std::chrono::milliseconds(kPatience).count();
        if (poll(ready.data(), ready.size(), static_cast<int>(kBound)) == 0) {
            throw std::runtime_error("no result for 20 seconds");
        }
    }

    std::vector<std::unique_ptr<Connection>> connections_;
};

// ---- The report

nlohmann::json measure(const Options& options, const std::string& server, pid_t pid) {
    Load load(options, server);
    load.make(std::max(200U, options.calls / 20));  // warm-up
    const std::chrono::nanoseconds used = processor_time(pid);
    const Clock::time_point start = Clock::now();
    bench::Times times = load.make(options.calls);
    const std::chrono::duration<double> took = Clock::now() - start;
    const double cost = microseconds(processor_time(pid) - used);
    std::ranges::sort(times);
    return {{"connections", options.connections},
            {"in_flight", options.in_flight},
            {"payload", options.payload},
            {"calls", options.calls},
            {"calls_per_second", options.calls / took.count()},
            {"p50_us", percentile(times, 0.5)},
            {"p99_us", percentile(times, 0.99)},
            {"max_us", microseconds(times.back())},
            {"server_cpu_us_per_call", pid > 0 ? cost / options.calls : 0.0}};
}

nlohmann::json run(const Options& options) {
    std::unique_ptr<Server> own;
    std::string name = options.server;
    pid_t pid = options.pid;
    if (name.empty()) {
        name = "quon.bench." + std::to_string(getpid());
        own = std::make_unique<Server>(name, options);
        pid = own->pid();
    }
    Options one_by_one = options;
    one_by_one.connections = 1;
    one_by_one.in_flight = 1;
    Load(one_by_one, name).make(50);
    const long before = bench::resident_kib(pid);
    nlohmann::json result = measure(options, name, pid);
    if (pid > 0) {
        result["server_rss_before_kib"] = before;
        result["server_rss_after_kib"] = bench::resident_kib(pid);
    }
    if (pid > 0 && options.settle) {
        std::this_thread::sleep_for(1500ms);
        result["server_rss_settled_kib"] = bench::resident_kib(pid);
    }
    return result;
}

}  // namespace
}  // namespace quon

int main(int argc, char** argv) {
    quon::Options options;
    CLI::App app("Loads the message bus with method calls");
    app.add_option("--server", options.server, "bus name of a running server; its own without");
    app.add_option("--pid", options.pid, "process of that server, to measure it");
    app.add_option("--member", options.member, "method to call")->capture_default_str();
    app.add_option("--connections", options.connections)
        ->check(CLI::Range(1, 500))
        ->capture_default_str();
    app.add_option("--in-flight", options.in_flight, "calls in flight on each connection")
        ->check(CLI::Range(1, 10'000))
        ->capture_default_str();
    app.add_option("--calls", options.calls, "calls on all connections together")
        ->check(CLI::Range(1, 10'000'000))
        ->capture_default_str();
    app.add_option("--payload", options.payload, "bytes of a request")
        ->check(CLI::Range(0, static_cast<int>(DBUS_DATA_SIZE)))
        ->capture_default_str();
    app.add_option("--stack", options.stack, "of the own server's threads; 0: the default")
        ->capture_default_str();
    app.add_flag("--bare", options.bare, "the own server uses no bus library: the floor");
    app.add_flag("--settle", options.settle, "also its memory 1.5 s later");
    CLI11_PARSE(app, argc, argv);
    return quon::bench::report(argv[0], [&] { return quon::run(options); });
}
