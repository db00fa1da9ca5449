// The two shell services with real commands.

#include "shell_services.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "captured_output.h"
#include "expected_texts.h"
#include "fake_operations.h"
#include "waiting.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

Bytes command(const std::string& text) {
    Bytes request = bytes_of(text);
    request.resize(DBUS_DATA_SIZE);
    return request;
}

std::string reply_text(const Outcome& outcome) {
    return {outcome.reply.begin(), outcome.reply.begin() + outcome.result};
}

// ---- "get.system" -----------------------------------------------------------------------------

struct StatusRow {
    const char* command;
    const char* reply;  // the wait status in decimal
};

const StatusRow kStatuses[] = {
    {"true", "0"}, {"exit 0", "0"},     {"exit 1", "256"},     {"exit 3", "768"},
    {"", "0"},     {"kill -9 $$", "9"}, {"exit 255", "65280"}, {"true; exit 2", "512"},
};

TEST(TheSystemService, RepliesWithTheWaitStatusAsDecimalText) {
    for (const StatusRow& row : kStatuses) {
        SCOPED_TRACE(row.command);
        const Outcome outcome = run_method(system_call, command(row.command));
        EXPECT_EQ(reply_text(outcome), row.reply);
        EXPECT_EQ(outcome.output,
                  log_line("I/", "system_call", std::string("exec: ") + row.command + "\n"));
    }
}

TEST(TheSystemService, RepliesMinusOneAsTextWhenTheCommandCannotBeWaitedFor) {
    std::signal(SIGCHLD, SIG_IGN);
    const Outcome outcome = run_method(system_call, command("true"));
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(outcome.result, 2);
    EXPECT_EQ(reply_text(outcome), "-1");
}

TEST(TheSystemService, RunsNothingForANullRequest) {
    show_whole_log();
    Bytes reply(DBUS_DATA_SIZE);
    EXPECT_EQ(captured_output(
                  [&] { EXPECT_EQ(system_call(nullptr, 0, reply.data(), DBUS_DATA_SIZE), 1); }),
              "");
    EXPECT_EQ(reply[0], '0');
}

TEST(TheSystemService, Returns0ForANullReply) {
    const std::string output = captured_output(
        [] { EXPECT_EQ(system_call(command("echo ran").data(), 8, nullptr, 0), 0); });
    EXPECT_EQ(output, "ran\n");
    EXPECT_EQ(system_call(nullptr, 0, nullptr, 0), 0);
}

TEST(TheSystemService, LeavesTheCommandsOutputOnTheDaemonsOwn) {
    const Outcome outcome = run_method(system_call, command("echo to the log"));
    EXPECT_EQ(reply_text(outcome), "0");
    EXPECT_NE(outcome.output.find("to the log\n"), std::string::npos);
}

// ---- "get.popen" ------------------------------------------------------------------------------

TEST(ThePopenService, RepliesWithWhatTheCommandPrinted) {
    const Outcome outcome = run_method(popen_call, command("printf 'one\\ntwo'; exit 3"));
    EXPECT_EQ(outcome.result, 7);
    EXPECT_EQ(reply_text(outcome), "one\ntwo");
    EXPECT_EQ(outcome.reply[7], kUntouched);  // no terminator
    EXPECT_EQ(outcome.output, log_line("I/", "popen_call", "exec: printf 'one\\ntwo'; exit 3\n"));
}

TEST(ThePopenService, RepliesWithLength0ToACommandThatPrintsNothing) {
    const Outcome outcome = run_method(popen_call, command("true"));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.reply[0], kUntouched);
}

TEST(ThePopenService, RepliesWithTheFirst4356BytesOfTenThousand) {
    const Outcome outcome = run_method(
        popen_call, command("i=0; while [ $i -lt 1000 ]; do printf 0123456789; i=$((i+1)); done"));
    EXPECT_EQ(outcome.result, 4356);
    EXPECT_EQ(reply_text(outcome).substr(4346), "6789012345");
}

TEST(ThePopenService, StaysWithinTheCapacity) {
    const Outcome outcome = run_method(popen_call, command("printf abcdef"), 4);
    EXPECT_EQ(reply_text(outcome), "abcd");
    EXPECT_EQ(outcome.reply[4], kUntouched);
}

TEST(ThePopenService, GathersOutputThatComesInPieces) {
    const Outcome outcome =
        run_method(popen_call, command("printf a; sleep 0.05; printf b; sleep 0.05; printf c"));
    EXPECT_EQ(reply_text(outcome), "abc");
}

TEST(ThePopenService, TakesStandardOutputAlone) {
    const Outcome outcome = run_method(popen_call, command("echo err >&2; printf out"));
    EXPECT_EQ(reply_text(outcome), "out");
}

TEST(ThePopenService, Returns0ForANullRequest) {
    show_whole_log();
    Bytes reply(DBUS_DATA_SIZE);
    EXPECT_EQ(captured_output(
                  [&] { EXPECT_EQ(popen_call(nullptr, 0, reply.data(), DBUS_DATA_SIZE), 0); }),
              "");
}

