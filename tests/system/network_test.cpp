// The chip's network events and what they make of wlan0 and of the resolver's file.
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kResolver[] = "/etc/resolv.conf";
constexpr char kUpdate[] = "hi3861l_update_ip_info";

struct Network {
    Bytes ip{192, 168, 1, 20};
    Bytes netmask{255, 255, 255, 0};
    Bytes gateway{192, 168, 1, 1};
    Bytes mac{2, 0, 0, 0, 0, 1};
    Bytes dns1{8, 8, 8, 8};
    Bytes dns2{1, 1, 1, 1};

    [[nodiscard]] Bytes record() const {
        return joined(joined(joined(ip, netmask), joined(gateway, mac)), joined(dns1, dns2));
    }
};

std::string words(const std::string& text) {
    std::string line;
    for (const std::string& word : words_of(text)) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

std::string interface() {
    return words(run({"ifconfig", "wlan0"}).out);
}

std::string default_routes() {
    return words(run({"/bin/sh", "-c", "route -n | grep '^0\\.0\\.0\\.0'"}).out);
}

class TheNetwork : public SystemTest {
  protected:
    static constexpr std::uint8_t kEvent = 0x03;

    void raise(const Network& network, std::uint8_t state = 1) {
        chip().send(kEvent, joined(Bytes{0, state}, network.record()));
    }

    // An event that is queued is done with, the update before it included.
    void raise_and_wait(const Network& network, std::uint8_t state = 1) {
        raise(network, state);
        const Bytes expected = padded(joined(Bytes{0, state}, network.record()), 33);
        ASSERT_TRUE(wait_until([&] {
            const BusRecord event = peer().call("method.quon.mcu.get.event.info");
            return event.result == 33 && event.payload() == expected;
        }));
    }

    // The commands that the update logged since the mark, in order.
    [[nodiscard]] std::vector<std::string> commands(std::size_t mark) {
        std::vector<std::string> all;
        for (const LogLine& line : daemon().log(mark)) {
            if (line.level == 'I' && line.tag == kDriverTag && line.function == kUpdate) {
                all.push_back(line.text.substr(0, line.text.find('\n')));
            }
        }
        return all;
    }

    std::string wifi_text(std::size_t index) {
        const Bytes record = peer().call("method.quon.mcu.get.wifi.info").payload();
        const std::string text = text_of(slice(record, index * 32, 32));
        return text.substr(0, text.find('\0'));
    }
};

TEST_F(TheNetwork, TakesOnWhatTheChipReports) {
    start();
    raise_and_wait(Network{});
    EXPECT_NE(interface().find("inet 192.168.1.20 netmask 255.255.255.0"), std::string::npos)
        << interface();
    EXPECT_NE(interface().find("ether 02:00:00:00:00:01"), std::string::npos) << interface();
    EXPECT_NE(interface().find("<UP,"), std::string::npos) << interface();
    EXPECT_EQ(default_routes(), "0.0.0.0 192.168.1.1 0.0.0.0 UG 0 0 0 wlan0");
    EXPECT_EQ(content_of(kResolver),
              "options timeout:1\n"
              "nameserver 8.8.8.8 # wlan0\n"
              "nameserver 1.1.1.1 # wlan0\n"
              "nameserver 192.168.1.1 # wlan0\n");
}

TEST_F(TheNetwork, RunsItsCommandsInOneOrder) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    Network network;
    network.mac = {0x02, 0x0A, 0x00, 0xB0, 0x00, 0x05};
    raise_and_wait(network);
    EXPECT_EQ(commands(mark), (std::vector<std::string>{
                                  "ifconfig wlan0 down",
                                  "ifconfig wlan0 hw ether 2:a:0:b0:0:5",
                                  "ifconfig wlan0 192.168.1.20 netmask 255.255.255.0",
                                  "route add default gw 192.168.1.1 dev wlan0",
                                  "ifconfig wlan0 up",
                              }));
}

TEST_F(TheNetwork, AppliesAMacOnceAndAgainOnlyWhenItChanges) {
    start();
    print_every_level();
    Network network;
    raise_and_wait(network);
    std::size_t mark = daemon().mark();
    network.ip = {192, 168, 1, 30};
    raise_and_wait(network);
    EXPECT_EQ(commands(mark), (std::vector<std::string>{
                                  "ifconfig wlan0 down",
                                  "ifconfig wlan0 192.168.1.30 netmask 255.255.255.0",
                                  "route add default gw 192.168.1.1 dev wlan0",
                                  "ifconfig wlan0 up",
                              }));
    EXPECT_NE(interface().find("inet 192.168.1.30"), std::string::npos) << interface();
    mark = daemon().mark();
    network.mac = {2, 0, 0, 0, 0, 2};
    raise_and_wait(network);
    ASSERT_GT(commands(mark).size(), 1U);
    EXPECT_EQ(commands(mark)[1], "ifconfig wlan0 hw ether 2:0:0:0:0:2");
    EXPECT_NE(interface().find("ether 02:00:00:00:00:02"), std::string::npos) << interface();
}

