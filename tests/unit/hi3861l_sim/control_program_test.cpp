// "hi3861l-sim control", and the control socket as its clients see it.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "sim_process.h"
#include "waiting.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

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

// --- control, the client

TEST(Control, PrintsTheAnswerAndExitsByIt) {
    const scratch_folder folder;
    const sim_process sim(folder);
    const test::Result good = run_control(sim, {"get", "battery"});
    EXPECT_EQ(good.status, exited(0));
    EXPECT_EQ(good.out, "80\n");
    EXPECT_EQ(good.err, "");
    EXPECT_EQ(run_control(sim, {"get", "led", "battery"}).out, "0\n80\n");
    EXPECT_EQ(run_control(sim, {"fault", "84", "delay", "1.5s"}).out, "");
    EXPECT_EQ(run_control(sim, {"faults"}).out, "0x84 delay 1500ms count 1\n");
    EXPECT_EQ(run_control(sim, {"set", "net", "10.0.0.2/8", "gw", "10.0.0.1"}).status, exited(0));
    EXPECT_EQ(run_control(sim, {"set net 10.0.0.2/8 gw 10.0.0.1"}).status, exited(0));
    const test::Result bad = run_control(sim, {"get", "nothing"});
    EXPECT_EQ(bad.status, exited(2));
    EXPECT_EQ(bad.out, "");
    EXPECT_EQ(bad.err, "hi3861l-sim: name \"nothing\" is not known; \"state\" lists all\n");
    EXPECT_EQ(run_control(sim, {}).status, exited(2));
    EXPECT_EQ(run_control(sim, {"get battery\nquit"}).status, exited(2));
    EXPECT_EQ(run_control(sim, {"get", "battery"}).status, exited(0));
}

TEST(Control, TellsFailuresApartByItsStatus) {
    const scratch_folder folder;
    const sim_process sim(folder);
    struct row {
        std::vector<std::string> words;
        int status;
        std::string error;
    };
    const std::vector<row> rows = {
        {{"raw", "84"}, 1, "not sent: no host is connected"},
        {{"sett", "led", "1"}, 2, "command \"sett\" is not known; \"help\" lists the commands"},
        {{"set", "led"}, 2, "value \"\" is not a number from 0 to 255"},
        {{"wait-host", "timeout", "5x"},
         2,
         "timeout \"5x\" is not a time from 0 to 3600000ms, as in 300, 300ms or 1.5s"},
        {{"wait-host", "timeout", "1ms"}, 4, "timeout: no host"},
        {{"wait-frame", "84", "timeout", "0.002s"}, 4, "timeout: 0 of 1 frames 0x84 get_time"},
    };
    for (const row& each : rows) {
        const test::Result result = run_control(sim, each.words);
        EXPECT_EQ(result.status, exited(each.status)) << each.error;
        EXPECT_EQ(result.err, "hi3861l-sim: " + each.error + "\n");
        EXPECT_EQ(result.out, "");
    }
}

TEST(Control, GivesItsResultAsOneJsonDocument) {
    const scratch_folder folder;
    const sim_process sim(folder);
    const auto json = [&](std::vector<std::string> words) {
        words.insert(words.begin(), "--json");
        return run_control(sim, words).out;
    };
    EXPECT_EQ(json({"get", "led", "mac", "firmware-version"}),
              "{\"led\":0,\"mac\":\"02:38:61:00:00:01\","
              "\"firmware-version\":\"Hi3861L-SIM 1.0.0\"}\n");
    EXPECT_EQ(json({"set", "firmware-version", "12"}), "{}\n");
    EXPECT_EQ(json({"get", "firmware-version"}), "{\"firmware-version\":\"12\"}\n");
    EXPECT_EQ(json({"get", "upgrade-checksum", "frames-in"}),
              "{\"upgrade-checksum\":\"00000000\",\"frames-in\":0}\n");
    EXPECT_EQ(json({"faults"}), "[]\n");
    EXPECT_EQ(json({"fault", "any", "twice"}), "{}\n");
    EXPECT_EQ(json({"faults"}), "[\"any twice count 1\"]\n");
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

}  // namespace
}  // namespace quon::sim
