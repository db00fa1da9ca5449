// The hand-off thread with a local peer: its requests, and servers that do not answer.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "handoff_world.h"

namespace quon::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// ---- A local peer -----------------------------------------------------------------------------

class ALocalPeer : public HandOffTest {
  protected:
    void SetUp() override {
        HandOffTest::SetUp();
        start(record_without_wakeup());
    }
};

TEST_F(ALocalPeer, GetsItsConnectionAsSoonAsItIsUp) {
    const RemoteServer server;
    const LocalPeer peer;
    peer.send(connect_request(server));
    const std::optional<Handover> handover = peer.receive();
    ASSERT_TRUE(handover.has_value());
    EXPECT_EQ(handover->data, (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    const Descriptor connection = server.accept();
    EXPECT_TRUE(carries(handover->socket.get(), connection.get(), "hello"));
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + request_line(server, 0) +
                  kServedLater);
}

TEST_F(ALocalPeer, GetsAConnectionWhoseDescriptorsNumberIsPrinted) {
    const RemoteServer server;
    const LocalPeer peer;
    ASSERT_TRUE(prints(kClientLine));
    Descriptor lowest_free(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int number = lowest_free.get();  // the thread's socket is the next that is opened
    lowest_free.reset();
    peer.send(connect_request(server));
    ASSERT_TRUE(peer.receive().has_value());
    EXPECT_TRUE(
        prints_exactly("ws ls polling sendfd ret = 8, fd:" + std::to_string(number) + "\n"));
}

TEST_F(ALocalPeer, MaySendUpTo128BytesOfWhichSevenCount) {
    const RemoteServer server;
    const LocalPeer peer;
    Bytes request = connect_request(server);
    request.resize(128, 0xee);
    peer.send(request);
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(kNoTargetLine + kClientLine + "ws ls recv[0] ----> len:128\n" +
                  request_line(server, 0) + kServedLater);
}

TEST_F(ALocalPeer, IsReadAtMost128BytesAtOnce) {
    const LocalPeer peer;
    Bytes request(129, 7);
    request[128] = 8;
    peer.send(request);
    expect_output(kNoTargetLine + kClientLine +
                  "ws ls recv[7] ----> len:128\nws ls recv[8] ----> len:1\n");
}

TEST_F(ALocalPeer, WithAShortRequestUsesWhatEarlierRequestsLeft) {
    const RemoteServer server("127.0.0.9");
    const LocalPeer peer;
    peer.send(connect_request(server));
    ASSERT_TRUE(peer.receive().has_value());
    peer.send({WS_COMMAND_CONNECT, 127, 0});
    EXPECT_TRUE(peer.receive().has_value());
    peer.send({WS_COMMAND_CONNECT});
    EXPECT_TRUE(peer.receive().has_value());
    const std::string served = request_line(server, 0) + kServedLater;
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + served +
                  "ws ls recv[0] ----> len:3\n" + served + "ws ls recv[0] ----> len:1\n" + served);
}

TEST_F(ALocalPeer, MaySendUnknownCommandsWithoutEffect) {
    const RemoteServer server;
    const LocalPeer peer;
    peer.send(connect_request(server));
    ASSERT_TRUE(peer.receive().has_value());
    std::string lines =
        kNoTargetLine + kClientLine + kWholeRequestLine + request_line(server, 0) + kServedLater;
    const std::pair<std::uint8_t, int> commands[] = {{2, 2}, {0x7f, 127}, {0x80, -128}, {0xff, -1}};
    for (const auto& [byte, printed] : commands) {
        peer.send({byte});
        lines += "ws ls recv[" + std::to_string(printed) + "] ----> len:1\n";
        expect_output(lines);
    }
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(lines + kWholeRequestLine + request_line(server, 0) + kServedLater);
}

TEST_F(ALocalPeer, IsReplacedByTheNextOneAndItsSocketClosed) {
    const RemoteServer server;
    const LocalPeer first;
    ASSERT_TRUE(prints(kClientLine));
    const LocalPeer second;
    EXPECT_TRUE(ends_within(first.get()));
    second.send(connect_request(server));
    EXPECT_TRUE(second.receive().has_value());
    expect_output(kNoTargetLine + kClientLine + kClientLine + kWholeRequestLine +
                  request_line(server, 0) + kServedLater);
}

TEST_F(ALocalPeer, IsReplacedWhileItsConnectionIsAwaitedAndTheNextOneGetsIt) {
    const SilentServer silent;
    const LocalPeer first;
    first.send(connect_request(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    const LocalPeer second;
    ASSERT_TRUE(ends_within(first.get()));
    const RemoteServer server;
    second.send(connect_request(server));
    EXPECT_TRUE(second.receive().has_value());
    EXPECT_TRUE(silent.attempts().empty());
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + request_line(silent, 0) +
                  kClientLine + kWholeRequestLine + request_line(server, 2) + kServedLater);
}

TEST_F(ALocalPeer, ThatClosesRepeatsItsLastRequestForNobody) {
    const RemoteServer server;
    LocalPeer peer;
    peer.send(connect_request(server));
    ASSERT_TRUE(peer.receive().has_value());
    ASSERT_TRUE(server.accept().valid());
    peer.close();
    const Descriptor repeated = server.accept();
    EXPECT_TRUE(ends_within(repeated.get()));
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + request_line(server, 0) +
                  kServedLater + kClosedLines + request_line(server, 0) + kConnectedLine +
                  kNotSentLine);
}

TEST_F(ALocalPeer, ThatClosesAfterADropRepeatsTheDrop) {
    LocalPeer peer;
    peer.send(kDropRequest);
    ASSERT_TRUE(prints(kDropLine));
    peer.close();
    expect_output(kNoTargetLine + kClientLine + kDropLine +
                  "client close\nws ls recv[1] ----> len:0\n");
}

TEST_F(ALocalPeer, ThatClosesLeavesNoDescriptorBehind) {
    ASSERT_TRUE(prints(kNoTargetLine));
    const std::size_t before = open_sockets().size();
    LocalPeer peer;
    peer.send(kDropRequest);
    ASSERT_TRUE(prints(kDropLine));
    EXPECT_EQ(open_sockets().size(), before + 2);
    peer.close();
    EXPECT_TRUE(wait_until([&] { return open_sockets().size() == before; }));
}

TEST_F(ALocalPeer, ThatClosesWithoutAWordActsAsARequestForNoAddress) {
    LocalPeer peer;
    ASSERT_TRUE(prints(kClientLine));
    peer.close();
    expect_output(kNoTargetLine + kClientLine + kClosedLines + request_line(0, 0, 0) +
                  kConnectedLine + kNotSentLine);
}

TEST_F(ALocalPeer, ThatFailsInsteadOfClosingRepeatsItsRequestTwice) {
    const RemoteServer server;
    LocalPeer peer;
    peer.send(connect_request(server));
    ASSERT_TRUE(readable_within(peer.get()));
    peer.close();  // with the hand-over unread, which resets the connection
    ASSERT_TRUE(prints("client close\n"));
    EXPECT_TRUE(prints("ws ls recv[0] ----> len:-1\n"));
    EXPECT_TRUE(prints("ws ls recv[0] ----> len:0\n"));
    EXPECT_TRUE(prints(kNotSentLine));
}

// ---- Connections that do not come up ----------------------------------------------------------

class ARefusedConnection : public HandOffTest {};

TEST_F(ARefusedConnection, CountsAsUpAndIsHandedOverDeadSoThatThePeerLearnsAtOnce) {
    const in_addr_t ip = htonl(INADDR_LOOPBACK);
    const std::uint16_t port = closed_port();
    start(record_without_wakeup());
    const LocalPeer peer;
    peer.send(connect_request(ip, port));
    const std::optional<Handover> handover = peer.receive();
    ASSERT_TRUE(handover.has_value());
    char byte = 0;
    const ssize_t received = recv(handover->socket.get(), &byte, 1, MSG_DONTWAIT);
    EXPECT_TRUE(received == 0 || (received == -1 && errno != EAGAIN));
    EXPECT_EQ(send(handover->socket.get(), &byte, 1, MSG_NOSIGNAL), -1);
    EXPECT_EQ(errno, EPIPE);
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + request_line(ip, port, 0) +
                  kServedLater);
}

