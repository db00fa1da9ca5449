// The failures that the system does not make to order, and the pauses to the microsecond: single
// calls of the thread are refused or watched at link time (--wrap), everything else is real.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <iterator>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "handoff_world.h"

namespace {

// Number of the next calls of each kind that fail.
std::atomic<int> failing_threads{0};
std::atomic<int> failing_local_sockets{0};
std::atomic<int> failing_remote_sockets{0};
std::atomic<int> failing_get_flags{0};
std::atomic<int> failing_set_flags{0};
std::atomic<int> failing_accepts{0};
std::atomic<int> failing_selects{0};
constexpr std::uint8_t kEndless = 7;  // a command that stays to be read, once this is set:
std::atomic<bool> endless_commands{false};
std::atomic<int> last_backlog{-1};
std::atomic<socklen_t> last_local_bind_length{0};
std::atomic<socklen_t> first_accept_length{0};
std::atomic<int> last_set_flags{0};
std::atomic<useconds_t> last_pause{0};
std::atomic<socklen_t> last_accept_length{0};
std::atomic<bool> tiny_client_buffers{false};
std::atomic<int> passes{0};
std::atomic<std::int64_t> clock_of_the_thread{-1};  // in milliseconds; -1: the real one
std::mutex socket_types_lock;

// Of the thread's sockets. Never destroyed: the thread outlives the test.
std::vector<int>& socket_types() {
    static auto* types = new std::vector<int>;
    return *types;
}
std::mutex socket_errors_lock;

// As they were read, one after the other. Never destroyed: the thread outlives the test.
std::vector<int>& socket_errors() {
    static auto* errors = new std::vector<int>;
    return *errors;
}
std::atomic<long> last_select_us{-1};

bool takes_one_of(std::atomic<int>& failures) {
    int left = failures;
    while (left > 0) {
        if (failures.compare_exchange_weak(left, left - 1)) {
            return true;
        }
    }
    return false;
}

// The hand-off's, not one of the tests' own.
bool is_the_thread() {
    char name[16] = "";
    prctl(PR_GET_NAME, name);
    return std::string_view(name) == "webpreinit";
}

int fails_with(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_socket(int, int, int);
int __real_fcntl(int, int, ...);
int __real_bind(int, const sockaddr*, socklen_t);
int __real_listen(int, int);
int __real_accept4(int, sockaddr*, socklen_t*, int);
ssize_t __real_recv(int, void*, size_t, int);
int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);
int __real_usleep(useconds_t);
int __real_clock_gettime(clockid_t, timespec*);
int __real_getsockopt(int, int, int, void*, socklen_t*);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    if (takes_one_of(failing_threads)) {
        errno = EAGAIN;
        return EAGAIN;
    }
    return __real_pthread_create(thread, attributes, function, argument);
}

int __wrap_socket(int domain, int type, int protocol) {
    if (is_the_thread()) {
        const std::lock_guard guard(socket_types_lock);
        socket_types().push_back(type);
    }
    if (is_the_thread() &&
        takes_one_of(domain == AF_UNIX ? failing_local_sockets : failing_remote_sockets)) {
        return fails_with(EMFILE);
    }
    return __real_socket(domain, type, protocol);
}

int __wrap_fcntl(int descriptor, int command, ...) {
    int argument = 0;
    if (command != F_GETFL && command != F_GETFD) {
        va_list arguments;
        va_start(arguments, command);
        // The line above initialises it. NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        argument = va_arg(arguments, int);
        va_end(arguments);
    }
    if (command == F_GETFL && takes_one_of(failing_get_flags)) {
        return fails_with(EIO);
    }
    if (command == F_SETFL) {
        last_set_flags = argument;
        if (takes_one_of(failing_set_flags)) {
            return fails_with(EIO);
        }
        return __real_fcntl(descriptor, command, argument == -1 ? O_NONBLOCK : argument);
    }
    return __real_fcntl(descriptor, command, argument);
}

int __wrap_bind(int descriptor, const sockaddr* address, socklen_t length) {
    if (address->sa_family == AF_UNIX) {
        last_local_bind_length = length;
    }
    return __real_bind(descriptor, address, length);
}

