// scripts/run without options, on a terminal, with the real programs in a real private world.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "script_tree.h"
#include "waiting.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

// A process's descendants.
std::vector<pid_t> descendants(pid_t process) {
    std::vector<pid_t> all;
    const std::string text = std::to_string(process);
    std::ifstream children("/proc/" + text + "/task/" + text + "/children");
    for (pid_t child = 0; children >> child;) {
        all.push_back(child);
        const std::vector<pid_t> further = descendants(child);
        all.insert(all.end(), further.begin(), further.end());
    }
    return all;
}

std::string name_of(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

bool has_ended(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    std::string state;
    while (std::getline(file, state) && !state.starts_with("State:")) {
    }
    return state.empty() || state.find("\tZ") != std::string::npos;
}

// Ends a child, unless it has already been waited for (-1), and its descendants.
void end_with(pid_t child, const std::vector<pid_t>& started) {
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    for (const pid_t one : started) {
        if (!has_ended(one)) {
            kill(one, SIGKILL);
        }
    }
}

class TheView : public testing::Test {
  protected:
    TheView() {
        fs::create_directories(tree.path("build/release"));
        for (const char* part : {"bin", "lib"}) {
            fs::create_directory_symlink(fs::path(QUON_BUILD_FOLDER) / part,
                                         tree.path("build/release/") + part);
        }
        fs::copy(fs::path(QUON_SOURCE_FOLDER) / "tools", tree.path("tools"),
                 fs::copy_options::recursive | fs::copy_options::skip_existing);
        tree.keep_results();
        const std::vector<std::string> command = command_of("scripts/run");
        std::vector<char*> words;
        for (const std::string& word : command) {
            words.push_back(const_cast<char*>(word.c_str()));
        }
        words.push_back(nullptr);
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            execvp(words[0], words.data());
            _exit(127);
        }
        if (child < 0) {
            throw std::runtime_error("no terminal");
        }
        process = child;
        EXPECT_TRUE(shows("Ctrl-C ends everything.")) << shown;
        started = descendants(process);
    }

    ~TheView() override {
        end_with(process, started);
        close(terminal);
    }

    std::vector<std::string> command_of(const std::string& line) {
        std::vector<std::string> command =
            tree.command_of(line, {.further = {"STUB_BUILT=1", "TERM=dumb"}});
        command.erase(command.begin());  // forkpty made the session
        return command;
    }

    void read_some() {
        pollfd ready{terminal, POLLIN, 0};
        std::array<char, 4096> some{};
        if (poll(&ready, 1, 10) == 1) {
            const ssize_t got = read(terminal, some.data(), some.size());
            shown.append(some.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        }
    }

    bool shows(const std::string& text) {
        return wait_until([&] {
            read_some();
            return shown.find(text) != std::string::npos;
        });
    }

    void expect_end(bool exited, int code) {
        int status = 0;
        ASSERT_TRUE(wait_until([&] {
            if (terminal >= 0) {
                read_some();
            }
            return waitpid(process, &status, WNOHANG) == process;
        }));
        process = -1;
        EXPECT_EQ(WIFEXITED(status), exited);
        EXPECT_EQ(exited ? WEXITSTATUS(status) : WTERMSIG(status), code);
        EXPECT_TRUE(wait_until([&] { return std::ranges::all_of(started, has_ended); }));
    }

    void send_to(const std::string& name, int signal_number) {
        const auto program = std::find_if(started.begin(), started.end(),
                                          [&](pid_t one) { return name_of(one) == name; });
        ASSERT_NE(program, started.end()) << name << " does not run";
        kill(*program, signal_number);
    }

    ScriptTree tree{fs::current_path().string()};
    int terminal = -1;
    pid_t process = -1;
    std::string shown;
    std::vector<pid_t> started;
};

TEST_F(TheView, EndsEverythingOnCtrlC) {
    EXPECT_GE(started.size(), 4U);  // both programs, and what names their lines
    ASSERT_EQ(write(terminal, "\x03", 1), 1);
    expect_end(true, 0);
    EXPECT_FALSE(fs::exists(tree.path("build/run.pid")));
}

TEST_F(TheView, LeavesNothingBehindWhenItsTerminalCloses) {
    close(terminal);
    terminal = -1;
    expect_end(true, 0);
    EXPECT_FALSE(fs::exists(tree.path("build/run.pid")));
}

TEST_F(TheView, LeavesNoProcessBehindWhenItIsKilled) {
    kill(process, SIGKILL);
    expect_end(false, SIGKILL);
}

TEST_F(TheView, EndsAStoppedDaemonToo) {
    ASSERT_NO_FATAL_FAILURE(send_to("quon_mcu_daemon", SIGSTOP));
    ASSERT_EQ(write(terminal, "\x03", 1), 1);
    expect_end(true, 0);
}

TEST_F(TheView, GoesOnShowingTheChipWhileTheDaemonIsStopped) {
    ASSERT_EQ(run(command_of("scripts/run --shell hi3861l-sim control wait-host")).status,
              (ExitStatus{true, 0}));
    ASSERT_NO_FATAL_FAILURE(send_to("quon_mcu_daemon", SIGSTOP));
    shown.clear();
    const Result result =
        run(command_of("scripts/run --shell hi3861l-sim control event raw 01 0a"));
    EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.err;
    EXPECT_TRUE(shows("chip   | ")) << shown;
}

TEST_F(TheView, SaysThatTheDaemonHasEnded) {
    ASSERT_NO_FATAL_FAILURE(send_to("quon_mcu_daemon", SIGKILL));
    EXPECT_TRUE(shows("run: the daemon has ended"));
    expect_end(true, 1);
}

TEST_F(TheView, IsOneAtATime) {
    const Result second = run(command_of("scripts/run"));
    EXPECT_EQ(second.status, (ExitStatus{true, 1}));
    EXPECT_EQ(second.err,
              "run: scripts/run runs already: work in it with scripts/run --shell, or end "
              "it with Ctrl-C\n");
}

TEST_F(TheView, HasAShellWithProgramsPagesCompletionsAndAPromptOfItsOwn) {
    const Result shell = run(command_of("scripts/run --shell"),
                             "quon-mcu call get.allwakeup.info --raw | wc -c\n"
                             "complete -p quon-mcu\n"
                             "man -w quon-mcu hi3861l-sim quon_mcu_daemon\n");
    EXPECT_EQ(shell.status, (ExitStatus{true, 0})) << shell.err;
    EXPECT_NE(shell.out.find("400\n"), std::string::npos) << shell.out;
    EXPECT_NE(shell.out.find("-F _quon_mcu quon-mcu\n"), std::string::npos) << shell.out;
    EXPECT_NE(shell.out.find("/docs/man/quon-mcu.1\n"), std::string::npos)
        << shell.out << shell.err;
    EXPECT_NE(shell.out.find("/docs/man/quon_mcu_daemon.8\n"), std::string::npos) << shell.out;
    EXPECT_NE(shell.err.find("[quon-mcu world] "), std::string::npos) << shell.err;
}

struct TourEnd {
    const char* name;
    int signal_number;  // 0: nobody reads its output
};

void PrintTo(const TourEnd& row, std::ostream* out) {
    *out << row.name;
}

class ATour : public testing::TestWithParam<TourEnd> {
  protected:
    // In a private world, with the real programs; its output goes to a pipe.
    ATour() {
        const std::string built = QUON_BUILD_FOLDER;
        const std::string path = "PATH=" + built + "/bin:/usr/bin:/bin:/usr/sbin:/sbin";
        const std::string link = "DEMO_CHIP_LINK=" + built + "/lib/libhi3861l_chip_link.so";
        const std::string tour = QUON_SOURCE_FOLDER "/scripts/lib/demo-tour";
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0 || (process = fork()) < 0) {
            throw std::runtime_error("no process");
        }
        if (process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execlp("env", "env", path.c_str(), link.c_str(), "private-world", tour.c_str(),
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        close(ends[1]);
        output = ends[0];
    }
    ~ATour() override {
        end_with(process, started);
        close(output);
    }

    int output = -1;
    pid_t process = -1;
    std::vector<pid_t> started;
};

TEST_P(ATour, LeavesNothingBehindWhenItEndsEarly) {
    char first = 0;
    ASSERT_EQ(read(output, &first, 1), 1);
    started = descendants(process);
    EXPECT_GE(started.size(), 3U);  // the server, the chip and the daemon
    if (GetParam().signal_number != 0) {
        kill(process, GetParam().signal_number);
    } else {
        close(std::exchange(output, -1));
    }
    int status = 0;
    ASSERT_TRUE(wait_until([&] { return waitpid(process, &status, WNOHANG) == process; }));
    process = -1;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_TRUE(wait_until([&] { return std::ranges::all_of(started, has_ended); }));
}

INSTANTIATE_TEST_SUITE_P(Of, ATour,
                         testing::Values(TourEnd{"AReaderThatGoes", 0},
                                         TourEnd{"ATerminalThatCloses", SIGHUP},
                                         TourEnd{"AnEndFromOutside", SIGTERM}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AShell, NeedsARunningView) {
    ScriptTree tree;
    const Result result = tree.run_script("scripts/run --shell true", {});
    EXPECT_EQ(result.status, (ExitStatus{true, 1}));
    EXPECT_EQ(result.err, "run: nothing runs: start scripts/run in another terminal first\n");
}

}  // namespace
}  // namespace quon::test
