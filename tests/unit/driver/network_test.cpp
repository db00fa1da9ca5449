#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

#include "child_process.h"
#include "driver_world.h"
#include "expected_texts.h"
#include "waiting.h"

namespace quon::test {
namespace {

constexpr char kMac1[] = "020000000001";
constexpr char kMac2[] = "02000000ab0c";
constexpr char kNoMac[] = "000000000000";
constexpr char kResolvConf[] = "/etc/resolv.conf";

Bytes net_event(std::uint8_t state, const Bytes& record) {
    Bytes payload = {0x5a, state};
    payload.insert(payload.end(), record.begin(), record.end());
    return chip_frame(0x03, payload);
}

Bytes record_with_mac(const std::string& mac) {
    return net_record("c0a80a14", "ffffff00", "c0a80a01", mac, "08080808", "01010101");
}

Bytes record_with_dns(const std::string& dns1, const std::string& dns2,
                      const std::string& gateway) {
    return net_record("c0a80a14", "ffffff00", gateway, kMac1, dns1, dns2);
}

// The commands of an update to record_with_mac(kMac1).
const std::vector<std::string> kUpdateCommands = {
    "ifconfig wlan0 down",
    "ifconfig wlan0 hw ether 2:0:0:0:0:1",
    "ifconfig wlan0 192.168.10.20 netmask 255.255.255.0",
    "route add default gw 192.168.10.1 dev wlan0",
    "ifconfig wlan0 up",
};

class ANetworkEvent : public AStartedDriver {
  protected:
    void TearDown() override {
        std::signal(SIGCHLD, SIG_DFL);
        AStartedDriver::TearDown();
    }

    std::uint32_t update_flag() {
        std::uint32_t flag = 7;
        EXPECT_EQ(ops->get_ipaddr_update_status(&flag), 0);
        return flag;
    }

    // The field of the Wi-Fi information: 0 MAC, 1 IP address, 2 gateway, 3 and 4 DNS.
    std::string wifi_field(std::size_t number) {
        char area[384];
        std::memset(area, 0x7f, sizeof(area));
        EXPECT_EQ(ops->get_wifi_info(reinterpret_cast<std::uint8_t*>(area)), 0);
        return {area + 32 * number, strnlen(area + 32 * number, 32)};
    }