TEST(ThePopenService, LogsACommandThatCannotBeStarted) {
    show_whole_log();
    Bytes reply(DBUS_DATA_SIZE, kUntouched);
    const Bytes request = command("printf never");
    std::int32_t result = 0;
    const std::string output = captured_output([&] {
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
        const rlimit none{0, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        result = popen_call(request.data(), 12, reply.data(), DBUS_DATA_SIZE);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(output, log_line("I/", "popen_call", "exec: printf never\n") +
                          log_line("E/", "popen_call",
                                   std::string(expected::kPopenFailed) + "printf never\n"));
    EXPECT_EQ(reply[0], kUntouched);
}

// ---- Both -------------------------------------------------------------------------------------

TEST(AShellCommand, EndsAtTheFirstZeroByteWhateverTheRequestLength) {
    Bytes request = command("printf shown");
    const std::string hidden = "; printf hidden";
    std::copy(hidden.begin(), hidden.end(), request.begin() + 13);
    for (const std::int32_t length : {0, 3, 4356, -1}) {
        Bytes reply(DBUS_DATA_SIZE);
        EXPECT_EQ(popen_call(request.data(), length, reply.data(), DBUS_DATA_SIZE), 5);
        EXPECT_EQ(reply[4], 'n');
    }
}

TEST(AShellCommand, MayFillTheWholePayloadWithoutATerminator) {
    // A comment of x up to the last byte: the command is run and nothing beyond it is read.
    Bytes request(DBUS_DATA_SIZE, 'x');
    const std::string start = "exit 5 #";
    std::copy(start.begin(), start.end(), request.begin());
    const Bytes exact(request);  // no byte beyond it that a reader may touch
    Bytes reply(DBUS_DATA_SIZE);
    EXPECT_EQ(system_call(exact.data(), 4356, reply.data(), DBUS_DATA_SIZE), 4);
    EXPECT_EQ(std::string(reply.begin(), reply.begin() + 4), "1280");

    const std::string print = "printf %s ";
    std::copy(print.begin(), print.end(), request.begin());
    EXPECT_EQ(popen_call(request.data(), 4356, reply.data(), DBUS_DATA_SIZE), 4356 - 10);
}

// Pipes of this process with their flags.
std::map<std::string, unsigned long> open_pipes() {
    std::map<std::string, unsigned long> pipes;
    std::error_code closed_meanwhile;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        const std::string target = fs::read_symlink(entry.path(), closed_meanwhile).string();
        std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
        std::string word;
        while (target.starts_with("pipe:") && info >> word) {
            if (word == "flags:" && info >> word) {
                pipes[target] = std::stoul(word, nullptr, 8);
            }
        }
    }
    return pipes;
}

TEST(AShellCommand, InheritsNoPipeOfAnotherOne) {
    const std::map<std::string, unsigned long> before = open_pipes();
    const std::string gate = testing::TempDir() + "/gate" + std::to_string(getpid());
    const std::string opened = gate + ".opened";
    std::atomic<std::int32_t> result{-2};
    std::thread caller([&] {
        Bytes reply(DBUS_DATA_SIZE);
        const Bytes request = command("touch " + opened + "; while [ ! -e " + gate +
                                      " ]; do sleep 0.01; done; printf x");
        result = popen_call(request.data(), 0, reply.data(), DBUS_DATA_SIZE);
    });
    EXPECT_TRUE(wait_until([&] { return fs::exists(opened); }));
    int added = 0;
    const auto all_kept_back = [&] {
        added = 0;
        for (const auto& [pipe, flags] : open_pipes()) {
            if (!before.contains(pipe)) {
                added++;
                if ((flags & O_CLOEXEC) == 0) {
                    return false;
                }
            }
        }
        return added == 1;
    };
    EXPECT_TRUE(wait_until(all_kept_back)) << added;
    std::ofstream(gate).flush();
    caller.join();
    EXPECT_EQ(result, 1);
    fs::remove(gate);
    fs::remove(opened);
}

// Newer C libraries let `exit` wait for every stream whose lock a thread holds, as fflush(nullptr)
// does in all of them.
TEST(AShellCommand, LeavesEveryStreamFreeWhileItRuns) {
    const std::string gate = testing::TempDir() + "/free" + std::to_string(getpid());
    const std::string runs = gate + ".runs";
    const std::string wait_here =
        "touch " + runs + "; while [ ! -e " + gate + " ]; do sleep 0.01; done";
    for (const std::string& text : {wait_here, "exec >&-; " + wait_here}) {
        SCOPED_TRACE(text);
        std::thread caller([&text] {
            Bytes reply(DBUS_DATA_SIZE);
            EXPECT_EQ(popen_call(command(text).data(), 0, reply.data(), DBUS_DATA_SIZE), 0);
        });
        EXPECT_TRUE(wait_until([&] { return fs::exists(runs); }));
        std::atomic<bool> flushed{false};
        std::thread flusher([&flushed] {
            fflush(nullptr);
            flushed = true;
        });
        EXPECT_TRUE(wait_until([&] { return flushed.load(); }));
        fs::create_directory(gate);  // a file would be opened as a stream
        flusher.join();
        caller.join();
        fs::remove(gate);
        fs::remove(runs);
    }
}

TEST(ShellCommands, RunAtTheSameTimeEachForItsOwnCaller) {
    std::vector<std::thread> callers;
    callers.reserve(8);
    std::atomic<int> right{0};
    for (int i = 0; i < 8; i++) {
        callers.emplace_back([&right, i] {
            Bytes reply(DBUS_DATA_SIZE);
            const std::string wanted = "caller " + std::to_string(i);
            const Bytes request = command("printf 'caller " + std::to_string(i) + "'");
            const std::int32_t length = popen_call(request.data(), 0, reply.data(), DBUS_DATA_SIZE);
            right += std::string(reply.begin(), reply.begin() + length) == wanted ? 1 : 0;
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(right, 8);
}

}  // namespace
}  // namespace quon::test
