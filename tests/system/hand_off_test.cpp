// The remote wake-up: an early connection to the server, and its hand-over to a local program.
#include <sys/socket.h>

#include <cstdio>

#include "hand_off_peers.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr std::size_t kServerIp = 38;
constexpr std::size_t kServerPort = 42;
const Bytes kLocalHost{127, 0, 0, 1};

std::string hex_word(const Bytes& address) {
    char text[16];
    std::snprintf(text, sizeof(text), "%x", word_at(address, 0));
    return text;
}

class TheHandOff : public SystemTest {
  protected:
    // A chip that woke the main processor for this reason and knows this server.
    void start_woken(std::uint8_t reason, const Bytes& address, std::uint16_t port) {
        start_chip();
        Bytes wakeup(71, 0);
        wakeup[0] = reason;
        chip().answer(0x82, wakeup);
        Bytes store = pattern(48);
        std::copy(address.begin(), address.end(), store.begin() + kServerIp);
        const Bytes port_bytes = little_endian(port, 2);
        std::copy(port_bytes.begin(), port_bytes.end(), store.begin() + kServerPort);
        chip().answer(0x93, store);
        start_daemon();
        wait_until_started();
    }
    // The chip reports that the network is up.
    void bring_network_up() {
        chip().send(0x03, from_hex("00 01 c0 a8 01 14 ff ff ff 00 c0 a8 01 01 02 00 00 00 00 01 "
                                   "08 08 08 08 00 00 00 00"));
    }
    bool prints(const std::string& text, std::size_t from = 0) {
        return daemon().process().wait_for_text(text, from);
    }
    static std::string init_line(const Bytes& address, std::uint16_t port) {
        return "ws init ip: " + hex_word(address) + "-" + std::to_string(port) + "\n";
    }
    static std::string request_line(const Bytes& address, std::uint16_t port, int state) {
        return "ws ls recv websocketip, " + hex_word(address) + ":" + std::to_string(port) + ", " +
               std::to_string(state) + "\n";
    }
    // The daemon has kept no copy: when the client closes, the server sees the end.
    static void expect_sole_owner(Descriptor here, const Descriptor& there) {
        here = Descriptor();
        EXPECT_TRUE(at_end(there.get()));
    }
    std::size_t sockets() {
        std::size_t count = 0;
        for (const std::string& target : daemon().descriptors()) {
            count += target.starts_with("socket:") ? 1U : 0U;
        }
        return count;
    }
};

class AWakeUpReason : public TheHandOff, public ::testing::WithParamInterface<int> {};