    bool event_is_queued() {
        std::uint8_t event[33];
        return ops->get_event_info(event) == 0;
    }
};

// --- the update

TEST_F(ANetworkEvent, RunsTheCommandsInOrderAndLogsThem) {
    for (const std::uint8_t state : {std::uint8_t{1}, std::uint8_t{2}}) {
        SCOPED_TRACE(int{state});
        forget_log();
        forget_commands();
        channel().deliver(net_event(state, record_with_mac(state == 1 ? kMac1 : kMac2)));
        std::vector<std::string> expected = kUpdateCommands;
        if (state == 2) {
            expected[1] = "ifconfig wlan0 hw ether 2:0:0:0:ab:c";
        }
        EXPECT_EQ(commands(), expected);
        std::vector<LogLine> lines;
        lines.reserve(expected.size());
        for (const std::string& command : expected) {
            lines.push_back(driver_line(3, "hi3861l_update_ip_info", command + "\n"));
        }
        EXPECT_EQ(log_lines(), lines);
        EXPECT_EQ(update_flag(), 1U);
        EXPECT_TRUE(event_is_queued());
    }
}

TEST_F(ANetworkEvent, ChangesTheRealInterface) {
    channel().deliver(net_event(1, record_with_mac(kMac2)));
    const std::string interface = run({"ifconfig", "wlan0"}).out;
    EXPECT_NE(interface.find("02:00:00:00:ab:0c"), std::string::npos) << interface;
    EXPECT_NE(interface.find("192.168.10.20"), std::string::npos) << interface;
    EXPECT_NE(interface.find("255.255.255.0"), std::string::npos) << interface;
    EXPECT_NE(interface.find("UP"), std::string::npos) << interface;
    const std::string routes = run({"route", "-n"}).out;
    EXPECT_NE(routes.find("0.0.0.0         192.168.10.1"), std::string::npos) << routes;
}

TEST_F(ANetworkEvent, WithTheSameMacAgainDoesNotSetIt) {
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    forget_commands();
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    std::vector<std::string> expected = kUpdateCommands;
    expected.erase(expected.begin() + 1);
    EXPECT_EQ(commands(), expected);
}

TEST_F(ANetworkEvent, WithAnotherMacSetsIt) {
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    forget_commands();
    channel().deliver(net_event(1, record_with_mac(kMac2)));
    ASSERT_EQ(commands().size(), 5U);
    EXPECT_EQ(commands()[1], "ifconfig wlan0 hw ether 2:0:0:0:ab:c");
}

// The first event sets the MAC although the driver knows the same one from its start.
TEST_F(ANetworkEvent, SetsTheMacAtFirstEvenIfItIsTheKnownOne) {
    ASSERT_EQ(wifi_field(0), "02:00:00:00:00:01");
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    EXPECT_EQ(commands(), kUpdateCommands);
}

TEST_F(ANetworkEvent, WithoutAMacEndsAfterTakingTheInterfaceDown) {
    const std::string resolver = content_of(kResolvConf);
    channel().deliver(net_event(1, record_with_mac(kNoMac)));
    EXPECT_EQ(commands(), std::vector<std::string>{"ifconfig wlan0 down"});
    EXPECT_EQ(log_lines(),
              (std::vector{driver_line(3, "hi3861l_update_ip_info", "ifconfig wlan0 down\n"),
                           driver_line(1, "hi3861l_update_ip_info", expected::kInvalidMacLine)}));
    EXPECT_EQ(update_flag(), 0U);
    EXPECT_EQ(wifi_field(1), "192.168.1.10");  // still the record of the start
    EXPECT_EQ(content_of(kResolvConf), resolver);
    EXPECT_TRUE(event_is_queued());
}

TEST_F(ANetworkEvent, WithoutAMacIsRefusedAlsoAfterAGoodOne) {
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    forget_commands();
    channel().deliver(net_event(1, record_with_mac(kNoMac)));
    EXPECT_EQ(commands(), std::vector<std::string>{"ifconfig wlan0 down"});
    EXPECT_EQ(wifi_field(0), "02:00:00:00:00:01");
}

TEST_F(ANetworkEvent, DoesNotCareForTheCommandsExitStatus) {
    make_commands_fail(true);
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    EXPECT_EQ(commands(), kUpdateCommands);
    EXPECT_EQ(log_lines_up_to(2), std::vector<LogLine>{});
    EXPECT_EQ(update_flag(), 1U);
}

// A process that ignores SIGCHLD cannot learn how a command ended: `system` answers -1.
TEST_F(ANetworkEvent, EndsAtTheFirstCommandThatCannotBeRun) {
    for (std::size_t failing = 0; failing < kUpdateCommands.size(); failing++) {
        const std::string& command = kUpdateCommands[failing];
        SCOPED_TRACE(command);
        TearDown();
        SetUp();
        const std::string resolver = content_of(kResolvConf);
        on_log_line([&](const LogLine& line) {
            if (line.text == command + "\n") {
                std::signal(SIGCHLD, SIG_IGN);
            }
        });
        channel().deliver(net_event(1, record_with_mac(kMac1)));
        on_log_line(nullptr);
        std::signal(SIGCHLD, SIG_DFL);

        EXPECT_EQ(commands(),
                  std::vector(kUpdateCommands.begin(),
                              kUpdateCommands.begin() + static_cast<std::ptrdiff_t>(failing) + 1));
        EXPECT_EQ(log_lines_up_to(2),
                  std::vector{driver_line(1, "hi3861l_update_ip_info", command + " failed\n")});
        EXPECT_EQ(update_flag(), 0U);
        EXPECT_EQ(wifi_field(1), "192.168.1.10");
        EXPECT_EQ(content_of(kResolvConf), resolver);
        EXPECT_TRUE(event_is_queued());

        // The MAC counts as applied when its own command was run.
        forget_commands();
        channel().deliver(net_event(1, record_with_mac(kMac1)));
        EXPECT_EQ(commands().size(), failing >= 2 ? 4U : 5U);
    }
}

// Whether the MAC is the applied one is asked before whether it is one at all.
TEST_F(ANetworkEvent, WithoutAMacIsAppliedWhenTheKnownRecordHasNoneAndAMacWasApplied) {
    ASSERT_EQ(ops->deinit(), 0);
    channel().answer(0x81, Bytes(26));
    ASSERT_EQ(ops->init(), 0);
    on_log_line([](const LogLine& line) {
        if (line.text == kUpdateCommands[2] + "\n") {
            std::signal(SIGCHLD, SIG_IGN);
        }
    });
    channel().deliver(net_event(1, record_with_mac(kMac1)));  // ends after the MAC
    on_log_line(nullptr);
    std::signal(SIGCHLD, SIG_DFL);
    ASSERT_EQ(update_flag(), 0U);

    forget_commands();
    channel().deliver(net_event(1, record_with_mac(kNoMac)));
    std::vector<std::string> expected = kUpdateCommands;
    expected.erase(expected.begin() + 1);
    EXPECT_EQ(commands(), expected);
    EXPECT_EQ(update_flag(), 1U);
}

TEST_F(ANetworkEvent, IsQueuedWhenItIsApplied) {
    std::size_t looks = 0;
    on_log_line([&](const LogLine& line) {
        if (line.text.starts_with("ifconfig")) {
            looks++;
            EXPECT_FALSE(event_is_queued()) << line;
            EXPECT_EQ(update_flag(), 0U) << line;
        }
    });
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    on_log_line(nullptr);
    EXPECT_EQ(looks, 4U);
    EXPECT_TRUE(event_is_queued());
}

// --- the resolver file

TEST_F(ANetworkEvent, WritesEachNameServerOnceAndTheGatewayLast) {
    struct Row {
        const char* dns1;
        const char* dns2;
        const char* gateway;
        const char* content;
    };
    // clang-format off
    const Row rows[] = {
        {"08080808", "01010101", "c0a80a01",
         "options timeout:1\nnameserver 8.8.8.8 # wlan0\nnameserver 1.1.1.1 # wlan0\n"
         "nameserver 192.168.10.1 # wlan0\n"},
        {"08080808", "08080808", "c0a80a01",
         "options timeout:1\nnameserver 8.8.8.8 # wlan0\nnameserver 192.168.10.1 # wlan0\n"},
        {"c0a80a01", "01010101", "c0a80a01",
         "options timeout:1\nnameserver 192.168.10.1 # wlan0\nnameserver 1.1.1.1 # wlan0\n"},
        {"08080808", "c0a80a01", "c0a80a01",
         "options timeout:1\nnameserver 8.8.8.8 # wlan0\nnameserver 192.168.10.1 # wlan0\n"},
        {"c0a80a01", "c0a80a01", "c0a80a01",
         "options timeout:1\nnameserver 192.168.10.1 # wlan0\n"},
        {"00000000", "01010101", "c0a80a01",
         "options timeout:1\nnameserver 1.1.1.1 # wlan0\nnameserver 192.168.10.1 # wlan0\n"},
        {"08080808", "00000000", "c0a80a01",
         "options timeout:1\nnameserver 8.8.8.8 # wlan0\nnameserver 192.168.10.1 # wlan0\n"},
        {"00000000", "00000000", "c0a80101",
         "options timeout:1\nnameserver 192.168.1.1 # wlan0\n"},
        {"08080808", "01010101", "00000000",
         "options timeout:1\nnameserver 8.8.8.8 # wlan0\nnameserver 1.1.1.1 # wlan0\n"},
        {"00000000", "00000000", "00000000", "options timeout:1\n"},
        {"ffffffff", "fffffffe", "ffffff00",
         "options timeout:1\nnameserver 255.255.255.255 # wlan0\n"
         "nameserver 255.255.255.254 # wlan0\nnameserver 255.255.255.0 # wlan0\n"},
    };
    // clang-format on
    for (const Row& row : rows) {
        channel().deliver(net_event(1, record_with_dns(row.dns1, row.dns2, row.gateway)));
        EXPECT_EQ(content_of(kResolvConf), row.content);
        EXPECT_TRUE(event_is_queued());
    }
}

// From the last command on, the process may open no more files.
TEST_F(ANetworkEvent, IsAppliedAlsoWhenTheResolverFileCannotBeOpened) {
    const std::string resolver = content_of(kResolvConf);
    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    on_log_line([&](const LogLine& line) {
        if (line.text == "ifconfig wlan0 up\n") {
            const rlimit none = {.rlim_cur = 0, .rlim_max = usual.rlim_max};
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        }
    });
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(log_lines_up_to(2),
              std::vector{driver_line(1, "hi3861l_update_dns", expected::kNoResolverFileLine)});
    EXPECT_EQ(update_flag(), 1U);
    EXPECT_EQ(wifi_field(1), "192.168.10.20");
    EXPECT_EQ(content_of(kResolvConf), resolver);
}

// --- what the daemon reads back

TEST_F(ANetworkEvent, IsSeenInTheWifiInformation) {
    channel().deliver(net_event(
        2, net_record("0a000002", "ff000000", "0a0000fe", "0a0b0c0d0e0f", "09090909", "00000000")));
    EXPECT_EQ(wifi_field(0), "0a:0b:0c:0d:0e:0f");
    EXPECT_EQ(wifi_field(1), "10.0.0.2");
    EXPECT_EQ(wifi_field(2), "10.0.0.254");
    EXPECT_EQ(wifi_field(3), "9.9.9.9");
    EXPECT_EQ(wifi_field(4), "");
}

TEST_F(ANetworkEvent, DoesNotHideTheMacOfTheWakeUpInfo) {
    Bytes info(71, 0);
    info[59] = 0x01;  // one byte is enough
    channel().answer(0x82, info);
    std::uint8_t area[384];
    ASSERT_EQ(ops->get_wakeup_info(area), 0);
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    EXPECT_EQ(wifi_field(0), "00:00:00:00:00:01");
}

TEST_F(ANetworkEvent, LeavesTheUpdateFlagSetForGood) {
    EXPECT_EQ(update_flag(), 0U);
    channel().deliver(net_event(1, record_with_mac(kMac1)));
    EXPECT_EQ(update_flag(), 1U);
    channel().deliver(net_event(1, record_with_mac(kNoMac)));
    EXPECT_EQ(update_flag(), 1U);
    EXPECT_EQ(update_flag(), 1U);  // reading does not clear it
}

TEST_F(ANetworkEvent, CanBeAppliedWhileOthersReadItsOutcome) {
    std::atomic<bool> done{false};
    std::jthread reader([&] {
        while (!done) {
            EXPECT_LE(update_flag(), 1U);
            const std::string ip = wifi_field(1);
            EXPECT_TRUE(ip == "192.168.1.10" || ip == "192.168.10.20") << ip;
        }
    });
    for (int i = 0; i < 3; i++) {
        channel().deliver(net_event(1, record_with_mac(i == 1 ? kMac2 : kMac1)));
    }
    done = true;
}

TEST_F(ANetworkEvent, IsNotReadBackIntoNullPointers) {
    EXPECT_EQ(ops->get_wifi_info(nullptr), -1);
    EXPECT_EQ(ops->get_ipaddr_update_status(nullptr), -1);
    EXPECT_EQ(log_lines(),
              (std::vector{
                  failure_line("hi3861l_api_get_wifi_info", expected::kInvalidParam),
                  failure_line("hi3861l_api_get_ipaddr_update_status", expected::kInvalidParam)}));
}

TEST_F(ANetworkEvent, LeavesNothingOfTheCallersBehindATextOfANameServer) {
    channel().deliver(net_event(1, record_with_dns("09090909", "00000000", "c0a80a01")));
    std::uint8_t area[384];
    std::memset(area, 0xee, sizeof(area));
    ASSERT_EQ(ops->get_wifi_info(area), 0);
    Bytes fields = bytes_of("9.9.9.9");
    fields.resize(64);
    EXPECT_EQ(Bytes(area + 96, area + 160), fields);
}

// The texts are as long as they can be and stay within their fields.
TEST_F(ANetworkEvent, FillsTheWifiInformationFieldByField) {
    channel().deliver(net_event(
        1, net_record("ffffffff", "ffffffff", "fffffffe", "fefefefefefe", "fffffffd", "fffffffc")));
    std::uint8_t area[384];
    std::memset(area, 0xee, sizeof(area));
    ASSERT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(area), "fe:fe:fe:fe:fe:fe");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 32), "255.255.255.255");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 64), "255.255.255.254");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 96), "255.255.255.253");
    EXPECT_STREQ(reinterpret_cast<char*>(area + 128), "255.255.255.252");
    EXPECT_EQ(Bytes(area + 160, area + 384), Bytes(224, 0xee));
}

}  // namespace
}  // namespace quon::test
