// The chip link as a program sees it: a probe under the preload library, and the same probe linked
// statically with the link inside.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <csignal>
#include <fstream>
#include <set>
#include <thread>

#include "hex.h"
#include "link_probe.h"
#include "text_values.h"

namespace quon::sim {
namespace {

using std::to_string;

// A message as the host sends it: a netlink header of port 1100 in front of the frame.
std::string message(const std::string& frame) {
    const auto length = static_cast<uint8_t>(16 + frame.size() / 2);
    return show_hex(byte_view(&length, 1)) + "000000" + "0000000000000000" + "4c040000" + frame;
}

enum class form { preloaded, linked_in };

class TheChipLink : public testing::TestWithParam<form> {
  protected:
    std::unique_ptr<probe> new_probe(const std::string& simulator = "chip") {
        const std::string name = "fifo" + to_string(++probes_);
        return GetParam() == form::preloaded
                   ? std::make_unique<probe>(folder_, name, CHIP_LINK_PROBE, chip_link_library(),
                                             simulator)
                   : std::make_unique<probe>(folder_, name, CHIP_LINK_PROBE_STATIC, "", simulator);
    }
    std::unique_ptr<sim_process> new_sim() { return std::make_unique<sim_process>(folder_); }

    scratch_folder folder_;

  private:
    int probes_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Preloaded, TheChipLink, testing::Values(form::preloaded));
INSTANTIATE_TEST_SUITE_P(LinkedIn, TheChipLink, testing::Values(form::linked_in));

std::string set_option(const std::string& fd, int level, int name, int value) {
    return "option " + fd + " " + to_string(level) + " " + to_string(name) + " " + to_string(value);
}

TEST_P(TheChipLink, LetsOtherSocketsThrough) {
    const auto program = new_probe();
    const std::string inet = program->ask(new_socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_EQ(program->ask("name " + inet).substr(0, 2), "2 ");
    EXPECT_EQ(program->ask(set_option(inet, SOL_SOCKET, SO_REUSEADDR, 1)), "0");
    const std::string local = program->ask(new_socket(AF_UNIX, SOCK_DGRAM, 0));
    EXPECT_EQ(program->ask("name " + local), "1 0 2");
    EXPECT_EQ(program->ask("recv " + local + " 384 nowait"), "EAGAIN");
    EXPECT_EQ(program->ask("close " + local), "0");
    EXPECT_EQ(program->ask("close " + local), "EBADF");
    EXPECT_EQ(program->ask("recv " + local + " 384 nowait"), "EBADF");
    EXPECT_EQ(program->ask(new_socket(AF_NETLINK, SOCK_RAW, 27)), "EPROTONOSUPPORT");
    EXPECT_EQ(program->ask(new_socket(AF_UNIX, SOCK_DGRAM, 28)), "EPROTONOSUPPORT");
}

TEST_P(TheChipLink, WithoutASimulatorIsAKernelWithoutTheProtocol) {
    EXPECT_EQ(new_probe()->ask("socket 16 3 28"), "EPROTONOSUPPORT");
    const std::string plain_file = folder_.file("chip");
    std::ofstream(plain_file) << "no socket";
    EXPECT_EQ(new_probe()->ask("socket 16 3 28"), "EPROTONOSUPPORT");
    EXPECT_EQ(new_probe(std::string(120, 'x'))->ask("socket 16 3 28"), "EPROTONOSUPPORT");
}

TEST_P(TheChipLink, TakesTheSocketTypesThatNetlinkHas) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const auto type = [](int number) { return new_socket(AF_NETLINK, number, 28); };
    EXPECT_EQ(program->ask("flags " + program->ask(type(SOCK_RAW))), "- -");
    EXPECT_EQ(program->ask("flags " + program->ask(type(SOCK_DGRAM))), "- -");
    EXPECT_EQ(program->ask("flags " + program->ask(type(SOCK_RAW | SOCK_CLOEXEC))), "cloexec -");
    EXPECT_EQ(program->ask("flags " + program->ask(type(SOCK_RAW | SOCK_NONBLOCK))), "- nonblock");
    EXPECT_EQ(program->ask(type(SOCK_STREAM)), "ESOCKTNOSUPPORT");
    EXPECT_EQ(program->ask(type(SOCK_SEQPACKET)), "ESOCKTNOSUPPORT");
}

TEST_P(TheChipLink, GivesAPortToOneSocketAtATime) {
    const auto sim = new_sim();
    const auto first = new_probe();
    const std::string holder = first->channel();
    const std::string other = first->ask("socket 16 3 28");
    EXPECT_EQ(first->ask("bind " + other + " 1100"), "EADDRINUSE");
    EXPECT_EQ(first->ask("bind " + other + " 1101"), "0");

    const auto second = new_probe();
    const std::string fd = second->ask("socket 16 3 28");
    EXPECT_EQ(second->ask("bind " + fd + " 1100"), "EADDRINUSE");
    EXPECT_EQ(first->ask("close " + holder), "0");
    EXPECT_EQ(second->ask("bind " + fd + " 1100"), "0");

    // A killed process holds nothing.
    second->process().send_signal(SIGKILL);
    ASSERT_TRUE(second->process().wait_exit());
    const auto third = new_probe();
    third->channel();
}

TEST_P(TheChipLink, RefusesAMalformedBind) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->ask("socket 16 3 28");
    EXPECT_EQ(program->ask("name " + fd), "16 0 12");
    EXPECT_EQ(program->ask("bind " + fd + " 1100 16 11"), "EINVAL");
    EXPECT_EQ(program->ask("bind " + fd + " 1100 2"), "EINVAL");
    EXPECT_EQ(program->ask("bind " + fd + " 1100"), "0");
    EXPECT_EQ(program->ask("bind " + fd + " 1101"), "EINVAL");
    EXPECT_EQ(program->ask("name " + fd), "16 1100 12");
}

TEST_P(TheChipLink, BindsToTheProcessWhenNoPortIsNamed) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel("0");
    EXPECT_NE(program->ask("name " + fd), "16 0 12");
}