TEST_P(AWakeUpReason, OfTheServerConnectsEarlyAndHandsOver) {
    const RemoteServer server;
    start_woken(static_cast<std::uint8_t>(GetParam()), kLocalHost, server.port());
    bring_network_up();
    EXPECT_TRUE(prints(init_line(kLocalHost, server.port())));
    const Descriptor there = server.accept_one();
    EXPECT_TRUE(prints("ws ls connected remote:src/websocket.c-2484:"));
    const LocalProgram local;
    EXPECT_TRUE(prints("===========client_sock:"));
    local.ask(kLocalHost, server.port());
    Descriptor here = local.receive();
    expect_connected(here, there);
    expect_sole_owner(std::move(here), there);
    EXPECT_TRUE(prints("ws ls recv[0] ----> len:7\n"));
    EXPECT_TRUE(prints(request_line(kLocalHost, server.port(), 3)));
    EXPECT_TRUE(prints("ws ls sendfd ret = 8, fd:"));
    EXPECT_EQ(daemon().output().find("polling sendfd"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Each, AWakeUpReason, ::testing::Values(1, 3, 13));

class AnotherReason : public TheHandOff, public ::testing::WithParamInterface<int> {};

TEST_P(AnotherReason, ConnectsToNobody) {
    const RemoteServer server;
    start_woken(static_cast<std::uint8_t>(GetParam()), kLocalHost, server.port());
    EXPECT_TRUE(prints("ws init ip: 0-0\n"));
    bring_network_up();
    EXPECT_FALSE(server.called(300ms));
}

INSTANTIATE_TEST_SUITE_P(Each, AnotherReason, ::testing::Values(0, 2, 4, 12, 14, 255));

TEST_F(TheHandOff, NeedsAServerPortAndAnAddress) {
    const RemoteServer server;
    start_woken(13, kLocalHost, 0);
    EXPECT_TRUE(prints("ws init ip: 0-0\n"));
    EXPECT_TRUE(word_at(peer().call("method.quon.mcu.get.allwakeup.info").payload(), 354) != 0);
}

TEST_F(TheHandOff, NeedsAnAddress) {
    start_woken(13, Bytes(4, 0), 4711);
    EXPECT_TRUE(prints("ws init ip: 0-0\n"));
}

TEST_F(TheHandOff, NeedsTheStoreParams) {
    start_chip();
    Bytes wakeup(71, 0);
    wakeup[0] = 13;
    chip().answer(0x82, wakeup);
    chip().ignore(0x93);
    start_daemon();
    wait_until_started();
    EXPECT_TRUE(prints("ws init ip: 0-0\n"));
}

TEST_F(TheHandOff, WaitsForTheNetwork) {
    const RemoteServer server;
    start_woken(13, kLocalHost, server.port());
    EXPECT_FALSE(server.called(100ms));
    EXPECT_EQ(daemon().output().find("ws init ip"), std::string::npos);
    // Network data from start-up does not count, nor does an event that changes nothing.
    chip().send(0x03, from_hex("00 00 c0 a8 01 14 ff ff ff 00 c0 a8 01 01 02 00 00 00 00 01"));
    chip().send(0x03, from_hex("00 01 c0 a8 01 14 ff ff ff 00 c0 a8 01 01 00 00 00 00 00 00"));
    EXPECT_FALSE(server.called(100ms));
    bring_network_up();
    EXPECT_TRUE(server.called());
}

TEST_F(TheHandOff, GivesUpWaitingForTheNetworkAndStillServes) {
    const RemoteServer server;
    const auto begin = std::chrono::steady_clock::now();
    start_woken(13, kLocalHost, server.port());
    EXPECT_TRUE(prints("websocket remote wakeup wait ip update timeout!\nws init ip: 0-0\n"));
    // 300 attempts, with 10 milliseconds after each but the last.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2990ms);
    bring_network_up();
    const LocalProgram local;
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
}

TEST_F(TheHandOff, ConnectsOnRequestWithoutAnEarlyConnection) {
    const RemoteServer server;
    start();
    const LocalProgram local;
    local.ask(kLocalHost, server.port());
    Descriptor here = local.receive();
    const Descriptor there = server.accept_one();
    expect_connected(here, there);
    expect_sole_owner(std::move(here), there);
    EXPECT_TRUE(prints(request_line(kLocalHost, server.port(), 0)));
    EXPECT_TRUE(prints("ws ls polling sendfd ret = 8, fd:"));
}

TEST_F(TheHandOff, ServesOneRequestAfterTheOther) {
    const RemoteServer server;
    start();
    const LocalProgram local;
    for (int count = 0; count < 3; ++count) {
        local.ask(kLocalHost, server.port());
        expect_connected(local.receive(), server.accept_one());
    }
}

TEST_F(TheHandOff, DropsTheEarlyConnectionOnRequest) {
    const RemoteServer server;
    start_woken(1, kLocalHost, server.port());
    bring_network_up();
    const Descriptor early = server.accept_one();
    ASSERT_TRUE(prints("ws ls connected remote:"));
    const LocalProgram local;
    local.drop();
    EXPECT_TRUE(at_end(early.get()));
    EXPECT_TRUE(prints("ws ls recv[1] ----> len:1\n"));
    EXPECT_FALSE(local.gets_something(50ms));
    const std::size_t mark = daemon().mark();
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
    EXPECT_TRUE(prints(request_line(kLocalHost, server.port(), 0), mark));
    EXPECT_TRUE(prints("ws ls polling sendfd ret = 8, fd:", mark));
}

TEST_F(TheHandOff, ChangesToAnotherServerOnRequest) {
    const RemoteServer first;
    const RemoteServer second;
    start_woken(3, kLocalHost, first.port());
    bring_network_up();
    const Descriptor early = first.accept_one();
    ASSERT_TRUE(prints("ws ls connected remote:"));
    const LocalProgram local;
    local.ask(kLocalHost, second.port());
    EXPECT_TRUE(at_end(early.get()));
    expect_connected(local.receive(), second.accept_one());
    EXPECT_TRUE(prints(request_line(kLocalHost, second.port(), 3)));
    EXPECT_TRUE(prints("ws ls polling sendfd ret = 8, fd:"));
}

TEST_F(TheHandOff, ReplacesALocalProgramByTheNext) {
    const RemoteServer server;
    start();
    const LocalProgram first;
    EXPECT_TRUE(prints("===========client_sock:"));
    const std::size_t mark = daemon().mark();
    const LocalProgram second;
    EXPECT_TRUE(prints("===========client_sock:", mark));
    EXPECT_TRUE(first.ended());
    second.ask(kLocalHost, server.port());
    expect_connected(second.receive(), server.accept_one());
}

TEST_F(TheHandOff, ActsOnTheOldBytesWhenARequestIsShort) {
    const RemoteServer server;
    start();
    const LocalProgram local;
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
    local.send_bytes({0});  // the previous address and port
    expect_connected(local.receive(), server.accept_one());
    EXPECT_TRUE(prints("ws ls recv[0] ----> len:1\n"));
}

TEST_F(TheHandOff, ActsAgainOnTheLastRequestWhenTheLocalProgramLeaves) {
    const RemoteServer server;
    start();
    LocalProgram local;
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
    local.leave();
    EXPECT_TRUE(prints("client close\nws ls recv[0] ----> len:0\n"));
    EXPECT_TRUE(prints("ws ls polling sendfd ret = -1, fd:"));  // there is nobody to send it to
    EXPECT_TRUE(at_end(server.accept_one().get()));
}

TEST_F(TheHandOff, TakesALeaveWithoutAWordAsARequestForNoAddress) {
    start();
    LocalProgram().leave();
    EXPECT_TRUE(prints("client close\nws ls recv[0] ----> len:0\n"));
    EXPECT_TRUE(prints("ws ls recv websocketip, 0:0, 0\n"));
    // The dead connection goes to whoever is there when it is noticed: nobody.
    EXPECT_TRUE(prints("ws ls polling sendfd ret = -1, fd:"));
    // The next one is served.
    const RemoteServer server;
    const LocalProgram local;
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
}

TEST_F(TheHandOff, IgnoresOtherCommands) {
    const RemoteServer server;
    start_woken(13, kLocalHost, server.port());
    bring_network_up();
    const Descriptor there = server.accept_one();
    ASSERT_TRUE(prints("ws ls connected remote:"));
    const LocalProgram local;
    local.send_bytes(joined({2}, pattern(127)));
    EXPECT_TRUE(prints("ws ls recv[2] ----> len:128\n"));
    local.send_bytes({0xFF});
    EXPECT_TRUE(prints("ws ls recv[-1] ----> len:1\n"));
    EXPECT_FALSE(local.gets_something(50ms));
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), there);
}

