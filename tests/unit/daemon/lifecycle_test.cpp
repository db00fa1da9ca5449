// The real entry of the daemon as a process, with the real bus and hand-off and a scripted chip.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "child_process.h"
#include "dbus_socket_common.h"
#include "expected_texts.h"
#include "private_world.h"
#include "waiting.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

constexpr char kRunFlag[] = "/tmp/quon_mcu_daemon_run";
constexpr char kBusSocket[] = "/tmp/dbus-quon.mcu.daemon";
constexpr ExitStatus kEndedBySignalHandler{true, 1};

using Environment = std::vector<std::pair<std::string, std::string>>;

std::string line(const std::string& level, const std::string& function,
                 const std::string& message) {
    return level + "QUON_MCU_DAEMON (quon_mcu_daemon " + function + ") " + message;
}

// "Build time: Nov 16 2025 07:59:01" with every letter and digit alike.
std::string shape_of(std::string text) {
    for (char& c : text) {
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            c = '0';
        } else if (std::isalpha(static_cast<unsigned char>(c)) != 0) {
            c = 'a';
        }
    }
    return text;
}

// Whether every thread of a process waits in the kernel: none is in the midst of printing.
bool rests(pid_t pid) {
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        std::string word;
        while (status >> word && word != "State:") {
        }
        if (!(status >> word) || word != "S") {
            return false;
        }
    }
    return true;
}

class TheDaemon : public testing::Test {
  protected:
    void SetUp() override { enter_private_world(); }

    static std::unique_ptr<ChildProcess> start(const Environment& environment = {}) {
        std::vector<std::string> command = words_of(QUON_EMULATOR);
        command.emplace_back(DAEMON_WITH_SCRIPTED_OPERATIONS);
        return std::make_unique<ChildProcess>(
            ChildProcess::Options{.command = command,
                                  .environment = environment,
                                  .output = ChildProcess::Output::kTerminal,
                                  .separate_errors = false,
                                  .input = {}});
    }

    // Started, with its last line printed and its threads at rest.
    static std::unique_ptr<ChildProcess> start_whole(const Environment& environment = {}) {
        std::unique_ptr<ChildProcess> daemon = start(environment);
        EXPECT_TRUE(daemon->wait_for_text("snapshot ends\n"));
        EXPECT_TRUE(daemon->wait_for_text("ws init ip: 0-0\n"));
        EXPECT_TRUE(wait_until([&] { return rests(daemon->pid()); }));
        return daemon;
    }

    // What it prints from now on until its end, which a signal brings about.
    static std::string last_words(ChildProcess& daemon, int signal_number, ExitStatus expected) {
        const std::size_t from = daemon.output().size();
        daemon.send_signal(signal_number);
        EXPECT_EQ(daemon.wait_exit(), expected);
        return daemon.output().substr(from);
    }

    // The reply to a method that takes a text.
    static std::string call(const std::string& service, const std::string& text) {
        const int socket = peer_that_sent(service, text);
        DbusMsg result{};
        const ssize_t length = recv(socket, &result, sizeof(result), MSG_WAITALL);
        ::close(socket);
        if (length != sizeof(result) || result.result < 0) {
            return "no reply";
        }
        return {result.data, result.data + result.result};
    }

    static int peer_that_sent(const std::string& service, const std::string& text) {
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(std::begin(kBusSocket), std::end(kBusSocket), address.sun_path);
        EXPECT_EQ(connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        const timeval bound{20, 0};
        setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof(bound));
        DbusMsg request{};
        request.head = DBUS_MSG_HEAD;
        request.type = DBUS_TYPE_METHOD;
        const std::string name = "method.quon.mcu." + service;
        std::copy(name.begin(), name.end(), request.name);
        std::copy(text.begin(), text.end(), request.data);
        request.data_len = static_cast<std::uint32_t>(text.size() + 1);
        EXPECT_EQ(send(socket, &request, sizeof(request), MSG_NOSIGNAL),
                  static_cast<ssize_t>(sizeof(request)));
        return socket;
    }
};

// ---- Start ------------------------------------------------------------------------------------

TEST_F(TheDaemon, StartsInItsFixedOrder) {
    const auto daemon = start_whole();
    const std::string output = daemon->output();
    const std::size_t end_of_banner = output.find('\n') + 1;
    EXPECT_EQ(output.substr(0, end_of_banner).find(line("I/", "main", "Ver:V1.0 Build time: ")),
              0U);
    const std::string expected[] = {
        "probe, services there, run flag not there\n",
        "snapshot begins, run flag there\n",
        "snapshot ends\n",
    };
    std::size_t at = end_of_banner;
    for (const std::string& part : expected) {
        const std::size_t found = output.find(part, at);
        ASSERT_NE(found, std::string::npos) << part;
        at = found + part.size();
    }
}

