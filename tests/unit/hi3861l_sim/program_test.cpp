// The program from outside: options, files, signals, exit statuses, the control socket.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "event_loop.h"
#include "hex.h"
#include "sim_process.h"
#include "transport.h"
#include "waiting.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;
using test::ExitStatus;

constexpr ExitStatus exited(int code) {
    return {.exited = true, .code = code};
}

test::Result run_sim(const std::vector<std::string>& arguments) {
    return test::run(sim_command(arguments));
}

test::Result run_control(const sim_process& sim, const std::vector<std::string>& words) {
    std::vector<std::string> arguments = {"control", "--control", sim.control_path()};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run_sim(arguments);
}

// How many descriptors the simulator has open.
auto descriptors_of(sim_process& sim) {
    const std::string folder = "/proc/" + std::to_string(sim.process().pid()) + "/fd";
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

// How often the simulator has gone to sleep.
long pauses_of(sim_process& sim) {
    std::ifstream status("/proc/" + std::to_string(sim.process().pid()) + "/status");
    const std::string name = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stol(line.substr(name.size()));
        }
    }
    return 0;
}

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
    EXPECT_EQ(sim.ask("faults"), "0x84 delay 500 count 3\nany twice count 1\nok");
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

TEST(TheSimulator, WritesTheJournalAnewButNotThatOfARunningOne) {
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

// --- the manual page

std::string lint(const std::string& text) {
    std::string kept;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        // The pages beside this one need not be installed.
        kept += line.find("referenced manual not found") == std::string::npos ? line + "\n" : "";
    }
    return kept;
}

TEST(TheManualPage, IsWellFormed) {
    const test::Result mandoc =
        test::run({"mandoc", "-T", "lint", "-W", "all", HI3861L_SIM_MANUAL});
    EXPECT_EQ(lint(mandoc.out + mandoc.err), "");
    const test::Result man = test::run({"env", "LC_ALL=C", "man", "--warnings", "-E", "UTF-8", "-l",
                                        "-Tutf8", "-Z", HI3861L_SIM_MANUAL});
    EXPECT_EQ(man.status, exited(0));
    EXPECT_EQ(man.err, "");
}

TEST(TheManualPage, TellsOfEveryOptionCommandAndFault) {
    std::ifstream file(HI3861L_SIM_MANUAL);
    std::stringstream page;
    page << file.rdbuf();
    const std::string help = run_sim({"--help"}).out;
    std::istringstream lines(help.substr(0, help.find("Values that can be set")));
    std::string line;
    std::string heading;
    int checked = 0;
    while (std::getline(lines, line)) {
        heading = line.starts_with(" ") || line.empty() ? heading : line;
        const bool item = line.starts_with("  ") && !line.starts_with("   ");
        std::istringstream words(line);
        std::string name;
        if (!item || heading.starts_with("Subcommands") || !(words >> name)) {
            continue;
        }
        name = name.substr(name.find(',') + 1);  // "-h,--help"
        checked++;
        const bool told = name.starts_with("--")
                              ? page.str().find("Fl -" + name.substr(2)) != std::string::npos
                              : page.str().find("Cm " + name) != std::string::npos ||
                                    page.str().find(", " + name) != std::string::npos;
        EXPECT_TRUE(told) << name;
    }
    EXPECT_GE(checked, 40);
}

// --- control, the client

TEST(Control, PrintsTheAnswerAndExitsByIt) {
    const scratch_folder folder;
    const sim_process sim(folder);
    const test::Result good = run_control(sim, {"get", "battery"});
    EXPECT_EQ(good.status, exited(0));
    EXPECT_EQ(good.out, "battery=80\nok\n");
    EXPECT_EQ(good.err, "");
    EXPECT_EQ(run_control(sim, {"set", "net", "10.0.0.2/8", "gw", "10.0.0.1"}).status, exited(0));
    EXPECT_EQ(run_control(sim, {"set net 10.0.0.2/8 gw 10.0.0.1"}).status, exited(0));
    const test::Result bad = run_control(sim, {"get", "nothing"});
    EXPECT_EQ(bad.status, exited(1));
    EXPECT_EQ(bad.out, "");
    EXPECT_TRUE(bad.err.starts_with("error: ")) << bad.err;
    EXPECT_EQ(run_control(sim, {}).status, exited(2));
    EXPECT_EQ(run_control(sim, {"get battery\nquit"}).status, exited(2));
    EXPECT_EQ(run_control(sim, {"get", "battery"}).status, exited(0));
}

TEST(Control, FailsWhenItsAnswerCannotBeWritten) {
    const scratch_folder folder;
    const sim_process sim(folder);
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"control", "--control", sim.control_path(), "state"},
          std::vector<std::string>{"--help"}}) {
        std::vector<std::string> command = {"sh", "-c", "exec \"$@\" >/dev/full", "sh"};
        std::ranges::copy(sim_command(arguments), std::back_inserter(command));
        const test::Result result = test::run(command);
        EXPECT_EQ(result.status, exited(1));
        EXPECT_EQ(result.err, "hi3861l-sim: standard output cannot be written\n");
    }
}

TEST(Control, WithoutASimulatorExitsWithStatusThree) {
    const scratch_folder folder;
    const test::Result result = run_sim({"control", "--control", folder.file("none"), "state"});
    EXPECT_EQ(result.status, exited(3));
    EXPECT_NE(result.err.find("no simulator at " + folder.file("none")), std::string::npos);
    EXPECT_EQ(run_sim({"control", "--control", std::string(200, 'x'), "state"}).status, exited(2));
}

