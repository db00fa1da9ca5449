// Connections, threads and load on the message bus.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <set>

#include "descriptor.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kContext[] = "method.quon.mcu.get.allwakeup.info";  // does not query the chip
constexpr char kPopen[] = "method.quon.mcu.get.popen";

class TheBusServer : public SystemTest {};

TEST_F(TheBusServer, AnswersTenRequestsSentBackToBack) {
    start();
    for (std::uint32_t id = 1; id <= 10; ++id) {
        peer().send(method_request(kContext, {}, id));
    }
    std::set<std::uint32_t> answered;
    for (int count = 0; count < 10; ++count) {
        const std::optional<BusRecord> result = peer().receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->result, 400);
        answered.insert(result->id);
    }
    EXPECT_EQ(answered, (std::set<std::uint32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_FALSE(peer().receive(0ms));
}

TEST_F(TheBusServer, ReturnsResultsInTheOrderInWhichTheHandlersFinish) {
    start();
    ASSERT_EQ(mkfifo("/tmp/first", 0600), 0);
    ASSERT_EQ(mkfifo("/tmp/second", 0600), 0);
    peer().send(method_request(kPopen, bytes_of("cat /tmp/first"), 1));
    peer().send(method_request(kPopen, bytes_of("cat /tmp/second"), 2));
    peer().send(method_request(kPopen, bytes_of("echo third"), 3));
    EXPECT_EQ(peer().receive().value().id, 3U);
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/second", "2"); }));
    EXPECT_EQ(peer().receive().value().id, 2U);
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/first", "1"); }));
    EXPECT_EQ(peer().receive().value().id, 1U);
}

TEST_F(TheBusServer, ServesFiftyConnectionsAtOnce) {
    start();
    const std::vector<std::unique_ptr<BusPeer>> peers = connect_peers(50);
    for (std::uint32_t id = 0; id < 50; ++id) {
        peers[id]->send(method_request(kContext, {}, 100 + id));
        peers[id]->send(method_request(kPopen, bytes_of("echo " + std::to_string(id)), 200 + id));
    }
    for (std::uint32_t id = 0; id < 50; ++id) {
        std::set<std::uint32_t> answered;
        for (int count = 0; count < 2; ++count) {
            const std::optional<BusRecord> result = peers[id]->receive();
            ASSERT_TRUE(result);
            answered.insert(result->id);
            if (result->id == 200 + id) {
                EXPECT_EQ(text_of(result->payload()), std::to_string(id) + "\n");
            }
        }
        EXPECT_EQ(answered, (std::set<std::uint32_t>{100 + id, 200 + id}));
    }
}

TEST_F(TheBusServer, ServesOthersWhileAPeerNeverReads) {
    start();
    constexpr std::uint32_t kRequests = 200;  // far more than fit into a socket
    BusPeer silent;
    for (std::uint32_t id = 1; id <= kRequests; ++id) {
        silent.send(method_request(kContext, {}, id));
    }
    for (int count = 0; count < 20; ++count) {
        BusPeer other;
        EXPECT_EQ(other.call(kContext).result, 400);
    }
    // Waiting for the silent one takes one thread and no processor time.
    EXPECT_TRUE(
        wait_until([this] { return daemon().thread_names().count(".allwakeup.info") == 1; }));
    EXPECT_TRUE(wait_until([this] {
        const std::chrono::milliseconds used = daemon().processor_time();
        wait_until([] { return false; }, 300ms);
        return daemon().processor_time() - used < 30ms;
    }));
    // Nothing is lost for a late reader.
    std::set<std::uint32_t> answered;
    while (const std::optional<BusRecord> result =
               silent.receive(answered.size() < kRequests ? kLongEnough : 0ms)) {
        EXPECT_EQ(result->result, 400);
        answered.insert(result->id);
    }
    EXPECT_EQ(answered.size(), kRequests);
}

TEST_F(TheBusServer, HoldsManyRequestsInFlight) {
    start();
    constexpr std::uint32_t kRequests = 200;
    // The exchange with the longest time-out, 3000 ms, makes the others wait.
    chip().ignore(0x90);
    const BusPeer uploader;
    uploader.send(method_request("method.quon.mcu.upg.transmit", Bytes(265)));
    ASSERT_TRUE(chip().wait_for(0x90, 1));
    const std::size_t before = chip().count(0x84);
    for (std::uint32_t id = 1; id <= kRequests; ++id) {
        peer().send(method_request("method.quon.mcu.get.time", {}, id));
    }
    ASSERT_TRUE(peer().wait_until_read());
    EXPECT_EQ(chip().count(0x84), before);
    chip().send(0x90, {0, 0, 0, 0, 0xA1});
    std::set<std::uint32_t> answered;
    for (std::uint32_t count = 0; count < kRequests; ++count) {
        const std::optional<BusRecord> result = peer().receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->result, 10);
        answered.insert(result->id);
    }
    EXPECT_EQ(answered.size(), kRequests);
    EXPECT_EQ(chip().count(0x84), before + kRequests);
}