int __wrap_listen(int descriptor, int backlog) {
    last_backlog = backlog;
    return __real_listen(descriptor, backlog);
}

int __wrap_accept4(int descriptor, sockaddr* address, socklen_t* length, int flags) {
    if (!is_the_thread()) {
        return __real_accept4(descriptor, address, length, flags);
    }
    socklen_t none = 0;
    first_accept_length.compare_exchange_strong(none, *length);
    last_accept_length = *length;
    if (takes_one_of(failing_accepts)) {
        return fails_with(ECONNABORTED);
    }
    const int client = __real_accept4(descriptor, address, length, flags);
    if (tiny_client_buffers) {
        const int least = 1;
        setsockopt(client, SOL_SOCKET, SO_SNDBUF, &least, sizeof(least));
    }
    return client;
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    const std::int64_t wanted = clock_of_the_thread;
    if (wanted < 0 || clock != CLOCK_MONOTONIC || !is_the_thread()) {
        return __real_clock_gettime(clock, time);
    }
    time->tv_sec = static_cast<time_t>(wanted / 1000);
    time->tv_nsec = static_cast<decltype(time->tv_nsec)>(wanted % 1000 * 1'000'000);
    return 0;
}

ssize_t __wrap_recv(int descriptor, void* buffer, size_t size, int flags) {
    if (endless_commands) {
        const ssize_t length = __real_recv(descriptor, buffer, size, flags | MSG_PEEK);
        if (length > 0 && *static_cast<const std::uint8_t*>(buffer) == kEndless) {
            return length;
        }
    }
    return __real_recv(descriptor, buffer, size, flags);
}

int __wrap_select(int count, fd_set* in, fd_set* out, fd_set* other, timeval* timeout) {
    passes++;
    last_select_us = static_cast<long>(timeout->tv_sec) * 1'000'000 + timeout->tv_usec;
    if (takes_one_of(failing_selects)) {
        return fails_with(EBADF);
    }
    return __real_select(count, in, out, other, timeout);
}

int __wrap_usleep(useconds_t microseconds) {
    last_pause = microseconds;
    return __real_usleep(microseconds);
}

int __wrap_getsockopt(int descriptor, int level, int option, void* value, socklen_t* length) {
    const int result = __real_getsockopt(descriptor, level, option, value, length);
    if (level == SOL_SOCKET && option == SO_ERROR) {
        const std::lock_guard guard(socket_errors_lock);
        socket_errors().push_back(*static_cast<const int*>(value));
    }
    return result;
}

}  // extern "C"