TEST_P(TheChipLink, CarriesMessagesToTheChip) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    EXPECT_EQ(program->ask("send " + fd + " " + message("850100000007") + " 0"), "22");
    EXPECT_EQ(sim->ask("wait-frame 85"), "received=1\nlast=850100000007\nok");
    EXPECT_EQ(program->ask("send " + fd + " " + message("850100000008") + " nowhere"), "22");
    EXPECT_EQ(sim->ask("wait-frame 85 count 2"), "received=2\nlast=850100000008\nok");
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 5"), "ECONNREFUSED");
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 0 2"), "EINVAL");
    EXPECT_EQ(sim->ask("get frames-in"), "frames-in=2\nok");
}

TEST_P(TheChipLink, DeliversOneMessageAReceiveWithItsHeader) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    ASSERT_EQ(sim->ask("event raw 01 aabb"), "ok");
    ASSERT_EQ(sim->ask("event raw 02"), "ok");
    ASSERT_EQ(sim->ask("raw"), "ok");
    // MSG_WAITALL does not join messages. The sender is port 0, the kernel.
    EXPECT_EQ(program->ask("recv " + fd + " 384 all"),
              "23 17000000" + std::string(24, '0') + "0102000000aabb from 16 0 12");
    EXPECT_EQ(program->ask("recv " + fd + " 384 all"),
              "21 15000000" + std::string(24, '0') + "0200000000 from 16 0 12");
    EXPECT_EQ(program->ask("recv " + fd + " 384 all"),
              "16 10000000" + std::string(24, '0') + " from 16 0 12");
    EXPECT_EQ(program->ask("recv " + fd + " 384 nowait"), "EAGAIN");
    EXPECT_EQ(program->ask("poll " + fd + " 0"), "0");
}

TEST_P(TheChipLink, CutsAMessageToTheBuffer) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(sim->ask("raw " + std::string(800, 'a')), "ok");
    }
    EXPECT_EQ(program->ask("poll " + fd + " 20000"), "1");
    const std::string cut =
        "a0010000" + std::string(24, '0') + std::string(2 * (384 - 16), 'a') + " from 16 0 12";
    EXPECT_EQ(program->ask("recv " + fd + " 384 trunc peek"), "416 " + cut);
    EXPECT_EQ(program->ask("recv " + fd + " 384"), "384 " + cut);
    EXPECT_EQ(program->ask("recv " + fd + " 384 trunc"), "416 " + cut);
    EXPECT_EQ(program->ask("recv " + fd + " 0"), "0  from 16 0 12");
    EXPECT_EQ(program->ask("recv " + fd + " 384 nowait"), "EAGAIN");
}

TEST_P(TheChipLink, SendsNothingToASocketWithoutThePort) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->ask("socket 16 3 28");
    EXPECT_EQ(sim->ask("event raw 01"), "error: not sent: no host is connected");
    EXPECT_EQ(program->ask("bind " + fd + " 1101"), "0");
    EXPECT_EQ(sim->ask("event raw 01"), "error: not sent: no host is connected");
    EXPECT_EQ(sim->ask("wait-host timeout 1"), "error: timeout: no host");
}

