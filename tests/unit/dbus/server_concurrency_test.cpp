#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "expected_texts.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

std::array<Gate, 16> gates;
std::atomic<int> inside{0};

// Waits for the gate that the request's first byte names.
std::int32_t pass_gate(const std::uint8_t* request, std::int32_t /*len*/, std::uint8_t* reply,
                       std::int32_t /*capacity*/) {
    inside++;
    gates.at(request[0]).wait();
    reply[0] = request[0];
    return 1;
}

void pass_gate_as_signal(const std::uint8_t* request, std::int32_t /*len*/) {
    inside++;
    gates.at(request[0]).wait();
}

std::atomic<int> echoed{0};

std::int32_t echo(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                  std::int32_t /*capacity*/) {
    std::memcpy(reply, request, static_cast<std::size_t>(len));
    echoed++;
    return len;
}

// A payload as long as one can be, different for each id.
std::string long_payload(std::uint32_t id) {
    std::string text(DBUS_DATA_SIZE, '\0');
    for (std::size_t i = 0; i < text.size(); i++) {
        text[i] = static_cast<char>((id * 31 + i * 7) & 0xFF);
    }
    return text;
}

TEST(TenRequestsBackToBack, RunAtOnceAndAreAnsweredInTheOrderOfTheirEnds) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.gate", .method = pass_gate}});
    RawPeer peer = RawPeer::connect_to(name);
    for (std::uint32_t i = 0; i < 10; i++) {
        peer.send(make_request("method.gate", 100 + i, std::string(1, static_cast<char>(i))));
    }
    ASSERT_TRUE(wait_until([] { return inside == 10; }));
    for (const std::uint32_t i : {9U, 0U, 4U, 2U, 8U, 1U, 7U, 3U, 6U, 5U}) {
        gates[i].open();
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->id, 100 + i);
    }
}

TEST(ASlowSignal, DoesNotHoldUpTheNextMessage) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "signal.gate",
                         .signal = pass_gate_as_signal,
                         .method_marker = "",
                         .signal_marker = "signal"},
                        {.name = "method.echo", .method = echo}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_signal("signal.gate", std::string(1, '\0')));
    ASSERT_TRUE(wait_until([] { return inside == 1; }));
    peer.send(make_request("method.echo", 2, "x"));
    EXPECT_TRUE(peer.receive());
    gates[0].open();
}

DbusInfo* registration_under_test = nullptr;

std::int32_t try_the_mutex(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                           std::uint8_t* reply, std::int32_t /*capacity*/) {
    const bool was_free = pthread_mutex_trylock(&registration_under_test->mutex) == 0;
    if (was_free) {
        pthread_mutex_unlock(&registration_under_test->mutex);
    }
    reply[0] = was_free ? 'y' : 'n';
    return 1;
}

TEST(AHandler, RunsWithoutTheBusLock) {
    const std::string name = fresh_name();
    registration_under_test = start_server(name, {{.name = "method.try", .method = try_the_mutex}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.try"));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(payload_of(*result), "y");
}

TEST(AResult, IsWrittenUnderTheRegistrationsMutex) {
    const std::string name = fresh_name();
    DbusInfo* info = start_server(name, {{.name = "method.gate", .method = pass_gate}});
    RawPeer peer = RawPeer::connect_to(name);
    pthread_mutex_lock(&info->mutex);
    peer.send(make_request("method.gate", 1, std::string(1, '\0')));
    ASSERT_TRUE(wait_until([] { return inside == 1; }));
    gates[0].open();
    EXPECT_TRUE(peer.is_silent());
    pthread_mutex_unlock(&info->mutex);
    EXPECT_TRUE(peer.receive());
}

std::int32_t answer_timer_slack(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                                std::uint8_t* reply, std::int32_t /*capacity*/) {
    const int slack = prctl(PR_GET_TIMERSLACK);
    std::memcpy(reply, &slack, sizeof(slack));
    return sizeof(slack);
}

// Commands that it starts inherit it.
TEST(AHandler, HasTheTimerSlackOfItsProcess) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.slack", .method = answer_timer_slack}});
    RawPeer peer = RawPeer::connect_to(name);
    for (int i = 0; i < 3; i++) {
        peer.send(make_request("method.slack"));
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result);
        int slack = 0;
        std::memcpy(&slack, result->data, sizeof(slack));
        EXPECT_EQ(slack, prctl(PR_GET_TIMERSLACK));
        EXPECT_NE(slack, 1);
    }
}