TEST_F(TheDaemon, PrintsItsVersionAndBuildTime) {
    const auto daemon = start_whole();
    const std::string prefix = line("I/", "main", "");
    const std::string banner = daemon->output().substr(0, daemon->output().find('\n'));
    ASSERT_TRUE(banner.starts_with(prefix));
    std::string shape = shape_of(banner.substr(prefix.size()));
    // The day is padded with a blank.
    if (shape.find("aaa  0 ") != std::string::npos) {
        shape.replace(shape.find("aaa  0 "), 7, "aaa 00 ");
    }
    EXPECT_EQ(shape, shape_of("Ver:V1.0 Build time: Nov 16 2025 07:59:01"));
}

TEST_F(TheDaemon, MakesAnEmptyRunFlagOverWhateverWasLeft) {
    std::ofstream(kRunFlag) << "left by an earlier run";
    const auto daemon = start_whole();
    EXPECT_TRUE(fs::is_regular_file(kRunFlag));
    EXPECT_EQ(fs::file_size(kRunFlag), 0U);
}

TEST_F(TheDaemon, ServesWithoutARunFlagThatCannotBeMade) {
    ASSERT_EQ(mkdir(kRunFlag, 0700), 0);
    const auto daemon = start_whole();
    EXPECT_NE(daemon->output().find(line("E/", "quon_mcu_set_run_flag", expected::kNoFlag)),
              std::string::npos);
    EXPECT_EQ(call("get.popen", "printf served"), "served");
}

TEST_F(TheDaemon, MayBeStartedTwice) {
    const auto first = start_whole();
    const auto second = start_whole();
    EXPECT_TRUE(first->running());
    EXPECT_TRUE(second->running());
    EXPECT_TRUE(fs::exists(kRunFlag));
    EXPECT_EQ(call("get.popen", "printf served"), "served");
}

TEST_F(TheDaemon, EndsWithMinusOneWhenTheBusCannotBeReached) {
    fs::create_directories(std::string(kBusSocket) + "/in the way");
    const auto daemon = start();
    EXPECT_EQ(daemon->wait_exit(), (ExitStatus{true, 255}));
    const std::string output = daemon->output();
    EXPECT_EQ(output.substr(output.find('\n') + 1),
              "Cannot bind server socket (/tmp/dbus-quon.mcu.daemon)\n" +
                  line("E/", "quon_mcu_dbus_server_init", expected::kRegisterFailed) +
                  line("E/", "main", expected::kServerFailed));
    EXPECT_FALSE(fs::exists(kRunFlag));
}

TEST_F(TheDaemon, EndsWithZeroAndLeavesTheBusWhenTheChipCannotBeProbed) {
    const auto daemon = start({{"CHIP_PROBE_RESULT", "-1"}});
    EXPECT_EQ(daemon->wait_exit(), (ExitStatus{true, 0}));
    const std::string output = daemon->output();
    const std::string expected = "probe, services there, run flag not there\n" +
                                 line("E/", "main", "mcu_probe_init failed\n");
    // Behind it the bus may tell that it has stopped to listen.
    EXPECT_EQ(output.substr(output.find('\n') + 1, expected.size()), expected);
    EXPECT_FALSE(fs::exists(kBusSocket));
    EXPECT_FALSE(fs::exists(kRunFlag));
}

TEST_F(TheDaemon, TakesAnyProbeResultThatIsNotNegativeForSuccess) {
    const auto daemon = start_whole({{"CHIP_PROBE_RESULT", "1"}});
    EXPECT_TRUE(fs::exists(kRunFlag));
    EXPECT_TRUE(daemon->running());
}

// ---- Signals ----------------------------------------------------------------------------------

struct SignalRow {
    int number;
    const char* line;  // of the log
};

const SignalRow kFatalSignals[] = {
    {SIGINT, "SIGINT\n"},   {SIGQUIT, "SIGQUIT\n"}, {SIGTERM, "SIGTERM\n"},
    {SIGSEGV, "SIGSEGV\n"}, {SIGILL, "SIGILL\n"},   {SIGFPE, "SIGFPE\n"},
};

const std::string kFarewell =
    line("D/", "sig_handler", "\n The progress exited because of the signal: ");

class AFatalSignal : public TheDaemon, public testing::WithParamInterface<SignalRow> {};

TEST_P(AFatalSignal, IsNamedRemovesTheRunFlagAndExitsWithOne) {
    const auto daemon = start_whole();
    EXPECT_TRUE(fs::exists(kRunFlag));
    EXPECT_EQ(last_words(*daemon, GetParam().number, kEndedBySignalHandler),
              kFarewell + line("D/", "sig_handler", GetParam().line));
    EXPECT_FALSE(fs::exists(kRunFlag));
    EXPECT_TRUE(fs::exists(kBusSocket));  // the bus is not deregistered
}

