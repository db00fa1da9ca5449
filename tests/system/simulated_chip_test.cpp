// The daemon with the simulated chip, which thinks for itself: whole stories.
#include "simulated_chip.h"

#include <iostream>

#include "hand_off_peers.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kTime[] = "method.quon.mcu.get.time";

class WithTheSimulatedChip : public SystemTest {
  protected:
    void start_with(const std::vector<std::string>& arguments = {}) {
        simulator_ = std::make_unique<SimulatedChip>(arguments);
        start_daemon();
        ASSERT_TRUE(sim().wait_for(0x80)) << daemon().output();
    }
    void TearDown() override {
        SystemTest::TearDown();
        if (simulator_) {
            EXPECT_EQ(sim().process().terminate(), (ExitStatus{.exited = true, .code = 0}));
            EXPECT_EQ(sanitizer_report(sim().process().errors()), "");
            if (HasFailure()) {
                std::cerr << "---- the chip's journal\n" << sim().journal() << "----\n";
            }
        }
    }
    SimulatedChip& sim() { return *simulator_; }
    Bytes ask(const std::string& service, const Bytes& request = {}) {
        return peer().call("method.quon.mcu." + service, request).payload();
    }
    void tell(const std::string& service, const Bytes& request = {}) {
        peer().notify("signal.quon.mcu." + service, request);
    }

    std::unique_ptr<SimulatedChip> simulator_;
};

TEST_F(WithTheSimulatedChip, StartsWithItsStateInTheSnapshot) {
    start_with({"--wakeup-reason", "5", "--battery", "42", "--firmware-version", "V7.7", "--server",
                "10.0.0.9:8443", "--mac", "02:00:00:00:00:09"});
    Bytes context;
    ASSERT_TRUE(wait_until([&] {
        context = ask("get.allwakeup.info");
        return context.size() == 400 && context[364] != 0;
    }));
    EXPECT_EQ(context[0], 5);
    EXPECT_EQ(context[81], 42);
    EXPECT_EQ(to_hex(slice(context, 354, 6)), "0a 00 00 09 fb 20");
    EXPECT_EQ(text_of(slice(context, 364, 5)), std::string("V7.7\0", 5));
    EXPECT_EQ(text_of(slice(context, 156, 17)), "02:00:00:00:00:09");
    EXPECT_EQ(text_of(ask("get.ver")), "V7.7");
}

TEST_F(WithTheSimulatedChip, KeepsTheTimeThatItIsGivenAndLetsItRun) {
    start_with();
    tell("set.time", {30, 12, 31, 23, 59, 58, 1, 2, 3, 4});
    ASSERT_TRUE(sim().wait_for(0x83));
    Bytes time;
    ASSERT_TRUE(wait_until([&] {  // over the turn of the year
        time = ask("get.time");
        return time[0] == 31;
    }));
    EXPECT_EQ(to_hex(slice(time, 0, 5)), "1f 01 01 00 00");
}

TEST_F(WithTheSimulatedChip, GivesBackTheRecordsThatItIsSent) {
    start_with();
    struct Row {
        const char* setter;
        const char* getter;
    };
    for (const Row& row :
         {Row{"set.pir.info", "get.pir.info"}, Row{"set.store.params", "get.store.params"},
          Row{"set.alarm", "get.alarm"}, Row{"set.wakeup.info", "get.wakeup.info"}}) {
        SCOPED_TRACE(row.setter);
        const int size = expected::service(row.setter).request_size;
        const Bytes record = pattern(static_cast<std::size_t>(size), 3);
        tell(row.setter, record);
        ASSERT_TRUE(sim().wait_for(expected::message_of(row.setter)));
        EXPECT_EQ(to_hex(ask(row.getter)), to_hex(record));
    }
    tell("set.wdg.state", {7});
    ASSERT_TRUE(sim().wait_for(0x94));
    EXPECT_EQ(text_of(ask("get.wdg.state")), "7");
    const Bytes power_on = pattern(44, 9);
    tell("set.soc.time.info", power_on);
    ASSERT_TRUE(sim().wait_for(0xAB));
    const Bytes list = ask("get.soc.time.list");
    ASSERT_EQ(list.size(), 221U);
    EXPECT_EQ(list[0], 1);
    EXPECT_EQ(to_hex(slice(list, 1, 44)), to_hex(power_on));
}

