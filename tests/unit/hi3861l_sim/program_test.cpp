// The program from outside: options, files, signals, exit statuses.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "event_loop.h"
#include "hex.h"
#include "sim_process.h"
#include "transport.h"
#include "waiting.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

TEST(TheSimulator, SaysWhenItIsReadyAndWhere) {
    const scratch_folder folder;
    sim_process sim(folder);
    EXPECT_TRUE(sim.process().wait_for_line("hi3861l-sim: ready, chip on " + folder.file("chip") +
                                            ", control on " + folder.file("control")));
}

TEST(TheSimulator, EndsWithStatusZeroAndRemovesItsSockets) {
    for (const int signal_number : {SIGTERM, SIGINT, 0}) {
        const scratch_folder folder;
        sim_process sim(folder);
        EXPECT_TRUE(fs::exists(folder.file("chip")) && fs::exists(folder.file("control")));
        if (signal_number != 0) {
            sim.process().send_signal(signal_number);
        } else {
            EXPECT_EQ(sim.ask("quit"), "ok");
        }
        EXPECT_EQ(sim.process().wait_exit(), exited(0)) << signal_number;
        EXPECT_FALSE(fs::exists(folder.file("chip")) || fs::exists(folder.file("control")));
    }
}

TEST(TheSimulator, StartsInTheStateThatItsOptionsGive) {
    const scratch_folder folder;
    sim_process sim(folder, {"--wakeup-reason",
                             "13",
                             "--server",
                             "10.0.0.9:9000",
                             "--firmware-version",
                             "V2.1.7",
                             "--soc-min-version",
                             "V1.0",
                             "--battery",
                             "33",
                             "--mac",
                             "02:00:00:00:00:09",
                             "--net",
                             "10.0.0.2/8 gw 10.0.0.1 dns 10.0.0.3",
                             "--time",
                             "2031-05-06 07:08:09",
                             "--set",
                             "wdg-state=12",
                             "--set",
                             "pir-switch=0",
                             "--fault",
                             "0x84 delay 500 count 3",
                             "--fault",
                             "any twice"});
    const std::string expected[] = {
        "wakeup-reason=13",
        "server=10.0.0.9:9000",
        "firmware-version=V2.1.7",
        "soc-min-version=V1.0",
        "battery=33",
        "mac=02:00:00:00:00:09",
        "wakeup-mac=02:00:00:00:00:09",
        "net=10.0.0.2/8 gw 10.0.0.1 dns 10.0.0.3,0.0.0.0 mac 02:00:00:00:00:09",
        "wdg-state=12",
        "pir-switch=0",
    };
    for (const std::string& line : expected) {
        EXPECT_EQ(sim.ask("get " + line.substr(0, line.find('='))), line + "\nok");
    }
    EXPECT_TRUE(sim.ask("get time").starts_with("time=2031-05-06 07:08:"));
    EXPECT_EQ(sim.ask("faults"), "0x84 delay 500ms count 3\nany twice count 1\nok");
}

TEST(TheSimulator, RefusesWhatItDoesNotUnderstandWithStatusTwo) {
    const scratch_folder folder;
    const std::vector<std::string> cases[] = {
        {"--nonsense"},
        {"--battery", "101"},
        {"--battery"},
        {"--server", "nowhere"},
        {"--net", "1.2.3.4"},
        {"--wakeup-reason", "x"},
        {"--mac", "1"},
        {"--fault", "84 explode"},
        {"--set", "led"},
        {"--set", "nothing=1"},
        {"--netlink", "x"},
        {"--netlink", "0"},
        {"--netlink", "4294967296"},
        {"--netlink", "1200"},  // and --socket
        {"--time", "now"},
        {"--time", "2030-02-30 10:00:00"},
        {"control"},
        {"word"},
        {"--firmware-version", std::string(32, 'v')},
        {"--socket", std::string(200, 'x')},
    };
    for (std::vector<std::string> arguments : cases) {
        const std::string what = arguments[0];
        if (what != "control" && what != "--socket") {
            arguments.insert(arguments.begin(), {"--socket", folder.file("chip")});
        }
        if (what != "control") {
            arguments.insert(arguments.begin(), {"--control", folder.file("control")});
        }
        const test::Result result = run_sim(arguments);
        EXPECT_EQ(result.status, exited(2)) << what;
        EXPECT_FALSE(result.err.empty()) << what;
        EXPECT_TRUE(result.out.empty()) << what;
    }
    EXPECT_TRUE(!fs::exists(folder.file("chip")) && !fs::exists(folder.file("control")));
}