TEST_P(TheChipLink, EndsAWaitForTheHostWhenThePortIsTaken) {
    const auto sim = new_sim();
    auto waiting = sim->control();
    waiting.send("wait-host\n");
    const auto program = new_probe();
    program->channel();
    EXPECT_EQ(waiting.line(), "ok");
    EXPECT_EQ(sim->ask("get host"), "host=1\nok");
    program->ask("close 3");
    program->tell("quit");
    ASSERT_TRUE(program->process().wait_exit());
    EXPECT_TRUE(test::wait_until([&] { return sim->ask("get host") == "host=0\nok"; }));
}

TEST_P(TheChipLink, IsCancelledWhileItWaits) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    EXPECT_EQ(program->ask("start " + fd), "0");
    EXPECT_EQ(program->ask("cancel"), "cancelled");
    EXPECT_EQ(program->ask("start " + fd), "0");
    ASSERT_EQ(sim->ask("event raw 01"), "ok");
    EXPECT_EQ(program->ask("join").substr(0, 3), "21 ");
}

TEST_P(TheChipLink, IsCancelledWhileTheSimulatorIsAway) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    sim.reset();
    EXPECT_EQ(program->ask("start " + fd), "0");
    const long before = program->pauses();
    EXPECT_TRUE(test::wait_until([&] { return program->pauses() > before + 2; }));
    EXPECT_EQ(program->ask("cancel"), "cancelled");
    // The lock was not left behind.
    EXPECT_EQ(program->ask("close " + fd), "0");
}

TEST_P(TheChipLink, HearsNothingWhileTheSimulatorIsAwayAndSendsFail) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    sim.reset();
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 0"), "ECONNREFUSED");
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 0"), "ECONNREFUSED");
    EXPECT_EQ(program->ask("recv " + fd + " 384 nowait"), "EAGAIN");
    EXPECT_EQ(program->ask("timeout " + fd + " 20"), "0");
    EXPECT_EQ(program->ask("recv " + fd + " 384"), "EAGAIN");
    EXPECT_EQ(program->ask("socket 16 3 28"), "EPROTONOSUPPORT");
}

TEST_P(TheChipLink, SleepsWhileTheSimulatorIsAway) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    sim.reset();
    EXPECT_EQ(program->ask("start " + fd), "0");
    const auto start = std::chrono::steady_clock::now();
    const long used = std::stol(program->ask("cpu"));
    const long before = program->pauses();
    ASSERT_TRUE(test::wait_until([&] { return program->pauses() > before + 10; }));
    const long more = std::stol(program->ask("cpu")) - used;
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    EXPECT_LT(more, passed.count() / 3);
    EXPECT_EQ(program->ask("cancel"), "cancelled");
}

TEST_P(TheChipLink, ReceivesAgainWhenTheSimulatorComesBack) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(program->ask("start " + fd), "0");
        sim.reset();
        sim = new_sim();
        ASSERT_EQ(sim->ask("wait-host timeout 20000"), "ok");
        ASSERT_EQ(sim->ask("event raw 01 0" + to_string(round)), "ok");
        EXPECT_EQ(program->ask("join"), "22 16000000" + std::string(24, '0') + "01010000000" +
                                            to_string(round) + " from 16 0 12");
    }
    // The port came back with it.
    EXPECT_EQ(program->ask("name " + fd), "16 1100 12");
    const auto other = new_probe();
    EXPECT_EQ(other->ask("bind " + other->ask("socket 16 3 28") + " 1100"), "EADDRINUSE");
}

TEST_P(TheChipLink, SendsAgainAtOnceWhenTheSimulatorIsBack) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    sim.reset();
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 0"), "ECONNREFUSED");
    sim = new_sim();
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 0"), "21");
    EXPECT_EQ(program->ask("recv " + fd + " 384").substr(0, 3), "31 ");
    EXPECT_EQ(sim->ask("get host"), "host=1\nok");
}

TEST_P(TheChipLink, KeepsItsSettingsWhenItReconnects) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->ask(new_socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 28));
    EXPECT_EQ(program->ask("bind " + fd + " 1100"), "0");
    EXPECT_EQ(program->ask("timeout " + fd + " 30"), "0");
    sim.reset();
    sim = new_sim();
    EXPECT_EQ(program->ask("send " + fd + " " + message("850100000001") + " 0"), "22");
    EXPECT_EQ(program->ask("flags " + fd), "cloexec -");
    EXPECT_EQ(program->ask("recv " + fd + " 384"), "EAGAIN");
}

TEST_P(TheChipLink, DeliversWhatTheSimulatorSentBeforeItWent) {
    auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    ASSERT_EQ(sim->ask("event raw 01"), "ok");
    ASSERT_EQ(sim->ask("event raw 02"), "ok");
    sim.reset();
    EXPECT_EQ(program->ask("send " + fd + " " + message("8400000000") + " 0"), "ECONNREFUSED");
    EXPECT_EQ(program->ask("recv " + fd + " 384").substr(0, 3), "21 ");
    EXPECT_EQ(program->ask("recv " + fd + " 384").substr(0, 3), "21 ");
    EXPECT_EQ(program->ask("recv " + fd + " 384 nowait"), "EAGAIN");
}