TEST_F(TheBusServer, OutlivesManyPeersThatSayNothing) {
    start();
    const std::size_t descriptors = daemon().descriptors().size();
    for (int count = 0; count < 200; ++count) {
        const BusPeer mute;
    }
    expect_still_serving();
    EXPECT_TRUE(wait_until([&] { return daemon().descriptors().size() <= descriptors; }));
}

TEST_F(TheBusServer, ListensNoMoreAfterAFailedAcceptButServesItsConnections) {
    start_chip();
    // Nobody joins the ended thread: intended.
    start_daemon({{"TSAN_OPTIONS", "report_signal_unsafe=0:report_thread_leaks=0"}});
    wait_until_started();
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: 0-0\n"));
    EXPECT_EQ(peer().call(kContext).result, 400);
    rlimit limit{};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    const rlimit none_left{.rlim_cur = 4, .rlim_max = limit.rlim_max};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, &none_left, nullptr), 0);
    const BusPeer refused;
    EXPECT_TRUE(daemon().process().wait_for_text("Cannot accept client connect request\n"));
    // A command's output needs a pipe; its status does not.
    const BusRecord failed = peer().call(kPopen, bytes_of("echo x"));
    EXPECT_EQ(failed.result, -1);
    EXPECT_EQ(failed.data_len, 0U);
    EXPECT_TRUE(wait_for_log(
        {'E', kDaemonTag, "popen_call", expected::kPopenFailed + std::string("echo x\n")}));
    EXPECT_EQ(peer().call("method.quon.mcu.get.system", bytes_of("exit 1")).payload(),
              bytes_of("256"));
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
    EXPECT_EQ(peer().call(kContext).result, 400);
    // Nobody waits in vain.
    const Descriptor late(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address{AF_UNIX, "/tmp/dbus-quon.mcu.daemon"};
    EXPECT_EQ(connect(late.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
              -1);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(TheBusServer, ClosesTheConnectionsThatWouldTakeTheLastDescriptors) {
    start();
    rlimit limit{};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    const rlimit few{.rlim_cur = 64, .rlim_max = limit.rlim_max};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<std::unique_ptr<BusPeer>> peers;
    for (int count = 0; count < 64; ++count) {
        peers.push_back(std::make_unique<BusPeer>());
    }
    EXPECT_TRUE(peers.back()->ended());
    EXPECT_TRUE(wait_for_log(
        {'E', kBusTag, "Dbus_Listen_Thread", "too many connections, closed the fd:48 limit:48\n"}));
    // The rest of the daemon still gets descriptors.
    EXPECT_EQ(peers.front()->call(kPopen, bytes_of("echo x")).payload(), bytes_of("x\n"));
    peers.clear();
    ASSERT_TRUE(wait_until([this] { return daemon().descriptors().size() < 32; }));
    expect_still_serving();
}

TEST_F(TheBusServer, ReportsAResultWhosePeerHasGone) {
    start();
    ASSERT_EQ(mkfifo("/tmp/hold", 0600), 0);
    {
        const BusPeer leaving;
        leaving.send(method_request(kPopen, bytes_of("cat /tmp/hold")));
        ASSERT_TRUE(daemon().wait_for_thread("n.mcu.get.popen"));
    }
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/hold", "late"); }));
    EXPECT_TRUE(daemon().process().wait_for_text(expected::kResultNotWritten));
    expect_still_serving();
}

TEST_F(TheBusServer, NeverSendsALateResultToAnotherPeer) {
    start();
    ASSERT_EQ(mkfifo("/tmp/hold", 0600), 0);
    {
        const BusPeer leaving;
        leaving.send(method_request(kPopen, bytes_of("cat /tmp/hold"), 4711));
        ASSERT_TRUE(daemon().wait_for_thread("n.mcu.get.popen"));
    }
    const std::vector<std::unique_ptr<BusPeer>> newcomers = connect_peers(20);
    for (const auto& newcomer : newcomers) {
        EXPECT_EQ(newcomer->call(kContext).result, 400);
    }
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/hold", "late"); }));
    EXPECT_TRUE(daemon().process().wait_for_text(expected::kResultNotWritten));
    for (const auto& newcomer : newcomers) {
        EXPECT_FALSE(newcomer->receive(0ms));
    }
}

TEST_F(TheBusServer, ClosesAConnectionWhosePeerHasClosed) {
    start();
    const std::size_t sockets = daemon().descriptors().size();
    {
        const std::vector<std::unique_ptr<BusPeer>> peers = connect_peers(10);
        for (const auto& each : peers) {
            EXPECT_EQ(each->call(kContext).result, 400);
        }
        EXPECT_GE(daemon().descriptors().size(), sockets + 10);
    }
    EXPECT_TRUE(wait_until([&] { return daemon().descriptors().size() <= sockets; }));
    EXPECT_EQ(daemon().output().find("read socket data interrupt"), std::string::npos);
}

TEST_F(TheBusServer, EndsTheConnectionOfAPeerThatHasShutDownItsSendingSide) {
    start();
    BusPeer half;
    half.send(method_request(kContext, {}, 3));
    EXPECT_TRUE(half.receive());
    shutdown(half.descriptor(), SHUT_WR);
    EXPECT_TRUE(half.ended());
}

TEST_F(TheBusServer, NamesItsThreads) {
    start();
    EXPECT_TRUE(daemon().wait_for_thread("quon.mcu.daemon"));  // listens
    EXPECT_TRUE(daemon().wait_for_thread("webpreinit"));
    const std::size_t listening = daemon().thread_names().count("quon.mcu.daemon");
    const BusPeer first;
    const BusPeer second;
    EXPECT_TRUE(wait_until([&] {  // a thread of that name for each connection
        return daemon().thread_names().count("quon.mcu.daemon") == listening + 2;
    }));
}

TEST_F(TheBusServer, NamesAMessageThreadAfterTheEndOfItsMember) {
    start();
    struct Row {
        const char* member;
        const char* thread;  // the member's last 15 characters
        std::uint8_t type;   // of the frame that the thread waits for
    };
    ASSERT_EQ(mkfifo("/tmp/hold", 0600), 0);
    for (const Row& row :
         {Row{"method.quon.mcu.get.ver", "uon.mcu.get.ver", 0x80},
          Row{"method.quon.mcu.get.time", "on.mcu.get.time", 0x84},
          Row{"method.quon.mcu.get.wifi.extended.status", "extended.status", 0xAA}}) {
        SCOPED_TRACE(row.member);
        chip().ignore(row.type);
        const std::size_t before = chip().received(row.type).size();
        peer().send(method_request(row.member));
        ASSERT_TRUE(chip().wait_for(row.type, before + 1));
        EXPECT_TRUE(daemon().thread_names().contains(row.thread));
        chip().send(row.type, {});
        EXPECT_TRUE(peer().receive());
    }
    peer().send(method_request("method.quon.mcu.get.system", bytes_of("cat /tmp/hold")));
    EXPECT_TRUE(daemon().wait_for_thread(".mcu.get.system"));
    EXPECT_TRUE(wait_until([] { return feed_fifo("/tmp/hold", "x"); }));
    EXPECT_TRUE(peer().receive());
}

TEST_F(TheBusServer, TakesManyRequestsFromManyPeersWithoutLosingOne) {
    start();
    constexpr std::uint32_t kPeers = 20;
    constexpr std::uint32_t kEach = 25;
    const std::vector<std::unique_ptr<BusPeer>> peers = connect_peers(kPeers);
    for (std::uint32_t id = 1; id <= kEach; ++id) {
        for (const auto& each : peers) {
            each->send(method_request(kContext, {}, id));
        }
    }
    for (const auto& each : peers) {
        std::set<std::uint32_t> answered;
        for (std::uint32_t count = 0; count < kEach; ++count) {
            const std::optional<BusRecord> result = each->receive();
            ASSERT_TRUE(result);
            answered.insert(result->id);
        }
        EXPECT_EQ(answered.size(), kEach);
    }
}

}  // namespace
}  // namespace quon::test
