// Interruptions and ends of the server's connections.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "expected_texts.h"
#include "log_records.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

TEST(AConnection, EndsQuietlyWithItsPeer) {
    const std::string name = "quon.test.ending";
    start_server(name, {{.name = "method.one", .method = answer_one}});
    const LogRecords log;
    const OutputCapture capture;
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([] { return threads_named("quon.test.endin").size() == 2; }));
    peer.close_now();
    EXPECT_TRUE(wait_until([] { return threads_named("quon.test.endin").size() == 1; }));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(capture.text(), "");
}

TEST(AReadThatIsInterrupted, IsLoggedAndReadAgain) {
    const std::string name = "quon.test.eintr";
    start_server(name, {{.name = "method.one", .method = answer_one}});
    ASSERT_TRUE(wait_until([] { return threads_named("quon.test.eintr").size() == 1; }));
    const pid_t listener = threads_named("quon.test.eintr")[0];
    const LogRecords log;
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([] { return threads_named("quon.test.eintr").size() == 2; }));
    for (const pid_t thread : threads_named("quon.test.eintr")) {
        if (thread != listener) {
            ASSERT_TRUE(wait_until([&] {  // it may not have reached its read yet
                interrupt_thread(thread);
                return !log.lines().empty();
            }));
        }
    }
    peer.send(make_request("method.one", 4));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 4U);
    const LogLine line = log.lines()[0];
    EXPECT_EQ(line.level, 1U);
    EXPECT_EQ(line.tag, "DBUS");
    EXPECT_EQ(line.file, "dbus_socket_common");
    EXPECT_EQ(line.func, "Dbus_ReadWrite_Thread");
    EXPECT_EQ(without_line_numbers(line.msg),
              "Dbus_ReadWrite_Thread LINE read socket data interrupt ret:-1 errno:4 (Interrupted "
              "system call)\n");

    // errno still holds EINTR when the peer closes: the end of the stream counts as an
    // interruption, and the connection is kept.
    peer.close_now();
    ASSERT_TRUE(wait_until([&] {
        const std::string last = log.lines().back().msg;
        return last.find("ret:0 errno:4") != std::string::npos;
    }));
    EXPECT_EQ(threads_named("quon.test.eintr").size(), 2U);
}

Gate handler_may_end;
std::atomic<int> handlers_inside{0};
std::atomic<int> handlers_done{0};

std::int32_t wait_for_gate(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                           std::uint8_t* reply, std::int32_t /*capacity*/) {
    handlers_inside++;
    handler_may_end.wait(60s);
    handlers_done++;
    reply[0] = 'L';
    return 1;
}

TEST(AResultForAPeerThatHasGone, IsReportedAndLost) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.late", .method = wait_for_gate}});
    const OutputCapture capture;
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.late"));
    ASSERT_TRUE(wait_until([] { return handlers_inside == 1; }));
    peer.close_now();
    handler_may_end.open();
    EXPECT_TRUE(wait_until([&] { return capture.text() == expected::kResultNotWritten; }))
        << capture.text();
}

TEST(APeerThatHasSentItsEnd, SeesTheConnectionEndAtOnceWhileAHandlerStillRuns) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.late", .method = wait_for_gate}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.late"));
    ASSERT_TRUE(wait_until([] { return handlers_inside == 1; }));
    shutdown(peer.descriptor(), SHUT_WR);
    EXPECT_TRUE(peer.sees_end(10s));
    EXPECT_EQ(handlers_done, 0);
    handler_may_end.open();
    EXPECT_TRUE(wait_until([] { return handlers_done == 1; }));
}

// The number of a connection's descriptor is not given to a new connection while a late result of
// the old one is still to be written.
TEST(ALateResult, NeverReachesAnotherPeer) {
    const std::string name = "quon.test.late.results";
    start_server(name, {{.name = "method.late", .method = wait_for_gate},
                        {.name = "method.one", .method = answer_one}});
    const OutputCapture capture;
    RawPeer gone = RawPeer::connect_to(name);
    gone.send(make_request("method.late", 111));
    ASSERT_TRUE(wait_until([] { return handlers_inside == 1; }));
    gone.close_now();
    ASSERT_TRUE(wait_until([] { return threads_named("quon.test.late.").size() == 1; }));
    std::vector<RawPeer> others;
    for (std::uint32_t i = 0; i < 10; i++) {
        others.push_back(RawPeer::connect_to(name));
        others.back().send(make_request("method.one", i));
        const std::optional<DbusMsg> result = others.back().receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->id, i);
    }
    handler_may_end.open();
    ASSERT_TRUE(wait_until([&] { return !capture.text().empty(); }));
    for (RawPeer& peer : others) {
        EXPECT_TRUE(peer.is_silent(1ms));
    }
}

TEST(ManyConnectionsOneAfterTheOther, LeaveNoDescriptorBehind) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    const int before = open_descriptors();
    for (int i = 0; i < 50; i++) {
        RawPeer peer = RawPeer::connect_to(name);
        peer.send(make_request("method.one"));
        ASSERT_TRUE(peer.receive());
        peer.send(make_request("method.one"));  // its result may come too late
    }
    EXPECT_TRUE(wait_until([&] { return open_descriptors() == before; }));
}

}  // namespace
}  // namespace quon::test