TEST(Control, EndsWithStatusThreeWhenTheSimulatorGoes) {
    const scratch_folder folder;
    sim_process sim(folder);
    const auto before = descriptors_of(sim);
    test::ChildProcess waiting({.command = sim_command({"control", "--control", sim.control_path(),
                                                        "wait-frame", "84", "timeout", "60000"}),
                                .environment = {},
                                .input = {}});
    ASSERT_TRUE(test::wait_until([&] { return descriptors_of(sim) > before; }));
    sim.process().send_signal(SIGKILL);
    EXPECT_EQ(waiting.wait_exit(), exited(3));
}

// --- the control socket

TEST(TheControlSocket, ServesManyClientsAtOnce) {
    const scratch_folder folder;
    const sim_process sim(folder);
    std::vector<control_connection> clients;
    for (int i = 0; i < 50; i++) {
        clients.push_back(sim.control());
    }
    auto waiting = sim.control();
    waiting.send("wait-frame 84 timeout 600000\n");
    for (control_connection& each : clients) {
        each.send("get led\n");
    }
    for (control_connection& each : clients) {
        EXPECT_EQ(each.line(), "led=0");
        EXPECT_EQ(each.line(), "ok");
    }
}

TEST(TheControlSocket, AnswersTheLinesOfOneClientInOrder) {
    const scratch_folder folder;
    const sim_process sim(folder);
    auto client = sim.control();
    client.send("set led 1\nget led\r\nwait-frame 84 timeout 5\nfoo\nset led 2\nget led");
    client.shut_writing();
    std::string all;
    while (const auto line = client.line()) {
        all += *line + "\n";
    }
    EXPECT_EQ(all,
              "ok\nled=1\nok\nerror: timeout: 0 of 1 frames 0x84 get_time\n"
              "error: command \"foo\" is not known; \"help\" lists the commands\n"
              "ok\nled=2\nok\n");
}

TEST(TheControlSocket, TakesCommandsInPieces) {
    const scratch_folder folder;
    const sim_process sim(folder);
    auto client = sim.control();
    for (const char c : std::string("get led\n")) {
        client.send(std::string(1, c));
    }
    EXPECT_EQ(client.line(), "led=0");
}

TEST(TheControlSocket, RefusesALineWithoutEndAndGoesOn) {
    const scratch_folder folder;
    sim_process sim(folder);
    auto client = sim.control();
    bool closed = false;
    try {
        for (int i = 0; i < 64; i++) {
            client.send(std::string(65536, 'x'));
        }
    } catch (const std::runtime_error&) {
        closed = true;
    }
    EXPECT_TRUE(closed || client.line() == "error: line too long");
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
}

TEST(TheControlSocket, HoldsUpAClientThatDoesNotReadAndLosesNothing) {
    const scratch_folder folder;
    sim_process sim(folder);
    auto client = sim.control();
    const std::string command = "get wifi-extended-status\n";
    std::string commands;
    while (commands.size() < 2 * 1024 * 1024) {
        commands += command;
    }
    size_t sent = 0;
    pollfd room{client.fd(), POLLOUT, 0};
    while (sent < commands.size() && poll(&room, 1, 200) == 1) {
        const ssize_t size =
            send(client.fd(), commands.data() + sent, commands.size() - sent, MSG_DONTWAIT);
        sent += size > 0 ? static_cast<size_t>(size) : 0;
    }
    EXPECT_LT(sent, commands.size());
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
    const std::string answer = "wifi-extended-status=" + std::string(2 * 264, '0');
    for (size_t i = 0; i < sent / command.size(); i++) {
        ASSERT_EQ(client.line(), answer) << i;
        ASSERT_EQ(client.line(), "ok") << i;
    }
}

TEST(TheControlSocket, SleepsWhileItHasNoDescriptorForAClient) {
    const scratch_folder folder;
    sim_process sim(folder);
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
    const rlimit few = {.rlim_cur = 16, .rlim_max = 16};
    ASSERT_EQ(prlimit(sim.process().pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<control_connection> clients;
    for (int i = 0; i < 30; i++) {
        clients.push_back(sim.control());
    }
    ASSERT_TRUE(test::wait_until([&] { return descriptors_of(sim) == 16; }));
    const long before = pauses_of(sim);
    EXPECT_TRUE(test::wait_until([&] { return pauses_of(sim) > before + 3; }));
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
    clients.erase(clients.begin(), clients.begin() + 25);
    EXPECT_EQ(clients.back().ask("get led"), "led=0\nok");
}

TEST(TheControlSocket, OutlivesClientsThatLeaveInTheMiddle) {
    const scratch_folder folder;
    sim_process sim(folder);
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
    const auto before = descriptors_of(sim);
    for (int i = 0; i < 20; i++) {
        sim.control().send("wait-frame 84 timeout 600000\n");
        sim.control().send("help\nhelp\nhelp\n");
        sim.control().send("get l");
        (void)sim.control();
    }
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
    // Nothing is kept for those who left.
    EXPECT_TRUE(test::wait_until([&] { return descriptors_of(sim) == before; }));
}

TEST(TheControlSocket, TakesBytesThatAreNoText) {
    const scratch_folder folder;
    sim_process sim(folder);
    auto client = sim.control();
    std::string noise;
    for (int i = 0; i < 256; i++) {
        noise += i == '\n' ? 'x' : static_cast<char>(i);
    }
    client.send(noise + "\n");
    EXPECT_TRUE(client.line().value_or("").starts_with("error: "));
    EXPECT_EQ(sim.ask("get led"), "led=0\nok");
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

    bytes taken;
    std::string noted;
    link->on_message([&](bytes_view frame) {
        taken.assign(frame.begin(), frame.end());
        loop.stop();
    });
    link->on_note([&](const std::string& what) { noted = what; });
    const bytes datagram =
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

}  // namespace
}  // namespace quon::sim