TEST_F(WithTheSimulatedChip, ObeysTheSwitches) {
    start_with();
    struct Row {
        const char* service;
        Bytes request;
        const char* value;
        const char* expected;
    };
    for (const Row& row :
         {Row{"set.led", {3}, "led", "3"}, Row{"set.pir.switch", {0}, "pir-switch", "0"},
          Row{"set.pir.sensitivity", {9}, "pir-sensitivity", "9"},
          Row{"set.system.state", {2}, "system-state", "2"},
          Row{"set.uart.switch", {1}, "uart-switch", "1"},
          Row{"set.tamper.info", {1}, "tamper-switch", "1"},
          Row{"set.wdg.period", {0x10, 0x27, 0, 0}, "wdg-period", "10000"},
          Row{"set.wdg.feed", {}, "wdg-feeds", "1"}, Row{"set.crash.test", {}, "crash-tests", "1"},
          Row{"set.ap.start", Bytes(166, 1), "ap-running", "1"},
          Row{"set.ap.stop", {}, "ap-running", "0"},
          Row{"set.wifi.disconnect", {}, "wifi-state", "0"},
          Row{"set.cmd", {0xCA, 0xFE}, "command", "cafe"}}) {
        SCOPED_TRACE(row.service);
        tell(row.service, row.request);
        ASSERT_TRUE(sim().wait_for(expected::message_of(row.service)));
        EXPECT_EQ(sim().get(row.value), row.expected);
    }
}

TEST_F(WithTheSimulatedChip, SendsEventsThatPeersCollect) {
    start_with();
    sim().command("event raw 01 0a0b0c");
    Bytes event;
    ASSERT_TRUE(wait_until([&] {
        const BusRecord result = peer().call("method.quon.mcu.get.event.info");
        event = result.payload();
        return result.result == 33;
    }));
    EXPECT_EQ(to_hex(event), to_hex(padded({10, 11, 12}, 33)));
}

TEST_F(WithTheSimulatedChip, ConfiguresTheNetwork) {
    start_with();
    sim().command("event net 10.1.2.3/16 gw 10.1.0.1 dns 9.9.9.9,10.1.0.1 mac 02:00:00:00:00:07");
    ASSERT_TRUE(wait_until(
        [] { return content_of("/etc/resolv.conf").find("10.1.0.1") != std::string::npos; }));
    EXPECT_EQ(content_of("/etc/resolv.conf"),
              "options timeout:1\n"
              "nameserver 9.9.9.9 # wlan0\n"
              "nameserver 10.1.0.1 # wlan0\n");
    const std::string view = run({"ifconfig", "wlan0"}).out;
    EXPECT_NE(view.find("inet 10.1.2.3  netmask 255.255.0.0"), std::string::npos) << view;
    EXPECT_NE(view.find("ether 02:00:00:00:00:07"), std::string::npos) << view;
    EXPECT_NE(run({"route", "-n"}).out.find("0.0.0.0         10.1.0.1        0.0.0.0"),
              std::string::npos);
}

TEST_F(WithTheSimulatedChip, TakesAnUpgrade) {
    start_with();
    const auto block = [](std::uint32_t offset, const std::string& data) {
        return joined(
            joined(little_endian(offset), little_endian(static_cast<std::uint32_t>(data.size()))),
            padded(bytes_of(data), 257));
    };
    const auto result = [this](const std::string& service, const Bytes& request) {
        return peer().call("method.quon.mcu." + service, request).result;
    };
    EXPECT_EQ(result("upg.transmit", block(0, "too early")), -1);
    EXPECT_EQ(result("upg.start", joined({1}, little_endian(9))), 4);
    EXPECT_EQ(result("upg.transmit", block(0, "12345")), 4);
    EXPECT_EQ(result("upg.transmit", block(100, "gap")), -1);
    EXPECT_EQ(result("upg.transmit", block(5, "6789")), 4);
    EXPECT_EQ(result("upg.finish", {}), 4);
    ASSERT_TRUE(sim().wait_for(0x91));
    EXPECT_EQ(sim().get("upgrade-state"), "finished");
    EXPECT_EQ(sim().get("upgrade-bytes"), "9");
    EXPECT_EQ(sim().get("upgrade-checksum"), "cbf43926");  // the check value of CRC-32
}