TEST_F(TheHandOff, GivesUpAServerThatDoesNotAnswerAfterSixSeconds) {
    RemoteServer server(0);
    server.stop_answering();
    start();
    LocalProgram local;
    ASSERT_TRUE(prints("===========client_sock:"));
    const std::size_t before = sockets();
    const auto begin = std::chrono::steady_clock::now();
    local.ask(kLocalHost, server.port());
    ASSERT_TRUE(wait_until([&] { return sockets() == before + 1; }));
    const std::size_t mark = daemon().mark();
    ASSERT_TRUE(wait_until([&] { return sockets() == before; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 5990ms);
    EXPECT_EQ(daemon().output().substr(mark), "");  // silently
    EXPECT_FALSE(local.gets_something(0ms));
    // Idle again, with the request still pending.
    const RemoteServer other;
    local.ask(kLocalHost, other.port());
    expect_connected(local.receive(), other.accept_one());
    EXPECT_TRUE(prints(request_line(kLocalHost, other.port(), 0)));
}

TEST_F(TheHandOff, HandsARefusedConnectionOverOnePassLater) {
    std::uint16_t closed_port = 0;
    {
        const RemoteServer gone;
        closed_port = gone.port();
    }
    start();
    const LocalProgram local;
    local.ask(kLocalHost, closed_port);
    // The client notices at once: it gets a dead connection.
    const Descriptor here = local.receive();
    ASSERT_GE(here.get(), 0);
    EXPECT_LT(send(here.get(), "x", 1, MSG_NOSIGNAL), 0);
}

TEST_F(TheHandOff, ReportsAServerThatCannotBeReachedAndServesTheNext) {
    start();
    const LocalProgram local;
    local.ask({203, 0, 113, 9}, 8080);  // no route leads there
    EXPECT_TRUE(prints("ws ls connect server 203.0.113.9:8080 failed!\n"));
    const RemoteServer server;
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
    EXPECT_TRUE(prints(request_line(kLocalHost, server.port(), 0)));
}

TEST_F(TheHandOff, NamesItsThreadAndServesAfterTheBusIsBusy) {
    start();
    EXPECT_TRUE(daemon().wait_for_thread("webpreinit"));
    const RemoteServer server;
    const LocalProgram local;
    chip().ignore(0x84);
    peer().send(method_request("method.quon.mcu.get.time"));
    local.ask(kLocalHost, server.port());
    expect_connected(local.receive(), server.accept_one());
    EXPECT_TRUE(peer().receive());
}

TEST_F(TheHandOff, GivesTheChildrenOfTheDaemonNoneOfItsSockets) {
    const RemoteServer server;
    start_woken(13, kLocalHost, server.port());
    bring_network_up();
    const Descriptor there = server.accept_one();
    ASSERT_TRUE(prints("ws ls connected remote:"));
    const LocalProgram local;
    ASSERT_TRUE(prints("===========client_sock:"));
    EXPECT_EQ(
        text_of(peer().call("method.quon.mcu.get.popen", bytes_of("ls /proc/self/fd")).payload()),
        "0\n1\n2\n3\n");
}

}  // namespace
}  // namespace quon::test