class AnUnreachableAddress : public HandOffTest {};

TEST_F(AnUnreachableAddress, FailsAtOnceAndLeavesTheThreadIdle) {
    const in_addr_t ip = inet_addr("203.0.113.7");  // no route in the private network
    start(record_for(ip, 8080));
    const std::string start_lines =
        init_line(ip, 8080) + "ws ls connect server 203.0.113.7:8080 failed!\n";
    expect_output(start_lines);

    const RemoteServer server;
    const LocalPeer peer;
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(start_lines + kClientLine + kWholeRequestLine + request_line(server, 0) +
                  kServedLater);
}

TEST_F(AnUnreachableAddress, IsTriedAgainWhenItIsAskedForAgain) {
    const in_addr_t ip = inet_addr("203.0.113.7");
    start(record_for(ip, 443));
    const std::string failure = "ws ls connect server 203.0.113.7:443 failed!\n";
    expect_output(init_line(ip, 443) + failure);
    const LocalPeer peer;
    peer.send(connect_request(ip, 443));
    expect_output(init_line(ip, 443) + failure + kClientLine + kWholeRequestLine +
                  request_line(ip, 443, 0) + failure);
    EXPECT_FALSE(readable_within(peer.get(), kSomePasses));
}

TEST_F(AnUnreachableAddress, KeepsItsSocketUntilTheNextAttemptOrADrop) {
    const in_addr_t ip = inet_addr("203.0.113.7");
    const std::string failure = "ws ls connect server 203.0.113.7:443 failed!\n";
    start(record_for(ip, 443));
    ASSERT_TRUE(prints(failure));
    const LocalPeer peer;
    std::string lines = init_line(ip, 443) + failure + kClientLine;
    expect_output(lines);
    const std::size_t with_socket = open_sockets().size();
    peer.send(kDropRequest);
    EXPECT_TRUE(wait_until([&] { return open_sockets().size() == with_socket - 1; }));
    lines += kDropLine;
    for (int attempt = 0; attempt < 3; attempt++) {
        peer.send(connect_request(ip, 443));
        lines += kWholeRequestLine + request_line(ip, 443, 0) + failure;
        expect_output(lines);
        EXPECT_EQ(open_sockets().size(), with_socket);
    }
}

