// The message bus as its socket shows it.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <set>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kContext[] = "method.quon.mcu.get.allwakeup.info";  // asks nothing of the chip
constexpr char kPopen[] = "method.quon.mcu.get.popen";

class TheBus : public SystemTest {};

TEST_F(TheBus, WritesAResultOctetByOctetAsDocumented) {
    start();
    Bytes request(4568, 0);
    const auto put = [&request](std::size_t offset, const Bytes& bytes) {
        std::copy(bytes.begin(), bytes.end(),
                  request.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    put(0, from_hex("a5 5a a5 5a"));
    put(4, from_hex("78 56 34 12"));
    put(8, bytes_of("the.caller"));
    put(72, bytes_of("any.name"));
    put(136, from_hex("07 00 00 00"));  // every type but 0 is a method
    put(140, bytes_of("method.quon.mcu.get.popen"));
    put(204, from_hex("ff ff ff ff"));  // not read
    put(208, from_hex("0a 00 00 00"));
    put(212, bytes_of("printf 0123456789"));
    peer().send_octets(request);
    Bytes expected(4568, 0);
    request.swap(expected);
    std::fill(request.begin(), request.end(), std::uint8_t{0});
    put(0, from_hex("a5 5a a5 5a"));
    put(4, from_hex("78 56 34 12"));
    put(8, bytes_of("any.name"));
    put(72, bytes_of("the.caller"));
    put(136, from_hex("01 00 00 00"));
    put(140, bytes_of("method.quon.mcu.get.popen"));
    put(204, from_hex("0a 00 00 00"));
    put(208, from_hex("0a 00 00 00"));
    put(212, bytes_of("0123456789"));
    const std::optional<Bytes> result = peer().receive_octets();
    ASSERT_TRUE(result);
    EXPECT_EQ(to_hex(*result), to_hex(request));
}

TEST_F(TheBus, WritesAFailureAsResultWithoutData) {
    start();
    const BusRecord result = peer().call("method.quon.mcu.get.event.info");
    EXPECT_EQ(result.result, -1);
    EXPECT_EQ(result.data_len, 0U);
    EXPECT_EQ(result.type, 1U);
    EXPECT_EQ(result.src_name, "quon.mcu.daemon");
    EXPECT_EQ(result.dst_name, "system.test");
}

TEST_F(TheBus, AnswersTenRequestsSentBackToBack) {
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

TEST_F(TheBus, ReturnsResultsInTheOrderInWhichTheHandlersFinish) {
    start();
    ASSERT_EQ(mkfifo("/tmp/first", 0600), 0);
    ASSERT_EQ(mkfifo("/tmp/second", 0600), 0);
    peer().send(method_request(kPopen, bytes_of("cat /tmp/first"), 1));
    peer().send(method_request(kPopen, bytes_of("cat /tmp/second"), 2));
    peer().send(method_request(kPopen, bytes_of("echo third"), 3));
    EXPECT_EQ(peer().receive()->id, 3U);
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/second", "2"); }));
    EXPECT_EQ(peer().receive()->id, 2U);
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/first", "1"); }));
    EXPECT_EQ(peer().receive()->id, 1U);
}

TEST_F(TheBus, ServesFiftyConnectionsAtOnce) {
    start();
    std::vector<std::unique_ptr<BusPeer>> peers;
    for (int count = 0; count < 50; ++count) {
        peers.push_back(std::make_unique<BusPeer>());
    }
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

TEST_F(TheBus, DropsARecordWithTheWrongMagicAndKeepsTheConnection) {
    start();
    print_every_level();
    BusRecord record = method_request(kContext);
    record.head = 0xDEADBEEF;
    peer().send(record);
    EXPECT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread",
                              "read msg head is invalid, ret = 4568 head:deadbeef\n"}));
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, SaysNothingOfAWrongMagicAtTheDefaultLevel) {
    start();
    BusRecord record = method_request(kContext);
    record.head = 0;
    peer().send(record);
    EXPECT_EQ(peer().call(kContext).result, 400);
    EXPECT_EQ(daemon().output().find("head is invalid"), std::string::npos);
}

TEST_F(TheBus, TakesAShortRecordAsItStands) {
    start();
    const Bytes whole = method_request(kPopen, bytes_of("echo short"), 5).encoded();
    peer().send_octets(slice(whole, 0, 212 + 10));
    const std::optional<BusRecord> result = peer().receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 5U);
    EXPECT_EQ(text_of(result->payload()), "short\n");
}

