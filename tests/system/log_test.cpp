// The log as the daemon prints it.
#include <sys/time.h>

#include <csignal>
#include <ctime>

#include "system_test.h"

namespace quon::test {
namespace {

class TheLog : public SystemTest {
  protected:
    // The raw line with this text, from its colour on; empty when there is none.
    std::string raw_line(const std::string& text) {
        const std::string output = daemon().output();
        const std::size_t place = output.find(text);
        const std::size_t begin = output.rfind("\x1b[", place);
        if (place == std::string::npos || begin == std::string::npos) {
            return {};
        }
        return output.substr(begin, output.find("\x1b[0m", place) + 4 - begin);
    }
    static std::string without_time(std::string line) {
        const std::size_t begin = line.find(" [");
        line.erase(begin + 2, line.find(']', begin) - begin - 2);
        return line;
    }
    static std::string without_line_number(std::string line) {
        const std::size_t colon = line.find(':', line.find('('));
        line.erase(colon + 1, line.find(')', colon) - colon - 1);
        return line;
    }
    std::string form(const std::string& text) {
        return without_line_number(without_time(raw_line(text)));
    }
};

TEST_F(TheLog, ColoursEachLevelInItsOwnWay) {
    start();
    print_every_level();
    BusRecord bad = method_request("x");
    bad.head = 1;
    peer().send(bad);
    ASSERT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread", "read msg head is invalid"}));
    peer().call("method.quon.mcu.get.system", bytes_of("true"));
    peer().call("method.quon.mcu.upg.finish");
    peer().call("method.quon.mcu.get.log.profile");
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_EQ(form(expected::kEmptySlot),
              std::string("\x1b[31;1mE/QUON_MCU_DAEMON [] (quon_mcu_set_log_profile:) ") +
                  expected::kEmptySlot + "\x1b[0m");
    // A tag of fewer than 8 letters is padded to them.
    EXPECT_EQ(form("read msg head"),
              "\x1b[33;1mW/DBUS     [] (Dbus_ReadWrite_Thread:) "
              "read msg head is invalid, ret = 4568 head:1\n\x1b[0m");
    EXPECT_EQ(form("exec: true"),
              "\x1b[32;1mI/QUON_MCU_DAEMON [] (system_call:) exec: true\n\x1b[0m");
    EXPECT_EQ(form("upgrade finish"),
              "\x1b[32;1mI/HI3861L  [] (hi3861l_api_upg_finish:) upgrade finish\n\x1b[0m");
    EXPECT_EQ(form("SIGTERM"), "\x1b[36;1mD/QUON_MCU_DAEMON [] (sig_handler:) SIGTERM\n\x1b[0m");
}

TEST_F(TheLog, StampsTheLocalTimeWithMilliseconds) {
    const auto now = [] {
        timeval precise{};  // time() may lag behind this clock
        gettimeofday(&precise, nullptr);
        const std::time_t seconds = precise.tv_sec;
        char text[32];
        std::tm parts{};
        localtime_r(&seconds, &parts);
        std::strftime(text, sizeof(text), "%m-%d %H:%M:%S", &parts);
        return std::string(text);
    };
    start();
    const std::string before = now();
    set_level(1);
    const std::string after = now();
    const std::string line = raw_line(expected::kEmptySlot);
    const std::string stamp = line.substr(line.find(" [") + 2, 18);
    EXPECT_GE(stamp.substr(0, 14), before);
    EXPECT_LE(stamp.substr(0, 14), after);
    EXPECT_EQ(stamp[14], '.');
    EXPECT_EQ(stamp.find_first_not_of("0123456789", 15), std::string::npos);
    EXPECT_EQ(line[line.find(" [") + 20], ']');
}

TEST_F(TheLog, CutsALongMessage) {
    start();
    print_every_level();
    const std::string command = "true # " + std::string(400, 'x');
    EXPECT_EQ(peer().call("method.quon.mcu.get.system", bytes_of(command)).payload(),
              bytes_of("0"));
    set_level(1);  // whose line pushes the end of the cut one out
    const std::string message = ("exec: " + command).substr(0, 255);
    const std::string output = daemon().output();
    EXPECT_NE(output.find(") " + message + "\x1b[0m"), std::string::npos) << output;
}

TEST_F(TheLog, IsWholeWhenManyThreadsWriteIt) {
    start();
    print_every_level();
    const std::vector<std::unique_ptr<BusPeer>> peers = connect_peers(10);
    const std::size_t mark = daemon().mark();
    for (std::uint32_t id = 0; id < 10; ++id) {
        for (const auto& each : peers) {
            each->send(method_request("method.quon.mcu.get.log.profile", {}, id));
            chip().send(0x92, pattern(40));  // three lines of a dump
        }
    }
    for (const auto& each : peers) {
        for (int count = 0; count < 10; ++count) {
            ASSERT_TRUE(each->receive());
        }
    }
    const std::string dump =
        "D/HEX recv msg: 0000-000F: 92 28 00 00 00 01 02 03  04 05 06 07 08 09 0A 0B    "
        ".(..............\n"
        "D/HEX recv msg: 0010-001F: 0C 0D 0E 0F 10 11 12 13  14 15 16 17 18 19 1A 1B    "
        "................\n"
        "D/HEX recv msg: 0020-002F: 1C 1D 1E 1F 20 21 22 23  24 25 26 27 28             "
        ".... !\"#$%&'(\n";
    const auto dumps = [&] {
        const std::string output = without_colours(daemon().output().substr(mark));
        int count = 0;
        for (std::size_t place = 0; (place = output.find(dump, place)) != std::string::npos;
             ++place) {
            ++count;
        }
        return count;
    };
    EXPECT_TRUE(wait_until([&] { return dumps() == 100; })) << daemon().output();
    int lines = 0;
    for (const LogLine& line : daemon().log(mark)) {
        lines += line == handler_finds_no_slot(expected::service("get.log.profile"));
    }
    EXPECT_EQ(lines, 100);
}

TEST_F(TheLog, IsInItsFileUpToTheLastLineWhenTheDaemonIsKilled) {
    start_chip();
    start_daemon_after("", "> /tmp/log");
    wait_until_started();
    // The line is printed before the result is sent.
    EXPECT_EQ(peer().call("method.quon.mcu.get.log.profile").result, -1);
    daemon().process().send_signal(SIGKILL);
    EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = false, .code = SIGKILL}));
    const std::vector<LogLine> lines = log_lines_of(content_of("/tmp/log"));
    ASSERT_EQ(lines.size(), 1U) << content_of("/tmp/log");
    EXPECT_EQ(lines[0], handler_finds_no_slot(expected::service("get.log.profile")));
}

}  // namespace
}  // namespace quon::test