TEST_F(TheNetwork, AppliesTheFirstMacEvenWhenTheChipReportedItAtTheStart) {
    start_chip();
    chip().answer(0x81, Network{}.record());
    start_daemon();
    wait_until_started();
    print_every_level();
    const std::size_t mark = daemon().mark();
    raise_and_wait(Network{});
    ASSERT_GT(commands(mark).size(), 1U);
    EXPECT_EQ(commands(mark)[1], "ifconfig wlan0 hw ether 2:0:0:0:0:1");
}

TEST_F(TheNetwork, StopsAtAMacOfZeros) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    Network network;
    network.mac = Bytes(6, 0);
    raise_and_wait(network);
    EXPECT_EQ(commands(mark), (std::vector<std::string>{"ifconfig wlan0 down"}));
    EXPECT_TRUE(daemon().has_logged({'E', kDriverTag, kUpdate, expected::kInvalidMacLine}, mark));
    EXPECT_EQ(interface().find("<UP"), std::string::npos) << interface();  // it stays down
    EXPECT_EQ(content_of(kResolver), "");
    EXPECT_EQ(wifi_text(1), "0.0.0.0");  // the record was not taken over
}

TEST_F(TheNetwork, KeepsItsRecordWhenALaterMacIsZero) {
    start();
    raise_and_wait(Network{});
    Network network;
    network.mac = Bytes(6, 0);
    network.ip = {10, 0, 0, 9};
    raise_and_wait(network);
    EXPECT_EQ(wifi_text(1), "192.168.1.20");
    EXPECT_TRUE(wait_for_log({'E', kDriverTag, kUpdate, expected::kInvalidMacLine}));
}

TEST_F(TheNetwork, IsUpdatedOnlyInTheStatesOneAndTwo) {
    start();
    print_every_level();
    for (const std::uint8_t state : Bytes{0, 3, 255}) {
        SCOPED_TRACE(static_cast<int>(state));
        const std::size_t mark = daemon().mark();
        raise_and_wait(Network{}, state);  // queued all the same
        EXPECT_TRUE(commands(mark).empty());
    }
    EXPECT_EQ(content_of(kResolver), "");
    for (const std::uint8_t state : Bytes{1, 2}) {
        SCOPED_TRACE(static_cast<int>(state));
        const std::size_t mark = daemon().mark();
        raise_and_wait(Network{}, state);
        EXPECT_FALSE(commands(mark).empty());
    }
}

TEST_F(TheNetwork, WritesEachNameServerOnce) {
    struct Row {
        Bytes dns1;
        Bytes dns2;
        Bytes gateway;
        std::vector<std::string> servers;
    };
    const Bytes none(4, 0);
    const Bytes a{10, 1, 1, 1};
    const Bytes b{10, 2, 2, 2};
    const Bytes c{192, 168, 1, 1};
    start();
    for (const Row& row : std::vector<Row>{
             // primary, secondary, gateway, lines
             {a, b, c, {"10.1.1.1", "10.2.2.2", "192.168.1.1"}},
             {a, a, c, {"10.1.1.1", "192.168.1.1"}},
             {none, none, c, {"192.168.1.1"}},
             {none, b, c, {"10.2.2.2", "192.168.1.1"}},
             {a, none, c, {"10.1.1.1", "192.168.1.1"}},
             {c, b, c, {"192.168.1.1", "10.2.2.2"}},
             {a, c, c, {"10.1.1.1", "192.168.1.1"}},
             {c, c, c, {"192.168.1.1"}},
             {a, b, none, {"10.1.1.1", "10.2.2.2"}},
             {none, none, none, {}},
             {{255, 255, 255, 255}, none, none, {"255.255.255.255"}},
         }) {
        Network network;
        network.dns1 = row.dns1;
        network.dns2 = row.dns2;
        network.gateway = row.gateway;
        raise_and_wait(network);
        std::string expected = "options timeout:1\n";
        for (const std::string& server : row.servers) {
            expected += "nameserver " + server + " # wlan0\n";
        }
        EXPECT_EQ(content_of(kResolver), expected);
    }
}

TEST_F(TheNetwork, EmptiesALongerResolverFileFirst) {
    std::ofstream(kResolver) << std::string(500, '#') << "\n";
    start();
    Network network;
    network.dns1 = network.dns2 = network.gateway = Bytes(4, 0);
    raise_and_wait(network);
    EXPECT_EQ(content_of(kResolver), "options timeout:1\n");
}

TEST_F(TheNetwork, GoesOnWithoutAResolverFile) {
    start();
    ASSERT_EQ(mount(nullptr, kResolver, nullptr,
                    MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV, nullptr),
              0);
    raise_and_wait(Network{});
    EXPECT_TRUE(
        wait_for_log({'E', kDriverTag, "hi3861l_update_dns", expected::kNoResolverFileLine}));
    EXPECT_EQ(content_of(kResolver), "");
    EXPECT_EQ(wifi_text(1), "192.168.1.20");  // the record was taken over
    ASSERT_EQ(
        mount(nullptr, kResolver, nullptr, MS_REMOUNT | MS_BIND | MS_NOSUID | MS_NODEV, nullptr),
        0);
}