TEST(TheSimulator, ExplainsItselfOnRequest) {
    const test::Result result = run_sim({"--help"});
    EXPECT_EQ(result.status, exited(0));
    for (const char* word : {"--socket", "--control", "--netlink", "--journal", "--wakeup-reason",
                             "--server", "--firmware-version", "--battery", "--net", "--mac",
                             "--fault", "--set", "event net", "wait-frame", "corrupt OFFSET",
                             "Exit status", "LD_PRELOAD", "HI3861L_SIM_SOCKET", "store-params"}) {
        EXPECT_NE(result.out.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(run_sim({"control", "--help"}).status, exited(0));
}

TEST(TheSimulator, CannotStartWhereAnotherListens) {
    const scratch_folder folder;
    sim_process first(folder);
    const test::Result same_chip =
        run_sim({"--socket", folder.file("chip"), "--control", folder.file("other")});
    EXPECT_EQ(same_chip.status, exited(1));
    EXPECT_NE(same_chip.err.find(folder.file("chip") + ": another program listens here"),
              std::string::npos)
        << same_chip.err;
    const test::Result same_control =
        run_sim({"--socket", folder.file("other"), "--control", folder.file("control")});
    EXPECT_EQ(same_control.status, exited(1));
    EXPECT_FALSE(fs::exists(folder.file("other")));
    EXPECT_EQ(first.ask("get led"), "led=0\nok");
}

TEST(TheSimulator, ReplacesTheSocketsOfOneThatWasKilled) {
    const scratch_folder folder;
    {
        sim_process killed(folder);
        killed.process().send_signal(SIGKILL);
        ASSERT_TRUE(killed.process().wait_exit());
        EXPECT_TRUE(fs::exists(folder.file("chip")));
    }
    sim_process sim(folder);
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
}

TEST(TheSimulator, TouchesNoFileThatIsNoSocket) {
    const scratch_folder folder;
    std::ofstream(folder.file("chip")) << "precious";
    const test::Result result =
        run_sim({"--socket", folder.file("chip"), "--control", folder.file("control")});
    EXPECT_EQ(result.status, exited(1));
    EXPECT_NE(result.err.find("is no socket"), std::string::npos) << result.err;
    EXPECT_EQ(fs::file_size(folder.file("chip")), 8U);
}

TEST(TheSimulator, CannotStartWithoutItsFiles) {
    const scratch_folder folder;
    EXPECT_EQ(
        run_sim({"--socket", folder.file("none/chip"), "--control", folder.file("control")}).status,
        exited(1));
    EXPECT_EQ(run_sim({"--socket", folder.file("chip"), "--control", folder.file("control"),
                       "--journal", folder.file("none/journal")})
                  .status,
              exited(1));
}

TEST(TheSimulator, WritesTheJournalToItsFile) {
    const scratch_folder folder;
    sim_process sim(folder, {"--journal", folder.file("journal")});
    sim.ask("event raw 01 aabb");
    std::ifstream file(folder.file("journal"));
    std::string line;
    std::getline(file, line);
    EXPECT_TRUE(line.ends_with("chip->host 0x01 event_1 len 2 aabb")) << line;
}

TEST(TheSimulator, OverwritesTheJournalButNotThatOfARunningOne) {
    const scratch_folder folder;
    const std::string file = folder.file("journal");
    std::ofstream(file) << "of an earlier run\n";
    sim_process sim(folder, {"--journal", file});
    EXPECT_EQ(fs::file_size(file), 0U);
    sim.ask("raw 01");
    const auto size = fs::file_size(file);
    for (const char* other : {"chip", "control"}) {
        const std::string chip = folder.file(std::string(other) == "chip" ? "chip" : "other");
        const test::Result second =
            run_sim({"--socket", chip, "--control", folder.file("control"), "--journal", file});
        EXPECT_EQ(second.status, exited(1));
        EXPECT_GE(fs::file_size(file), size) << other;
    }
}

TEST(TheSimulator, PrintsTheJournalOtherwise) {
    const scratch_folder folder;
    sim_process sim(folder);
    sim.ask("event raw 01 aabb");
    EXPECT_TRUE(sim.process().wait_for_line("chip->host 0x01 event_1 len 2 aabb"));
}

TEST(TheSimulator, SaysOnceThatTheJournalCannotBeWrittenAndGoesOn) {
    const scratch_folder folder;
    sim_process sim(folder, {"--journal", "/dev/full"});
    EXPECT_EQ(sim.ask("raw 01"), "error: not sent: no host is connected");
    EXPECT_EQ(sim.ask("raw 02"), "error: not sent: no host is connected");
    EXPECT_TRUE(sim.ask("frames 1").ends_with(" note not sent: no host is connected: raw 02\nok"));
    EXPECT_EQ(sim.ask("quit"), "ok");
    EXPECT_EQ(sim.process().wait_exit(), exited(0));
    const std::string said =
        "hi3861l-sim: the journal cannot be written: No space left on device\n";
    const std::string all = sim.process().output();
    EXPECT_NE(all.find(said), std::string::npos) << all;
    EXPECT_EQ(all.find(said), all.rfind(said)) << all;
}

TEST(TheSimulator, ListensWhereTheVariableSays) {
    const scratch_folder folder;
    test::ChildProcess sim({.command = sim_command({"--control", folder.file("control")}),
                            .environment = {{"HI3861L_SIM_SOCKET", folder.file("by-variable")}},
                            .input = {}});
    EXPECT_TRUE(sim.wait_for_line("hi3861l-sim: ready, chip on " + folder.file("by-variable")));
}

TEST(TheSimulator, SaysSoWhenTheKernelLacksTheProtocol) {
    const int fd = socket(AF_NETLINK, SOCK_RAW, 28);
    if (fd >= 0) {
        close(fd);
        GTEST_SKIP() << "this kernel has netlink protocol 28";
    }
    const scratch_folder folder;
    const test::Result result = run_sim({"--netlink", "1200", "--control", folder.file("control")});
    EXPECT_EQ(result.status, exited(1));
    EXPECT_NE(result.err.find("netlink port 1200, protocol 28"), std::string::npos) << result.err;
}

// --- the netlink way, over a protocol that every kernel has

TEST(TheNetlinkTransport, CarriesMessagesBothWays) {
    event_loop loop;
    const owned_descriptor host(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK));
    if (host.get() < 0) {
        GTEST_SKIP() << "this kernel has no netlink between programs";
    }
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    ASSERT_EQ(bind(host.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(getsockname(host.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    const uint32_t port = address.nl_pid + 1;
    const auto link = make_netlink_transport(loop, NETLINK_USERSOCK, port, address.nl_pid);
    EXPECT_TRUE(link->host_present());
    EXPECT_EQ(link->where(), "netlink port " + std::to_string(port));

    EXPECT_EQ(link->send(test::from_hex("84 00 00 00 00")), delivery::sent);
    test::Bytes got(100);
    ASSERT_EQ(recv(host.get(), got.data(), got.size(), 0), 21);
    EXPECT_EQ(test::to_hex(std::span(got).first(21)),
              "15 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 84 00 00 00 00");

    byte_list taken;
    std::string noted;
    link->on_message([&](byte_view frame) {
        taken.assign(frame.begin(), frame.end());
        loop.stop();
    });
    link->on_note([&](const std::string& what) { noted = what; });
    const byte_list datagram =
        test::from_hex("17 00 00 00 00 00 00 00 00 00 00 00 4c 04 00 00 85 02 00 00 00 01 02");
    address.nl_pid = port;
    ASSERT_EQ(sendto(host.get(), datagram.data(), datagram.size(), 0,
                     reinterpret_cast<const sockaddr*>(&address), sizeof address),
              23);
    loop.after(std::chrono::seconds(20), [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(test::to_hex(taken), "85 02 00 00 00 01 02");
    EXPECT_EQ(noted, "");

    EXPECT_THROW(make_netlink_transport(loop, NETLINK_USERSOCK, port, 0), std::runtime_error);
    const auto lonely = make_netlink_transport(loop, NETLINK_USERSOCK, port + 1, port + 2);
    EXPECT_EQ(lonely->send(test::from_hex("84")), delivery::no_host);
}

TEST(TheSimulator, AnswersAsTheChipOfALogDid) {
    const scratch_folder folder;
    const std::string log = folder.file("log");
    std::ofstream(log) << "04:05:06.000 host->chip 0x80 get_version len 0 empty\n"
                          "04:05:06.000 chip->host 0x80 get_version len 3 version=V9\n";
    sim_process sim(folder, {"--learn", log});
    EXPECT_NE(sim.ask("frames 5").find("note 1 answer and 0 events learned"), std::string::npos);
}

TEST(TheSimulator, RefusesALogThatItCannotLearnFrom) {
    const test::Result got = run_sim({"--learn", "/nonexistent"});
    EXPECT_EQ(got.status, exited(2));
    EXPECT_EQ(got.err, "hi3861l-sim: cannot read '/nonexistent': No such file or directory\n");
}

}  // namespace
}  // namespace quon::sim