TEST_F(TheBus, TakesASplitRecordAsAShortOneAndRejectsItsRest) {
    start();
    print_every_level();
    Bytes whole = method_request(kPopen, bytes_of("echo short"), 6).encoded();
    whole[1000] = 0x44;
    whole[1001] = 0x33;
    whole[1002] = 0x22;
    whole[1003] = 0x11;
    peer().send_octets(slice(whole, 0, 1000));
    EXPECT_EQ(peer().receive()->id, 6U);
    peer().send_octets(slice(whole, 1000, 3568));
    EXPECT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread",
                              "read msg head is invalid, ret = 3568 head:11223344\n"}));
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, RejectsFewerOctetsThanAMagic) {
    start();
    print_every_level();
    peer().send_octets({0xA5});
    EXPECT_TRUE(wait_for_log(
        {'W', kBusTag, "Dbus_ReadWrite_Thread", "read msg head is invalid, ret = 1 head:a5\n"}));
    peer().send_octets({0xA5, 0x5A, 0xA5});
    EXPECT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread",
                              "read msg head is invalid, ret = 3 head:a55aa5\n"}));
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, IgnoresABareMagic) {
    start();
    peer().send_octets({0xA5, 0x5A, 0xA5, 0x5A});
    ASSERT_TRUE(peer().wait_until_read());  // what follows is then another read
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, DropsWhatNoMemberFits) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    const std::size_t frames = chip().received().size();
    peer().send(method_request("method.quon.mcu.get.nothing"));
    peer().send(method_request("method.quon.mcu.get.time "));
    peer().send(method_request("method.quon.mcu.get.tim"));
    peer().send(method_request(""));
    peer().send(method_request("signal.quon.mcu.set.wdg.feed"));  // the other kind
    peer().notify("method.quon.mcu.get.time");
    peer().notify("signal.quon.mcu.set.nothing");
    EXPECT_EQ(peer().call(kContext).result, 400);  // the only result on the connection
    EXPECT_FALSE(peer().receive(50ms));
    EXPECT_EQ(chip().received().size(), frames);
    EXPECT_TRUE(daemon().log(mark).empty()) << daemon().log(mark).front();
}

TEST_F(TheBus, AcceptsEachServiceInItsOwnKindAlone) {
    constexpr std::string_view kMethods[] = {"get.ver",
                                             "get.wakeup.info",
                                             "get.allwakeup.info",
                                             "get.time",
                                             "get.battery.status",
                                             "get.pir.info",
                                             "get.wifi.status",
                                             "get.wifi.info",
                                             "get.wifi.scanf.info",
                                             "get.event.info",
                                             "upg.start",
                                             "upg.transmit",
                                             "upg.finish",
                                             "get.store.params",
                                             "get.wdg.state",
                                             "get.alarm",
                                             "get.err.report",
                                             "get.system",
                                             "get.popen",
                                             "get.log.profile",
                                             "get.soc.min.ver",
                                             "get.status.info",
                                             "get.config.info",
                                             "get.bit.err.rate",
                                             "get.socup.time",
                                             "get.wifi.extended.status",
                                             "get.soc.time.list",
                                             "get.soc.time.cur.info"};
    constexpr std::string_view kSignals[] = {"set.time",
                                             "set.led",
                                             "set.pir.switch",
                                             "set.pir.sensitivity",
                                             "set.pir.info",
                                             "set.wifi.connect",
                                             "set.wifi.disconnect",
                                             "set.wifi.keepalive",
                                             "set.wifi.extended.info",
                                             "set.system.state",
                                             "set.store.params",
                                             "set.wdg.state",
                                             "set.wdg.period",
                                             "set.wdg.feed",
                                             "set.alarm",
                                             "set.crash.test",
                                             "set.ap.start",
                                             "set.ap.stop",
                                             "set.log.profile",
                                             "set.uart.switch",
                                             "set.wakeup.info",
                                             "set.charge.auto.poweron",
                                             "set.cmd",
                                             "set.tamper.info",
                                             "set.soc.time.info"};
    static_assert(std::size(kMethods) == 28 && std::size(kSignals) == 25);
    start();
    const std::size_t frames = chip().received().size();
    const std::size_t mark = daemon().mark();
    for (const std::string_view name : kMethods) {
        peer().notify("method.quon.mcu." + std::string(name));
    }
    for (const std::string_view name : kSignals) {
        peer().send(method_request("signal.quon.mcu." + std::string(name)));
    }
    EXPECT_EQ(peer().call(kContext).result, 400);  // the only result
    EXPECT_FALSE(peer().receive(50ms));
    EXPECT_EQ(chip().received().size(), frames);
    EXPECT_EQ(daemon().output().substr(mark), "");
    for (const std::string_view name : kMethods) {  // and each is there
        EXPECT_NO_THROW(peer().call("method.quon.mcu." + std::string(name))) << name;
    }
}