namespace quon::test {
namespace {

class AFailure : public HandOffTest {};

TEST_F(AFailure, OfThreadCreationIsReportedWithTheErrorNumbersText) {
    failing_threads = 1;
    const ws_preinit_param param = record_without_wakeup();
    const std::string line =
        "create websocket preinit thread fail:Resource temporarily unavailable\n";
    EXPECT_EQ(websocket_local_server_init(&param), static_cast<int>(line.size()));
    EXPECT_EQ(output(), line);
    EXPECT_FALSE(thread_runs("webpreinit"));
}

TEST_F(AFailure, OfTheLocalSocketEndsTheThread) {
    failing_local_sockets = 1;
    start(record_without_wakeup());
    expect_output("socket failed.\n");
    EXPECT_TRUE(wait_until([] { return !thread_runs("webpreinit"); }));
}

TEST_F(AFailure, OfTheRemoteSocketCountsAsAFailedConnect) {
    const RemoteServer server;
    failing_remote_sockets = 1;
    start(record_for(server));
    const std::string lines =
        init_line(server) +
        "socket failed.\nws ls connect server 127.0.0.1:" + std::to_string(server.port()) +
        " failed!\n";
    expect_output(lines);
    const LocalPeer peer;
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(lines + kClientLine + kWholeRequestLine + request_line(server, 0) +
                  kConnectedLine + kSentLaterLine);
}

TEST_F(AFailure, ToReadTheFlagsIsPrintedAndTheFailedValueCarriedOn) {
    const RemoteServer server;
    failing_get_flags = 1;
    start(record_for(server));
    expect_output(init_line(server) + "fcntl F_GETFL failed\n" + kConnectedLine);
    EXPECT_EQ(last_set_flags, -1);
}

// A socket that stays blocking is connected when connect returns: the state is 3 at once, and a
// socket in state 3 is handed over on request only.
TEST_F(AFailure, ToSetTheFlagsIsPrintedAndAnImmediateConnectionWaitsForTheNextRequest) {
    const RemoteServer server;
    failing_set_flags = 1;
    start(record_without_wakeup());
    const LocalPeer peer;
    peer.send(connect_request(server));
    const Descriptor connection = server.accept();
    ASSERT_TRUE(connection.valid());
    const std::string lines = kNoTargetLine + kClientLine + kWholeRequestLine +
                              request_line(server, 0) + "fcntl F_SETFL failed\n";
    expect_output(lines);
    EXPECT_FALSE(readable_within(peer.get(), std::chrono::milliseconds(200)));

    peer.send(connect_request(server));
    const std::optional<Handover> handover = peer.receive();
    ASSERT_TRUE(handover.has_value());
    EXPECT_TRUE(carries(handover->socket.get(), connection.get(), "hello"));
    expect_output(lines + kWholeRequestLine + request_line(server, 3) + kSentAtOnceLine);
}

TEST_F(AFailure, OfAcceptIsIgnored) {
    failing_accepts = 3;
    start(record_without_wakeup());
    const LocalPeer peer;
    peer.send({7});
    expect_output(kNoTargetLine + kClientLine + "ws ls recv[7] ----> len:1\n");
    EXPECT_EQ(failing_accepts, 0);
}

TEST_F(AFailure, OfAcceptLeavesNoPeerBehind) {
    start(record_without_wakeup());
    const LocalPeer first;
    ASSERT_TRUE(prints(kClientLine));
    failing_accepts = std::numeric_limits<int>::max();
    const LocalPeer second;
    EXPECT_TRUE(ends_within(first.get()));  // while the second is not accepted
    failing_accepts = 0;
    second.send({7});
    expect_output(kNoTargetLine + kClientLine + kClientLine + "ws ls recv[7] ----> len:1\n");
}

TEST_F(AFailure, OfSelectEndsTheThreadAndLeavesItsSocketsOpen) {
    const OutputCapture errors(2);
    start(record_without_wakeup());
    const LocalPeer peer;
    ASSERT_TRUE(prints(kClientLine));
    failing_selects = 1;
    EXPECT_TRUE(wait_until([] { return !thread_runs("webpreinit"); }));
    EXPECT_EQ(errors.text(), "select error \n: Bad file descriptor\n");
    EXPECT_FALSE(readable_within(peer.get(), std::chrono::milliseconds(0)));
    const LocalPeer second;  // the socket still listens, nobody accepts
    expect_output(kNoTargetLine + kClientLine);
}

// The refusal comes with the repeated request to connect, a second later. It is read, which clears
// it, and only the next check takes the socket for connected.
TEST_F(AFailure, OfAConnectionUnderWayCountsAsUpOnePassLater) {
    SilentServer silent;
    start(record_without_wakeup());
    const LocalPeer peer;
    peer.send(connect_request(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    silent.leave();
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + request_line(silent, 0) +
                  kConnectedLine + kSentLaterLine);
    const std::lock_guard guard(socket_errors_lock);
    EXPECT_EQ(socket_errors(), (std::vector<int>{0, ECONNREFUSED, 0}));
}

class AnUnknownCommand : public HandOffTest {};

TEST_F(AnUnknownCommand, InEveryPassDoesNotKeepTheConnectionFromThePeer) {
    const RemoteServer server;
    endless_commands = true;
    start(record_without_wakeup());
    const LocalPeer peer;
    Bytes request = connect_request(server);
    request.resize(128);  // is read at once, and alone
    peer.send(request);
    peer.send({kEndless});
    EXPECT_TRUE(peer.receive(std::chrono::seconds(5)).has_value());
    endless_commands = false;
}

class TheLocalServer : public HandOffTest {};

TEST_F(TheLocalServer, BindsAndAcceptsWithAddressesOf110BytesAndABacklogOf5) {
    start(record_without_wakeup());
    const LocalPeer peer;
    ASSERT_TRUE(prints(kClientLine));
    EXPECT_EQ(last_local_bind_length, 110U);
    EXPECT_EQ(last_backlog, 5);
    EXPECT_EQ(first_accept_length, 110U);
}

TEST_F(TheLocalServer, MakesEverySocketCloseOnExecFromTheStart) {
    const RemoteServer server;
    start(record_for(server));
    ASSERT_TRUE(prints(kConnectedLine));
    const std::lock_guard guard(socket_types_lock);
    EXPECT_EQ(socket_types(), (std::vector<int>(2, SOCK_STREAM | SOCK_CLOEXEC)));
}

// A peer whose own path fills its address to the last byte.
LocalPeer peer_with_the_longest_path(char name) {
    Descriptor socket = LocalPeer::unconnected();
    sockaddr_un own{};
    own.sun_family = AF_UNIX;
    std::fill(std::begin(own.sun_path), std::end(own.sun_path), name);
    std::copy_n("/tmp/", 5, own.sun_path);
    EXPECT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&own), sizeof(own)), 0);
    return LocalPeer(std::move(socket));
}