TEST_F(WithTheSimulatedChip, HandsTheWakeUpConnectionOver) {
    const RemoteServer server;
    start_with({"--wakeup-reason", "13", "--server", "127.0.0.1:" + std::to_string(server.port())});
    sim().command("event net 192.168.1.20/24 gw 192.168.1.1 dns 8.8.8.8");
    const Descriptor there = server.accept_one();
    ASSERT_TRUE(
        daemon().process().wait_for_text("ws init ip: 100007f-" + std::to_string(server.port())));
    const LocalProgram local;
    local.ask({127, 0, 0, 1}, server.port());
    expect_connected(local.receive(), there);
}

struct Fault {
    const char* rule;
    std::int32_t result;  // of "get.time"
    const char* reply;    // its first bytes
};

TEST_F(WithTheSimulatedChip, OutlivesItsFaults) {
    start_with({"--time", "2030-06-15 12:00:00"});
    const std::string whole = "1e 06 0f";  // year, month, day
    for (const Fault& fault : std::vector<Fault>{
             {"0x84 drop", -1, ""},
             {"0x84 delay 100", 10, whole.c_str()},
             {"0x84 twice", 10, whole.c_str()},
             {"0x84 answer-type 0x86", -1, ""},
             {"0x84 length 0", 10, "00 00 00"},
             {"0x84 length 4294967295", 10, whole.c_str()},
             {"0x84 cut 6", 10, nullptr},
             {"0x84 cut 3", 10, "00 00 00"},
             {"0x84 lengthen 300", 10, whole.c_str()},
             {"0x84 corrupt 0", -1, ""},
             {"0x84 delay 1300", -1, ""},  // last: its answer comes when nobody waits for it
         }) {
        SCOPED_TRACE(fault.rule);
        sim().command(std::string("fault ") + fault.rule);
        const BusRecord result = peer().call(kTime);
        if (std::string(fault.rule) != "0x84 cut 3") {  // whose length bytes are not all there
            EXPECT_EQ(result.result, fault.result);
        }
        if (fault.reply != nullptr && fault.result > 0) {
            EXPECT_EQ(to_hex(slice(result.payload(), 0, 3)), fault.reply);
        }
        EXPECT_EQ(peer().call(kTime).result, 10);
    }
}

TEST_F(WithTheSimulatedChip, GoesSilentAndComesBack) {
    start_with();
    sim().command("silent");
    EXPECT_EQ(peer().call(kTime).result, -1);
    sim().command("back");
    EXPECT_EQ(peer().call(kTime).result, 10);
    sim().command("fault 0x84 silent");
    EXPECT_EQ(peer().call(kTime).result, -1);
    EXPECT_EQ(peer().call(kTime).result, -1);
    sim().command("back");
    EXPECT_EQ(peer().call(kTime).result, 10);
}

TEST_F(WithTheSimulatedChip, IsReachedAgainAfterARestart) {
    start_with();
    EXPECT_EQ(peer().call(kTime).result, 10);
    EXPECT_EQ(sim().process().terminate(), (ExitStatus{.exited = true, .code = 0}));
    EXPECT_EQ(peer().call(kTime).result, -1);
    simulator_.reset();
    simulator_ = std::make_unique<SimulatedChip>();
    EXPECT_TRUE(wait_until([&] { return peer().call(kTime).result == 10; }));
}

TEST_F(WithTheSimulatedChip, TellsTheWholeStoryInItsJournal) {
    start_with();
    tell("set.led", {3});
    ASSERT_TRUE(sim().wait_for(0x85));
    const std::string journal = sim().journal();
    std::size_t place = 0;
    for (const char* part :
         {"host->chip 0x81 get_net_info len 0", "chip->host 0x81 get_net_info len 26",
          "host->chip 0x82 get_wakeup_info len 0", "chip->host 0x82 get_wakeup_info len 71",
          "host->chip 0x84 get_time len 0", "host->chip 0x86 get_battery_status len 0",
          "host->chip 0x8c get_wifi_status len 0", "host->chip 0x93 get_store_params len 0",
          "host->chip 0x80 get_version len 0", "host->chip 0x85 set_led len 1"}) {
        place = journal.find(part, place);
        ASSERT_NE(place, std::string::npos) << part << "\n" << journal;
    }
}

}  // namespace
}  // namespace quon::test