std::atomic<std::int64_t> handler_end{0};

std::int32_t note_end(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                      std::uint8_t* /*reply*/, std::int32_t /*capacity*/) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    handler_end = static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
    return 0;
}

TEST(AMethodHandler, IsFollowedByAPauseOf1000Microseconds) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.end", .method = note_end}});
    RawPeer peer = RawPeer::connect_to(name);
    for (int i = 0; i < 20; i++) {
        peer.send(make_request("method.end"));
        ASSERT_TRUE(peer.receive());
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const std::int64_t us =
            static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
        EXPECT_GE(us - handler_end, 1000);
    }
}

TEST(FiftyConnectionsAtOnce, AreAllServed) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.echo", .method = echo}});
    std::vector<RawPeer> peers;
    for (int i = 0; i < 50; i++) {
        peers.push_back(RawPeer::connect_to(name));
    }
    for (std::uint32_t i = 0; i < 50; i++) {
        peers[i].send(make_request("method.echo", i, std::to_string(i)));
    }
    for (std::uint32_t i = 0; i < 50; i++) {
        const std::optional<DbusMsg> result = peers[i].receive();
        ASSERT_TRUE(result) << i;
        EXPECT_EQ(result->id, i);
        EXPECT_EQ(payload_of(*result), std::to_string(i));
    }
}

// ---- A peer that does not read

constexpr std::uint32_t kOutstanding = 300;

void send_without_reading(const RawPeer& peer) {
    for (std::uint32_t id = 0; id < kOutstanding; id++) {
        peer.send(make_request("method.echo", id, long_payload(id)));
    }
}

void expect_service(RawPeer& peer, std::uint32_t count) {
    for (std::uint32_t id = 0; id < count; id++) {
        peer.send(make_request("method.echo", id, "ping"));
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result) << id;
        EXPECT_EQ(payload_of(*result), "ping");
    }
}

TEST(APeerThatNeverReads, DelaysNobodyAndFindsEveryResultIntactWhenItReadsLate) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.echo", .method = echo}});
    RawPeer sleeper = RawPeer::connect_to(name);
    RawPeer other = RawPeer::connect_to(name);
    send_without_reading(sleeper);
    expect_service(other, 50);
    RawPeer newcomer = RawPeer::connect_to(name);
    expect_service(newcomer, 50);

    std::set<std::uint32_t> ids;
    for (std::uint32_t i = 0; i < kOutstanding; i++) {
        const std::optional<DbusMsg> result = sleeper.receive();
        ASSERT_TRUE(result) << i;
        ASSERT_EQ(result->head, 0x5AA55AA5U) << i;
        EXPECT_TRUE(payload_of(*result) == long_payload(result->id)) << result->id;
        ids.insert(result->id);
    }
    EXPECT_EQ(ids.size(), kOutstanding);
    EXPECT_TRUE(sleeper.is_silent());
}

// The listen thread and the connections' threads bear the bus name, message threads do not.
std::size_t message_threads(const std::string& bus_name) {
    return thread_names().size() - threads_named(bus_name).size();
}

// Its results are waiting for room when it goes: each of them fails, nothing stays behind.
TEST(APeerThatNeverReadsAndGoes, LeavesNoThreadBehind) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.echo", .method = echo}});
    RawPeer sleeper = RawPeer::connect_to(name);
    RawPeer other = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([&] { return threads_named(name).size() == 3; }));
    const std::size_t own_threads = message_threads(name);
    const OutputCapture capture;
    send_without_reading(sleeper);
    // All but one leave their results with it and end.
    ASSERT_TRUE(wait_until([&] {
        return echoed == static_cast<int>(kOutstanding) && message_threads(name) == own_threads + 1;
    }));
    sleeper.close_now();
    EXPECT_TRUE(wait_until(
        [&] { return threads_named(name).size() == 2 && message_threads(name) == own_threads; }));
    EXPECT_GE(count_of(capture.text(), expected::kResultNotWritten), 100);
    expect_service(other, 10);
}

}  // namespace
}  // namespace quon::test