class ASilentAddress : public HandOffTest {};

TEST_F(ASilentAddress, IsGivenUpAfter6000MillisecondsWithoutAWord) {
    const SilentServer silent;
    const auto start_time = steady_clock::now();
    start(record_for(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().empty(); }));
    EXPECT_GE(since(start_time), 6000);
    EXPECT_LT(since(start_time), 15000);
    expect_output(init_line(silent));

    const RemoteServer server;
    const LocalPeer peer;
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(init_line(silent) + kClientLine + kWholeRequestLine + request_line(server, 0) +
                  kServedLater);
}

TEST_F(ASilentAddress, IsLeftForTheOneThatThePeerAsksFor) {
    const SilentServer silent;
    start(record_for(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    const RemoteServer server;
    const LocalPeer peer;
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    EXPECT_TRUE(silent.attempts().empty());
    expect_output(init_line(silent) + kClientLine + kWholeRequestLine + request_line(server, 2) +
                  kServedLater);
}

TEST_F(ASilentAddress, IsTriedAgainWhenThePeerAsksForItAgain) {
    const SilentServer silent;
    start(record_for(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    const std::vector<std::string> first = silent.attempts();
    const LocalPeer peer;
    peer.send(connect_request(silent));
    EXPECT_TRUE(wait_until([&] {
        const std::vector<std::string> now = silent.attempts();
        return now.size() == 1 && now != first;
    }));
    expect_output(init_line(silent) + kClientLine + kWholeRequestLine + request_line(silent, 2));
    EXPECT_FALSE(readable_within(peer.get(), milliseconds(0)));
}

TEST_F(ASilentAddress, IsDroppedOnCommand) {
    const SilentServer silent;
    start(record_for(silent));
    ASSERT_TRUE(wait_until([&] { return silent.attempts().size() == 1; }));
    const LocalPeer peer;
    peer.send(kDropRequest);
    EXPECT_TRUE(wait_until([&] { return silent.attempts().empty(); }));
    peer.send(connect_request(silent));
    expect_output(init_line(silent) + kClientLine + kDropLine + kWholeRequestLine +
                  request_line(silent, 0));
}

}  // namespace
}  // namespace quon::test