TEST_F(TheLocalServer, HasRoomForTheLongestAddressThatAPeerCanHave) {
    start(record_without_wakeup());
    const LocalPeer first = peer_with_the_longest_path('a');
    ASSERT_TRUE(prints(kClientLine));
    const LocalPeer second = peer_with_the_longest_path('b');  // 111 bytes are written
    second.send({7});
    expect_output(kNoTargetLine + kClientLine + kClientLine + "ws ls recv[7] ----> len:1\n");
    EXPECT_EQ(last_accept_length, 111U);
}

class ADeafPeer : public HandOffTest {
  protected:
    // The lines about one, whatever its result.
    [[nodiscard]] int hand_overs() const {
        int count = 0;
        const std::string lines = output();
        for (std::size_t place = 0; (place = lines.find(", fd:#\n", place)) != std::string::npos;
             place++) {
            count++;
        }
        return count;
    }
};

TEST_F(ADeafPeer, MissesItsHandOverAndDelaysNobody) {
    const RemoteServer server;
    tiny_client_buffers = true;
    start(record_without_wakeup());
    const LocalPeer deaf;
    for (int count = 1; count < 100 && !output().ends_with(kNotSentLine); count++) {
        deaf.send(connect_request(server));
        ASSERT_TRUE(server.accept().valid());
        ASSERT_TRUE(wait_until([&] { return hand_overs() == count; })) << output();
    }
    EXPECT_TRUE(prints(kNotSentLine));
    const LocalPeer second;
    second.send(connect_request(server));
    EXPECT_TRUE(second.receive().has_value());
}

class AConnectionUnderWay : public HandOffTest {};

TEST_F(AConnectionUnderWay, IsGivenUpAfter6000MillisecondsOfTheClockAndNotOneBefore) {
    constexpr std::int64_t kBegin = 1'000'999;
    const SilentServer silent;
    clock_of_the_thread = kBegin;
    start(record_for(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    clock_of_the_thread = kBegin + 5999;
    const int seen = passes;
    ASSERT_TRUE(wait_until([&] { return passes >= seen + 3; }));
    EXPECT_EQ(silent.attempts().size(), 1U);
    clock_of_the_thread = kBegin + 6000;
    EXPECT_TRUE(wait_until([&] { return silent.attempts().empty(); }));
}

class APause : public HandOffTest {};

TEST_F(APause, BetweenTwoQuestionsForTheNetworkTakes10000Microseconds) {
    const RemoteServer server;
    set_network_up(false);
    start(record_for(server));
    EXPECT_TRUE(wait_until([] { return network_questions() >= 3; }));
    EXPECT_EQ(last_pause, 10'000U);
}

TEST_F(APause, OfAPassTakes20000Microseconds) {
    start(record_without_wakeup());
    EXPECT_TRUE(prints(kNoTargetLine));
    EXPECT_TRUE(wait_until([] { return last_select_us >= 0; }));
    EXPECT_EQ(last_select_us, 20'000);
}

}  // namespace
}  // namespace quon::test