TEST_F(TheBus, ReadsNamesOfSixtyFourOctetsWithoutAnEnd) {
    start();
    Bytes record = method_request(kContext, {}, 9).encoded();
    for (const std::size_t offset : {8U, 72U}) {
        std::fill_n(record.begin() + static_cast<std::ptrdiff_t>(offset), 64, std::uint8_t{'n'});
    }
    peer().send_octets(record);
    const std::optional<BusRecord> result = peer().receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 9U);
    EXPECT_EQ(result->result, 400);
    EXPECT_EQ(result->name, kContext);
    std::fill_n(record.begin() + 140, 64, std::uint8_t{'n'});
    peer().send_octets(record);
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, PassesTheDataLengthOnUnchecked) {
    start();
    BusRecord request = method_request(kContext, {}, 8);
    for (const std::uint32_t length : {0U, 4357U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        request.data_len = length;
        peer().send(request);
        EXPECT_EQ(peer().receive()->result, 400);
    }
}

TEST_F(TheBus, ServesOthersWhileAPeerNeverReads) {
    start();
    constexpr std::uint32_t kRequests = 200;  // far more than a socket holds
    BusPeer silent;
    for (std::uint32_t id = 1; id <= kRequests; ++id) {
        silent.send(method_request(kContext, {}, id));
    }
    for (int count = 0; count < 20; ++count) {
        BusPeer other;
        EXPECT_EQ(other.call(kContext).result, 400);
    }
    // Nothing was lost for the one that reads late.
    std::set<std::uint32_t> answered;
    while (const std::optional<BusRecord> result =
               silent.receive(answered.size() < kRequests ? kLongEnough : 0ms)) {
        EXPECT_EQ(result->result, 400);
        answered.insert(result->id);
    }
    EXPECT_EQ(answered.size(), kRequests);
}

TEST_F(TheBus, HoldsManyRequestsInFlight) {
    start();
    constexpr std::uint32_t kRequests = 200;
    chip().ignore(0x84);
    const std::size_t before = chip().count(0x84);
    for (std::uint32_t id = 1; id <= kRequests; ++id) {
        peer().send(method_request("method.quon.mcu.get.time", {}, id));
    }
    ASSERT_TRUE(chip().wait_for(0x84, before + 1));  // the others wait behind this exchange
    ASSERT_TRUE(peer().wait_until_read());
    EXPECT_EQ(chip().count(0x84), before + 1);
    chip().answer_as_usual(0x84);
    chip().send(0x84, pattern(10));
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

TEST_F(TheBus, OutlivesManyPeersThatSayNothing) {
    start();
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: "));
    const std::size_t descriptors = daemon().descriptors().size();
    for (int count = 0; count < 200; ++count) {
        const BusPeer mute;
    }
    expect_still_serving();
    EXPECT_TRUE(wait_until([&] { return daemon().descriptors().size() <= descriptors; }));
}

TEST_F(TheBus, ListensNoMoreAfterAFailedAcceptButServesItsConnections) {
    start();
    EXPECT_EQ(peer().call(kContext).result, 400);
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: "));
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
    EXPECT_TRUE(wait_for_log({'E', kDaemonTag, "popen_call", "popen error:echo x\n"}));
    EXPECT_EQ(peer().call("method.quon.mcu.get.system", bytes_of("exit 1")).payload(),
              bytes_of("256"));
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
    EXPECT_EQ(peer().call(kContext).result, 400);
    const BusPeer unheard;
    unheard.send(method_request(kContext));
    EXPECT_FALSE(unheard.receive(100ms));
}

TEST_F(TheBus, ReportsAResultWhosePeerHasGone) {
    start();
    ASSERT_EQ(mkfifo("/tmp/hold", 0600), 0);
    {
        const BusPeer leaving;
        leaving.send(method_request(kPopen, bytes_of("cat /tmp/hold")));
        ASSERT_TRUE(daemon().wait_for_thread("n.mcu.get.popen"));
    }
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/hold", "late"); }));
    EXPECT_TRUE(daemon().process().wait_for_text("Dbus_ReadWrite_Process Write result failed\n"));
    expect_still_serving();
}

TEST_F(TheBus, NeverSendsALateResultToAnotherPeer) {
    start();
    ASSERT_EQ(mkfifo("/tmp/hold", 0600), 0);
    {
        const BusPeer leaving;
        leaving.send(method_request(kPopen, bytes_of("cat /tmp/hold"), 4711));
        ASSERT_TRUE(daemon().wait_for_thread("n.mcu.get.popen"));
    }
    std::vector<std::unique_ptr<BusPeer>> newcomers;
    for (int count = 0; count < 20; ++count) {
        newcomers.push_back(std::make_unique<BusPeer>());
        EXPECT_EQ(newcomers.back()->call(kContext).result, 400);
    }
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/hold", "late"); }));
    EXPECT_TRUE(daemon().process().wait_for_text("Dbus_ReadWrite_Process Write result failed\n"));
    for (const auto& newcomer : newcomers) {
        EXPECT_FALSE(newcomer->receive(0ms));
    }
}

TEST_F(TheBus, ClosesAConnectionWhosePeerHasClosed) {
    start();
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: "));
    const std::size_t sockets = daemon().descriptors().size();
    {
        std::vector<std::unique_ptr<BusPeer>> peers;
        for (int count = 0; count < 10; ++count) {
            peers.push_back(std::make_unique<BusPeer>());
            EXPECT_EQ(peers.back()->call(kContext).result, 400);
        }
        EXPECT_GE(daemon().descriptors().size(), sockets + 10);
    }
    EXPECT_TRUE(wait_until([&] { return daemon().descriptors().size() <= sockets; }));
    EXPECT_EQ(daemon().output().find("read socket data interrupt"), std::string::npos);
}

TEST_F(TheBus, AnswersAPeerThatHasShutDownItsSendingSide) {
    start();
    BusPeer half;
    half.send(method_request(kContext, {}, 3));
    EXPECT_TRUE(half.receive());
    shutdown(half.descriptor(), SHUT_WR);
    EXPECT_TRUE(half.ended());
}

TEST_F(TheBus, NamesItsThreads) {
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

TEST_F(TheBus, NamesAMessageThreadAfterTheEndOfItsMember) {
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

TEST_F(TheBus, TakesManyRequestsFromManyPeersWithoutLosingOne) {
    start();
    constexpr std::uint32_t kPeers = 20;
    constexpr std::uint32_t kEach = 25;
    std::vector<std::unique_ptr<BusPeer>> peers;
    for (std::uint32_t count = 0; count < kPeers; ++count) {
        peers.push_back(std::make_unique<BusPeer>());
    }
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