INSTANTIATE_TEST_SUITE_P(OfAll, AFatalSignal, testing::ValuesIn(kFatalSignals),
                         [](const auto& row) {
                             const std::string text = row.param.line;
                             return text.substr(0, text.size() - 1);
                         });

TEST_F(TheDaemon, PrintsSigabrtPastTheLog) {
    const auto loud = start_whole();
    EXPECT_EQ(last_words(*loud, SIGABRT, kEndedBySignalHandler), kFarewell + "SIGABRT\n");
    const auto quiet = start_whole({{"CHIP_LOG_LEVEL", "1"}});
    EXPECT_EQ(last_words(*quiet, SIGABRT, kEndedBySignalHandler), "SIGABRT\n");
    EXPECT_FALSE(fs::exists(kRunFlag));
}

TEST_F(TheDaemon, SaysNothingAboutOtherSignalsBelowLevel4) {
    const auto daemon = start_whole({{"CHIP_LOG_LEVEL", "3"}});
    EXPECT_EQ(last_words(*daemon, SIGTERM, kEndedBySignalHandler), "");
}

TEST_F(TheDaemon, PrintsTheNumberOfASignalThatItDoesNotKnow) {
    for (const int number : {SIGHUP, SIGUSR1, SIGWINCH}) {  // 1 and 10, and one above 15: 28
        const auto daemon = start_whole({{"CHIP_SHARES_HANDLER", std::to_string(number)}});
        EXPECT_EQ(
            last_words(*daemon, number, kEndedBySignalHandler),
            kFarewell + line("D/", "sig_handler", "signum (" + std::to_string(number) + ")\n"));
        EXPECT_FALSE(fs::exists(kRunFlag));
    }
}

TEST_F(TheDaemon, ReportsARunFlagThatIsGone) {
    const std::string report = line("E/", "quon_mcu_clear_run_flag", expected::kFlagStays);
    const auto quiet = start_whole({{"CHIP_LOG_LEVEL", "1"}});
    ASSERT_TRUE(fs::remove(kRunFlag));
    EXPECT_EQ(last_words(*quiet, SIGTERM, kEndedBySignalHandler), report);
    const auto loud = start_whole();
    ASSERT_TRUE(fs::remove(kRunFlag));
    EXPECT_EQ(last_words(*loud, SIGTERM, kEndedBySignalHandler),
              kFarewell + line("D/", "sig_handler", "SIGTERM\n") + report);
}

TEST_F(TheDaemon, LeavesOtherSignalsToTheSystemAndTheRunFlagBehind) {
    for (const int number : {SIGHUP, SIGUSR1, SIGKILL}) {
        const auto daemon = start_whole();
        EXPECT_EQ(last_words(*daemon, number, ExitStatus{false, number}), "");
        EXPECT_TRUE(fs::exists(kRunFlag));
    }
}

TEST_F(TheDaemon, EndsThroughTheHandlerWhenAHandlerOfAServiceFaults) {
    const auto daemon = start_whole();
    const std::size_t from = daemon->output().size();
    EXPECT_EQ(call("get.alarm", ""), "no reply");  // an empty slot, called without a check
    EXPECT_EQ(daemon->wait_exit(), kEndedBySignalHandler);
    EXPECT_EQ(daemon->output().substr(from), kFarewell + line("D/", "sig_handler", "SIGSEGV\n"));
    EXPECT_FALSE(fs::exists(kRunFlag));
}

TEST_F(TheDaemon, EndsThroughTheHandlerWhenTheMainThreadsStackIsFull) {
    std::ofstream(kRunFlag) << "left by an earlier run";
    const auto daemon = start({{"CHIP_OVERFLOWS_STACK", "1"}});
    EXPECT_EQ(daemon->wait_exit(), kEndedBySignalHandler);
    EXPECT_TRUE(daemon->output().ends_with(kFarewell + line("D/", "sig_handler", "SIGSEGV\n")))
        << daemon->output();
    EXPECT_FALSE(fs::exists(kRunFlag));
}

#ifndef __SANITIZE_THREAD__  // it holds a signal back that strikes in its handler
TEST_F(TheDaemon, EndsThroughTheHandlerWhenTheHandlerItselfFaults) {
    const auto daemon = start_whole({{"CHIP_FAULTY_HOOK", "1"}});
    // What is no whole line yet is left out.
    EXPECT_EQ(last_words(*daemon, SIGSEGV, kEndedBySignalHandler),
              kFarewell.substr(0, kFarewell.find('\n') + 1));
    EXPECT_FALSE(fs::exists(kRunFlag));
}
#endif

