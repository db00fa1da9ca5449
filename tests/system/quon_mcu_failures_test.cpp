// The client when things go wrong, with five at once, and with logs of real programs.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "client_process.h"
#include "descriptor.h"
#include "simulated_chip.h"
#include "stand_in_daemon.h"
#include "system_test.h"

namespace quon::test {
namespace {

class TheClient : public SystemTest {};

// One connection after the other to the bus, until no further one is taken.
std::vector<Descriptor> connections_until_full() {
    std::vector<Descriptor> all;
    for (;;) {
        Descriptor one(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const sockaddr_un address = bus_address();
        if (connect(one.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            EXPECT_EQ(errno, EAGAIN);
            return all;
        }
        all.push_back(std::move(one));
    }
}

// --- what keeps a daemon from answering

// A stop reaches one thread after the other.
bool all_threads_are_stopped(pid_t process) {
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& each : std::filesystem::directory_iterator(tasks)) {
        const std::string stat = content_of(each.path() / "stat");
        const std::size_t name_end = stat.rfind(") ");
        if (name_end == std::string::npos || stat[name_end + 2] != 'T') {
            return false;
        }
    }
    return true;
}

void stop(pid_t process) {
    ASSERT_EQ(kill(process, SIGSTOP), 0);
    ASSERT_TRUE(wait_until([process] { return all_threads_are_stopped(process); }));
}

std::string stopped(pid_t process) {
    const std::string number = std::to_string(process);
    return "the daemon (process " + number + ") is stopped; 'kill -CONT " + number +
           "' lets it go on";
}

TEST_F(TheClient, RunsIntoItsTimeOutWhenTheDaemonIsStopped) {
    start();
    ASSERT_NO_FATAL_FAILURE(stop(daemon().pid()));
    const Result got = run_client({"--timeout", "300", "get", "time"});
    EXPECT_EQ(kill(daemon().pid(), SIGCONT), 0);
    EXPECT_EQ(got.status, exited_with(4));
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.err, "quon-mcu: method.quon.mcu.get.time: no answer within 300 ms: " +
                           stopped(daemon().pid()) + "\n");
}

TEST_F(TheClient, SaysThatAStoppedDaemonTakesNoConnection) {
    start();
    ASSERT_NO_FATAL_FAILURE(stop(daemon().pid()));
    std::vector<Descriptor> waiting = connections_until_full();
    const Result got = run_client({"get", "time"});
    EXPECT_EQ(kill(daemon().pid(), SIGCONT), 0);
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_EQ(got.err, "quon-mcu: " + stopped(daemon().pid()) + "\n");
}

TEST_F(TheClient, SaysThatTheQueueOfConnectionsIsFull) {
    const Descriptor listener = listening_at_bus();
    std::vector<Descriptor> waiting = connections_until_full();
    const Result got = run_client({"get", "time"});
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_EQ(got.err, "quon-mcu: the daemon (process " + std::to_string(getpid()) +
                           ") takes no connections: its queue of them at " + std::string(kBusPath) +
                           " is full\n");
    unlink(kBusPath);
}

TEST_F(TheClient, SaysThatTheListenerHasEnded) {
    const Descriptor listener = listening_at_bus();
    ASSERT_EQ(shutdown(listener.get(), SHUT_RDWR), 0);
    const Result got = run_client({"get", "time"});
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_EQ(got.err, "quon-mcu: the daemon (process " + std::to_string(getpid()) +
                           ") takes no connections any more: its listener at " +
                           std::string(kBusPath) + " has ended\n");
    unlink(kBusPath);
}

TEST_F(TheClient, SaysThatTheDaemonIsGoneWhenItEndsInTheMiddleOfACall) {
    start();
    ChildProcess client({.command = client_command({"exec", "sleep", "30"}),
                         .environment = {},
                         .output = ChildProcess::Output::kPipe,
                         .separate_errors = true,
                         .input = {}});
    ASSERT_TRUE(wait_until([this] { return children_of(daemon().pid()).size() == 1; }));
    const std::vector<pid_t> commands = children_of(daemon().pid());
    daemon().process().terminate();
    const auto status = client.wait_exit();
    for (const pid_t each : commands) {
        kill(each, SIGKILL);
    }
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, exited_with(3)) << client.errors();
    EXPECT_EQ(client.output(), "");
    EXPECT_EQ(client.errors().find("quon-mcu: method.quon.mcu.get.system: "), 0U)
        << client.errors();
}

TEST_F(TheClient, WorksFiveTimesAtOnce) {
    start();
    constexpr int kClients = 5;
    constexpr int kRounds = 10;
    std::vector<std::thread> threads;
    std::vector<std::string> wrong(kClients);
    for (int client = 0; client < kClients; ++client) {
        threads.emplace_back([client, &wrong] {
            const std::string word = "client" + std::to_string(client);
            for (int round = 0; round < kRounds; ++round) {
                const Result got = run_client({"popen", "echo", word});
                const Result time = run_client({"--raw", "call", "get.time"});
                if (got.status != exited_with(0) || got.out != word + "\n" || !got.err.empty() ||
                    time.status != exited_with(0) || time.out.size() != 10) {
                    wrong[static_cast<std::size_t>(client)] += got.out + got.err + time.err;
                }
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    for (const std::string& each : wrong) {
        EXPECT_EQ(each, "");
    }
}

// --- answers that no daemon gives

struct WrongAnswer {
    const char* what;
    std::int32_t result;
    std::uint32_t data_len;
    const char* text;  // payload
    std::vector<std::string> command;
    const char* err;
};

const WrongAnswer kWrongAnswers[] = {
    {"result and length differ",
     10,
     9,
     "",
     {"call", "get.time"},
     "method.quon.mcu.get.time: malformed answer: result 10, length 9"},
    {"longer than a record",
     4357,
     4357,
     "",
     {"call", "get.time"},
     "method.quon.mcu.get.time: malformed answer: result 4357, length 4357"},
    {"longer than memory",
     0x7fffffff,
     0x7fffffff,
     "",
     {"get", "time"},
     "method.quon.mcu.get.time: malformed answer: result 2147483647, length 2147483647"},
    {"a record of another size",
     9,
     9,
     "",
     {"get", "time"},
     "method.quon.mcu.get.time: malformed answer: 9 bytes instead of 10"},
    {"an event of another size",
     5,
     5,
     "",
     {"events"},
     "method.quon.mcu.get.event.info: malformed answer"},
    {"a status that is no number",
     3,
     3,
     "abc",
     {"exec", "true"},
     "method.quon.mcu.get.system: malformed answer: no wait status"},
    {"a snapshot of another size",
     399,
     399,
     "",
     {"wakeup"},
     "method.quon.mcu.get.allwakeup.info: malformed answer: 399 bytes instead of 400"},
    {"an upgrade answered with nothing",
     0,
     0,
     "",
     {"upgrade", "/proc/self/exe"},
     "upgrade stopped at the start: method.quon.mcu.upg.start: malformed answer"},
};

TEST_F(TheClient, EndsWith5AtAMalformedAnswer) {
    for (const WrongAnswer& each : kWrongAnswers) {
        SCOPED_TRACE(each.what);
        const StandInDaemon daemon([&each](const BusRecord& request) {
            BusRecord answer =
                answer_to(request, Bytes(each.text, each.text + std::strlen(each.text)));
            answer.result = each.result;
            answer.data_len = each.data_len;
            return answer;
        });
        const Result got = run_client(each.command);
        EXPECT_EQ(got.status, exited_with(5));
        EXPECT_EQ(got.out, "");
        EXPECT_EQ(got.err, "quon-mcu: " + std::string(each.err) + "\n");
    }
}

TEST_F(TheClient, DoesNotTakeTheAnswerToAnotherRequest) {
    const StandInDaemon::Answer strange_answers[] = {
        [](const BusRecord& request) {
            BusRecord answer = answer_to(request, Bytes(10));
            answer.id += 1;
            return answer;
        },
        [](const BusRecord& request) {
            BusRecord answer = answer_to(request, Bytes(10));
            answer.name = "method.quon.mcu.get.ver";
            return answer;
        },
    };
    for (const auto& each : strange_answers) {
        const StandInDaemon daemon(each);
        EXPECT_EQ(run_client({"--timeout", "300", "get", "time"}).status, exited_with(4));
    }
}

// --- a pipe without a reader

// The wait status of the client with a standard output that nobody reads; its standard error is
// left in `errors`.
int run_without_reader(const std::vector<std::string>& arguments, std::string& errors) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const char* error_file = "/tmp/client-errors";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error_file,
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> words = client_command(arguments);
    std::vector<char*> pointers;
    for (std::string& each : words) {
        pointers.push_back(each.data());
    }
    pointers.push_back(nullptr);
    pid_t child = -1;
    EXPECT_EQ(posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    int status = 0;
    EXPECT_TRUE(wait_until([&] { return waitpid(child, &status, WNOHANG) == child; }));
    errors = content_of(error_file);
    return status;
}

TEST_F(TheClient, EndsBySigpipeWithoutAWordWhenNobodyReadsItsResults) {
    start();
    const std::vector<std::string> commands[] = {
        {"list"},
        {"--help"},
        {"get", "time"},
        {"popen", "echo"},
        {"events", "--follow"},
        {"watch", "--interval", "1000s", "set", "led", "1"},
    };
    for (const auto& each : commands) {
        std::string errors;
        const int status = run_without_reader(each, errors);
        EXPECT_TRUE(WIFSIGNALED(status)) << each[0] << " " << status;
        EXPECT_EQ(WTERMSIG(status), SIGPIPE) << each[0];
        EXPECT_EQ(errors, "") << each[0];
    }
}

// --- logs of the real programs

std::string saved(const std::string& name, const std::string& text) {
    const std::string path = "/tmp/" + name;
    std::ofstream(path) << text;
    return path;
}

TEST_F(TheClient, DecodesTheLogOfARealDaemon) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    ASSERT_EQ(peer().call("method.quon.mcu.get.time").result, 10);
    ASSERT_EQ(peer().call("method.quon.mcu.get.config.info").result, 256);
    const Result got = run_client({"decode", saved("daemon.log", daemon().output().substr(mark))});
    const Bytes time = usual_answer(0x84);
    const std::string first = "chip->host 0x84 get_time len 10 year=" +
                              std::to_string(static_cast<std::int8_t>(time[0])) + " ";
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    EXPECT_EQ(got.out.find(first), 0U) << got.out;
    EXPECT_NE(got.out.find("\nchip->host 0xa7 get_config_info len 256 "), std::string::npos)
        << got.out;
    EXPECT_EQ(std::count(got.out.begin(), got.out.end(), '\n'), 2) << got.out;
    EXPECT_EQ(got.err, "");
}

TEST_F(TheClient, DecodesTheJournalOfTheSimulatedChip) {
    SimulatedChip chip({"--firmware-version", "V9.9"});
    start_daemon();
    ASSERT_TRUE(chip.wait_for(0x80));
    peer().notify("signal.quon.mcu.set.led", Bytes{3});
    ASSERT_TRUE(chip.wait_for(0x85));
    const Result got = run_client({"decode", saved("journal", chip.journal())});
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    EXPECT_NE(got.out.find(" chip->host 0x80 get_version len "), std::string::npos) << got.out;
    EXPECT_NE(got.out.find("version=V9.9"), std::string::npos) << got.out;
    EXPECT_NE(got.out.find(" host->chip 0x85 set_led len 1 value=3\n"), std::string::npos)
        << got.out;
    EXPECT_EQ(got.out.find(" note "), std::string::npos) << got.out;
}

}  // namespace
}  // namespace quon::test