TEST_P(TheChipLink, TakesTheNetlinkOptions) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    const std::string no_overrun = set_option(fd, SOL_NETLINK, NETLINK_NO_ENOBUFS, 1);
    EXPECT_EQ(program->ask(no_overrun), "0");
    EXPECT_EQ(program->ask(no_overrun + " 2"), "EINVAL");  // of two bytes only
    EXPECT_EQ(program->ask(set_option(fd, SOL_NETLINK, 99, 1)), "ENOPROTOOPT");
    EXPECT_EQ(program->ask(set_option(fd, SOL_SOCKET, SO_RCVBUF, 1000000)), "0");
}

TEST_P(TheChipLink, LosesNoMessageOfABurst) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    constexpr int kBurst = 1000;
    auto control = sim->control();
    std::string commands;
    for (int i = 0; i < kBurst; i++) {
        commands += "event raw 01 " + std::string(66, 'a') + "\n";
    }
    commands += "event raw 02\n";
    std::thread writer([&] { control.send(commands); });
    for (int i = 0; i <= kBurst; i++) {
        EXPECT_EQ(control.line(), "ok");
    }
    writer.join();
    EXPECT_EQ(program->ask("drain " + fd),
              to_string(kBurst + 1) + " 21 15000000" + std::string(24, '0') + "0200000000");
}

TEST_P(TheChipLink, DropsWhatAHostDoesNotReadAndDeliversAgainAfterwards) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    int sent = 0;
    std::string answer = "ok";
    while (answer == "ok" && sent < 1000000) {
        answer = sim->ask("raw 01");
        sent += answer == "ok" ? 1 : 0;
    }
    EXPECT_EQ(answer, "error: not sent: the host does not read");
    EXPECT_GT(sent, 1);
    EXPECT_EQ(program->ask("drain " + fd).substr(0, to_string(sent).size() + 1),
              to_string(sent) + " ");
    EXPECT_EQ(sim->ask("event raw 01"), "ok");
    EXPECT_EQ(program->ask("recv " + fd + " 384").substr(0, 3), "21 ");
}

TEST_P(TheChipLink, CarriesTheMessagesOfManyThreads) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    EXPECT_EQ(program->ask("start " + fd), "0");
    EXPECT_EQ(program->ask("storm " + fd + " 8 100 " + message("9700000000")), "0");
    EXPECT_EQ(sim->ask("wait-frame 97 count 800").substr(0, 13), "received=800\n");
    EXPECT_EQ(sim->ask("get wdg-feeds"), "wdg-feeds=800\nok");
    EXPECT_EQ(program->ask("cancel"), "cancelled");
}

TEST_P(TheChipLink, ServesTheFortifiedReceive) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    ASSERT_EQ(sim->ask("event raw 01"), "ok");
    EXPECT_EQ(program->ask("fortified " + fd + " 64"), "21");
    EXPECT_EQ(program->ask("fortified " + fd + " 64"), "EAGAIN");
    program->tell("fortified " + fd + " 65");
    EXPECT_EQ(program->process().wait_exit(), (test::ExitStatus{.exited = false, .code = SIGABRT}));
}

TEST_P(TheChipLink, LeavesAClosedDescriptorToItsNextOwner) {
    const auto sim = new_sim();
    const auto program = new_probe();
    const std::string fd = program->channel();
    EXPECT_EQ(program->ask("close " + fd), "0");
    EXPECT_EQ(program->ask("recv " + fd + " 384 nowait"), "EBADF");
    EXPECT_EQ(program->ask(new_socket(AF_INET, SOCK_DGRAM, 0)), fd);
    EXPECT_EQ(program->ask("name " + fd).substr(0, 2), "2 ");
    EXPECT_TRUE(test::wait_until([&] { return sim->ask("get host") == "host=0\nok"; }));
}

TEST_P(TheChipLink, HasRoomForSixteenSockets) {
    const auto sim = new_sim();
    const auto program = new_probe();
    std::set<std::string> sockets;
    for (int i = 0; i < 16; i++) {
        sockets.insert(program->ask("socket 16 3 28"));
    }
    EXPECT_EQ(sockets.size(), 16U);
    EXPECT_EQ(program->ask("socket 16 3 28"), "ENFILE");
    EXPECT_EQ(program->ask("close " + *sockets.begin()), "0");
    EXPECT_EQ(program->ask("socket 16 3 28"), *sockets.begin());
}

}  // namespace
}  // namespace quon::sim