TEST_F(TheDaemon, EndsOnASignalWhileACommandOfAPeerRuns) {
    const auto daemon = start_whole();
    const int peer = peer_that_sent("get.popen", "echo $$ > /tmp/started; exec sleep 600");
    pid_t sleeper = 0;
    EXPECT_TRUE(wait_until([&] { return bool(std::ifstream("/tmp/started") >> sleeper); }));
    daemon->send_signal(SIGTERM);
    EXPECT_TRUE(wait_until([&] { return !daemon->running(); }));
    if (sleeper > 0) {
        kill(sleeper, SIGKILL);
    }
    EXPECT_EQ(daemon->wait_exit(), kEndedBySignalHandler);
    close(peer);
}

TEST_F(TheDaemon, LogsTheCommandOfAPeerBeforeItRuns) {
    const auto daemon = start_whole();
    const std::pair<std::string, std::string> services[] = {{"get.system", "system_call"},
                                                            {"get.popen", "popen_call"}};
    for (const auto& [service, function] : services) {
        const std::string command = "while [ ! -e /tmp/" + function + " ]; do sleep 0.01; done";
        const int peer = peer_that_sent(service, command);
        EXPECT_TRUE(daemon->wait_for_text(line("I/", function, "exec: " + command + "\n")));
        std::ofstream("/tmp/" + function).flush();  // lets it end
        DbusMsg result{};
        EXPECT_EQ(recv(peer, &result, sizeof(result), MSG_WAITALL),
                  static_cast<ssize_t>(sizeof(result)));
        close(peer);
    }
}

// ---- Memory -----------------------------------------------------------------------------------

struct Mapping {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::string access;
};

std::vector<Mapping> mappings(pid_t pid) {
    std::vector<Mapping> all;
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    for (std::string row; std::getline(maps, row);) {
        Mapping mapping;
        std::istringstream words(row);
        char dash = 0;
        words >> std::hex >> mapping.begin >> dash >> mapping.end >> mapping.access;
        all.push_back(mapping);
    }
    return all;
}

// A further arena of the C library: 64 MB at a multiple of it, the beginning in use.
int arenas(pid_t pid) {
    constexpr std::uint64_t kSize = std::uint64_t{64} << 20;
    const std::vector<Mapping> all = mappings(pid);
    int count = 0;
    for (std::size_t i = 0; i + 1 < all.size(); i++) {
        const bool adjacent = all[i].end == all[i + 1].begin;
        const bool halves = all[i].access == "rw-p" && all[i + 1].access == "---p";
        const bool whole = all[i].begin % kSize == 0 && all[i + 1].end - all[i].begin == kSize;
        count += adjacent && halves && whole ? 1 : 0;
    }
    return count;
}

TEST_F(TheDaemon, KeepsToOneHeapHoweverManyThreadsServe) {
    const auto daemon = start_whole();
    std::vector<int> peers;
    peers.reserve(16);
    for (int i = 0; i < 16; i++) {
        peers.push_back(peer_that_sent("get.popen", "printf served"));
    }
    for (const int peer : peers) {
        DbusMsg result{};
        EXPECT_EQ(recv(peer, &result, sizeof(result), MSG_WAITALL),
                  static_cast<ssize_t>(sizeof(result)));
        close(peer);
    }
    EXPECT_FALSE(mappings(daemon->pid()).empty());
    EXPECT_EQ(arenas(daemon->pid()), 0);
}

// ---- Signal masks -----------------------------------------------------------------------------

// A mask of /proc/PID/task/TID/status for every thread of a process.
std::vector<std::uint64_t> masks(pid_t pid, const std::string& name) {
    std::vector<std::uint64_t> result;
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        std::string word;
        while (status >> word) {
            if (word == name && status >> word) {
                result.push_back(std::stoull(word, nullptr, 16));
            }
        }
    }
    return result;
}

bool holds(std::uint64_t mask, int number) {
    return (mask >> (number - 1) & 1U) != 0;
}

TEST_F(TheDaemon, BlocksTheAlarmInEveryThreadAndIgnoresBrokenPipes) {
    const auto daemon = start_whole();
    EXPECT_EQ(call("get.popen", "printf served"), "served");
    const std::vector<std::uint64_t> blocked = masks(daemon->pid(), "SigBlk:");
    EXPECT_GE(blocked.size(), 3U);  // main, the bus, the hand-off
    for (const std::uint64_t mask : blocked) {
        EXPECT_TRUE(holds(mask, SIGALRM));
    }
    for (const std::uint64_t mask : masks(daemon->pid(), "SigIgn:")) {
        EXPECT_TRUE(holds(mask, SIGPIPE));
    }
    daemon->send_signal(SIGALRM);
    daemon->send_signal(SIGPIPE);
    EXPECT_EQ(call("get.popen", "printf again"), "again");
    EXPECT_TRUE(daemon->running());
}

}  // namespace
}  // namespace quon::test