TEST_F(TheNetwork, DoesNotMindFailingCommands) {
    mkdir("/tmp/shim", 0755);
    for (const std::string tool : {"ifconfig", "route"}) {
        const std::string path = "/tmp/shim/" + tool;
        std::ofstream(path) << "#!/bin/sh\necho " + tool + " $@ >>/tmp/calls\n"
                            << "ls /proc/self/fd | xargs >>/tmp/fds\nexit 1\n";
        chmod(path.c_str(), 0755);
    }
    start_chip();
    start_daemon({{"PATH", std::string("/tmp/shim:") + std::getenv("PATH")}});
    wait_until_started();
    // A descriptor is kept from commands only a moment after it is made, so none is made meanwhile.
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: 0-0\n"));
    EXPECT_EQ(peer().call("method.quon.mcu.get.time").result, 10);
    raise_and_wait(Network{});
    EXPECT_EQ(content_of("/tmp/calls"),
              "ifconfig wlan0 up\n"  // at the start
              "ifconfig wlan0 down\n"
              "ifconfig wlan0 hw ether 2:0:0:0:0:1\n"
              "ifconfig wlan0 192.168.1.20 netmask 255.255.255.0\n"
              "route add default gw 192.168.1.1 dev wlan0\n"
              "ifconfig wlan0 up\n");
    EXPECT_EQ(wifi_text(1), "192.168.1.20");
    EXPECT_EQ(daemon().output().find("failed"), std::string::npos) << daemon().output();
    // None of the daemon's descriptors reached them; the last is the listing's own.
    EXPECT_EQ(words(content_of("/tmp/fds")), "0 1 2 3 0 1 2 3 0 1 2 3 0 1 2 3 0 1 2 3 0 1 2 3");
}

TEST_F(TheNetwork, IsReportedAsTexts) {
    start_chip();
    chip().answer(0x81, Bytes(26, 0));
    chip().answer(0x82, Bytes(71, 0));
    start_daemon();
    wait_until_started();
    const std::size_t frames = chip().received().size();
    EXPECT_EQ(wifi_text(0), "00:00:00:00:00:00");
    EXPECT_EQ(wifi_text(1), "0.0.0.0");
    EXPECT_EQ(wifi_text(2), "0.0.0.0");
    EXPECT_EQ(wifi_text(3), "");
    EXPECT_EQ(wifi_text(4), "");
    EXPECT_EQ(chip().received().size(), frames);
    Network network;
    network.ip = {255, 255, 255, 254};
    network.netmask = {255, 255, 255, 0};
    network.mac = {0x02, 0xAB, 0x0C, 0xD0, 0x0E, 0xF1};
    network.dns2 = Bytes(4, 0);
    raise_and_wait(network);
    const BusRecord result = peer().call("method.quon.mcu.get.wifi.info");
    EXPECT_EQ(result.result, 160);
    const auto text = [](const std::string& word) { return padded(bytes_of(word), 32); };
    EXPECT_EQ(text_of(result.payload()),
              text_of(joined(joined(text("02:ab:0c:d0:0e:f1"), text("255.255.255.254")),
                             joined(joined(text("192.168.1.1"), text("8.8.8.8")), text("")))));
}

TEST_F(TheNetwork, IsReportedWithTheMacOfTheWakeUpInfoFirst) {
    start();
    raise_and_wait(Network{});
    EXPECT_EQ(wifi_text(0), "02:00:00:00:00:01");
    Bytes wakeup(71, 0);
    wakeup[59] = 0x0F;  // one byte of the six is enough
    call_answered("method.quon.mcu.get.wakeup.info", {}, 0x82, wakeup);
    EXPECT_EQ(wifi_text(0), "00:00:00:00:00:0f");
    call_answered("method.quon.mcu.get.wakeup.info", {}, 0x82, Bytes(71, 0));
    EXPECT_EQ(wifi_text(0), "02:00:00:00:00:01");
}

TEST_F(TheNetwork, ThatTheChipReportedAtTheStartIsKnownButNotApplied) {
    start_chip();
    chip().answer(0x81, Network{}.record());
    start_daemon();
    wait_until_started();
    EXPECT_EQ(wifi_text(1), "192.168.1.20");
    EXPECT_EQ(interface().find("192.168.1.20"), std::string::npos) << interface();
    EXPECT_EQ(content_of(kResolver), "");
}

TEST_F(TheNetwork, TakesAShortEventAsEndingInZeros) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    chip().send(kEvent, {0, 1, 10, 0, 0, 1});  // no MAC in it
    EXPECT_TRUE(wait_for_log({'E', kDriverTag, kUpdate, expected::kInvalidMacLine}, mark));
    EXPECT_EQ(commands(mark), (std::vector<std::string>{"ifconfig wlan0 down"}));
}

}  // namespace
}  // namespace quon::test
