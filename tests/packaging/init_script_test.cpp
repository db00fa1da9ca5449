// The init script that ships, in the machine's shell and in that of a camera: what it prints, its
// exit statuses, and the process that it leaves.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "launch.h"
#include "system_test.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

constexpr char kDaemonFile[] = "/tmp/bin/quon_mcu_daemon";
constexpr char kConfig[] = "/tmp/daemon.conf";
constexpr char kPidFile[] = "/tmp/daemon.pid";
constexpr char kLogFile[] = "/tmp/daemon.log";
constexpr char kPrograms[] = "/tmp/programs";
constexpr char kPopen[] = "method.quon.mcu.get.popen";

std::string as_text(const ExitStatus& status) {
    return (status.exited ? "status " : "signal ") + std::to_string(status.code);
}

// Not once it has ended, also before it is waited for.
bool exists(pid_t process) {
    siginfo_t end{};
    if (waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT) == 0) {
        return end.si_pid == 0;
    }
    return kill(process, 0) == 0;  // no child of this one
}

class TheInitScript : public SystemTest, public testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        // What the script leaves behind becomes a child of this process, and ends with the test.
        ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
        for (const char* left : {kPidFile, kLogFile}) {
            unlink(left);
        }
        make_daemon_file();
        configure("");
        make_programs();
    }

    void TearDown() override {
        for (const pid_t child : children_of(getpid())) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        EXPECT_EQ(sanitizer_report(content_of(kLogFile)), "");
        if (HasFailure()) {
            std::cerr << "---- the daemon's log\n" << content_of(kLogFile) << "----\n";
        }
        SystemTest::TearDown();
    }

    // More settings, as lines of shell.
    static void configure(const std::string& more) {
        std::ofstream(kConfig) << "DAEMON=" << kDaemonFile << "\nPIDFILE=" << kPidFile
                               << "\nLOGFILE=" << kLogFile << "\n"
                               << more;
    }

    // "status N", then what it printed, with PID for the number that the pid file then holds.
    static std::string script(const std::string& word, const std::string& before = "") {
        const std::string shell =
            is_busybox() ? std::string("PATH=") + kPrograms + " exec /bin/busybox sh '" : "exec '";
        const Result result =
            run({"/bin/sh", "-c",
                 before + " CONFIG=" + kConfig + " " + shell + QUON_INIT_SCRIPT + "' " + word});
        std::string text = as_text(result.status) + "\n" + result.out + result.err;
        const std::string number = process() == 0 ? "" : "process " + std::to_string(process());
        const std::size_t at = number.empty() ? std::string::npos : text.find(number);
        return at == std::string::npos ? text : text.replace(at, number.size(), "process PID");
    }

    static std::string said(const std::string& words, int status = 0) {
        return "status " + std::to_string(status) + "\nquon_mcu_daemon: " + words + "\n";
    }

    // What the pid file names; 0 without one.
    static pid_t process() {
        pid_t number = 0;
        std::ifstream(kPidFile) >> number;
        return number;
    }

    pid_t start_with_chip() {
        start_chip();
        EXPECT_EQ(script("start"), said("started, process PID"));
        return process();
    }

    static pid_t served_by() {
        BusPeer newcomer;
        return std::stoi(text_of(newcomer.call(kPopen, bytes_of("echo $PPID")).payload()));
    }

  private:
    static bool is_busybox() { return std::string_view(GetParam()) == "BusyBox"; }

    // Where the script finds BusyBox's programs and no other.
    static void make_programs() {
        if (is_busybox()) {
            fs::create_directories(kPrograms);
            const std::string busybox = "/bin/busybox";
            ASSERT_EQ(run({busybox, "--install", "-s", kPrograms}).status,
                      (ExitStatus{.exited = true, .code = 0}));
        }
    }

    // The build's daemon with the chip link, under the name of the installed one.
    static void make_daemon_file() {
        fs::create_directories(fs::path(kDaemonFile).parent_path());
        const LaunchCommand launch = daemon_launch();
        std::ofstream file(kDaemonFile);
        file << "#!/bin/sh\nHI3861L_SIM_SOCKET='" << kChipSocket
             << "'; export HI3861L_SIM_SOCKET\n";
        for (const auto& [name, value] : launch.environment) {
            file << name << "='" << value << "'; export " << name << "\n";
        }
        file << "exec";
        for (const std::string& word : launch.command) {
            file << " '" << word << "'";
        }
        file << "\n";
        file.close();
        chmod(kDaemonFile, 0755);
    }
};

TEST_P(TheInitScript, StartsADaemonThatServesWhenItReturns) {
    const pid_t daemon = start_with_chip();
    EXPECT_TRUE(file_exists(kRunFlag));
    EXPECT_EQ(served_by(), daemon);
    expect_still_serving();
}

TEST_P(TheInitScript, RaisesTheDescriptorLimitTo4096) {
    start_chip();
    EXPECT_EQ(script("start", "ulimit -S -n 256;"), said("started, process PID"));
    rlimit limit{};
    ASSERT_EQ(prlimit(process(), RLIMIT_NOFILE, nullptr, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, 4096U);
    EXPECT_EQ(limit.rlim_max, 4096U);
}

TEST_P(TheInitScript, TakesAnotherDescriptorLimitFromItsConfiguration) {
    start_chip();
    configure("DESCRIPTORS=300\n");
    EXPECT_EQ(script("start"), said("started, process PID"));
    rlimit limit{};
    ASSERT_EQ(prlimit(process(), RLIMIT_NOFILE, nullptr, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, 300U);
}

TEST_P(TheInitScript, SaysThatALimitCannotBeRaisedAndStartsAllTheSame) {
    start_chip();
    configure("DESCRIPTORS=2000000000\n");
    EXPECT_EQ(script("start"),
              said("started, process PID") +
                  "quon_mcu_daemon: the descriptor limit cannot be raised to 2000000000\n");
    expect_still_serving();
}

TEST_P(TheInitScript, LeavesARunningDaemonAloneAtASecondStart) {
    const pid_t daemon = start_with_chip();
    EXPECT_EQ(script("start"), said("runs already, process PID"));
    EXPECT_EQ(process(), daemon);
    EXPECT_EQ(served_by(), daemon);
}

TEST_P(TheInitScript, StartsWithoutAChipToo) {
    EXPECT_EQ(script("start"), said("started, process PID"));
    EXPECT_TRUE(exists(process()));
}

TEST_P(TheInitScript, GivesTheStatusOfTheDaemon) {
    EXPECT_EQ(script("status"), said("does not run", 3));
    const pid_t daemon = start_with_chip();
    EXPECT_EQ(script("status"), said("runs, process PID"));
    ASSERT_GT(daemon, 0);  // 0 would be the tests' own process group
    kill(daemon, SIGKILL);
    EXPECT_TRUE(wait_until([&] { return !exists(daemon); }));
    EXPECT_EQ(script("status"), said("does not run", 3));
}

TEST_P(TheInitScript, TakesAnotherProgramsNumberInThePidFileForNoDaemon) {
    std::ofstream(kPidFile) << getpid() << "\n";
    EXPECT_EQ(script("status"), said("does not run", 3));
    EXPECT_EQ(script("stop"), said("does not run"));
    EXPECT_FALSE(file_exists(kPidFile));
}

TEST_P(TheInitScript, ReturnsFromStopWhenTheDaemonHasEndedAndTakenItsFilesAway) {
    const pid_t daemon = start_with_chip();
    EXPECT_EQ(script("stop"), said("stopped"));
    EXPECT_FALSE(exists(daemon));
    EXPECT_FALSE(file_exists(kRunFlag));
    EXPECT_FALSE(file_exists(kPidFile));
    int status = 0;
    EXPECT_EQ(waitpid(daemon, &status, WNOHANG), daemon);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST_P(TheInitScript, HasNothingToStopWhereNothingRuns) {
    EXPECT_EQ(script("stop"), said("does not run"));
}

TEST_P(TheInitScript, KillsADaemonThatDoesNotEndByItselfWithinFiveSeconds) {
    const pid_t daemon = start_with_chip();
    ASSERT_GT(daemon, 0);
    ASSERT_EQ(kill(daemon, SIGSTOP), 0);
    EXPECT_EQ(script("stop"), said("stopped"));
    int status = 0;
    EXPECT_EQ(waitpid(daemon, &status, WNOHANG), daemon);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(file_exists(kRunFlag));
}

TEST_P(TheInitScript, PutsANewDaemonInThePlaceOfTheOldAtARestart) {
    const pid_t first = start_with_chip();
    EXPECT_EQ(script("restart"), said("stopped") + "quon_mcu_daemon: started, process PID\n");
    EXPECT_NE(process(), first);
    EXPECT_FALSE(exists(first));
    EXPECT_EQ(served_by(), process());
    expect_still_serving();
}

TEST_P(TheInitScript, StartsADaemonAtARestartWhereNoneRan) {
    start_chip();
    EXPECT_EQ(script("restart"), said("does not run") + "quon_mcu_daemon: started, process PID\n");
    expect_still_serving();
}

TEST_P(TheInitScript, RestartsWhileACommandOfAShellServiceStillRuns) {
    const pid_t first = start_with_chip();
    ASSERT_EQ(mkfifo("/tmp/held", 0600), 0);
    BusPeer caller;
    caller.send(method_request("method.quon.mcu.get.system",
                               bytes_of("echo $$ >/tmp/shell; cat /tmp/held")));
    ASSERT_TRUE(wait_until([] { return content_of("/tmp/shell").ends_with('\n'); }));
    const auto shell = static_cast<pid_t>(std::stol(content_of("/tmp/shell")));
    EXPECT_EQ(script("restart"), said("stopped") + "quon_mcu_daemon: started, process PID\n");
    EXPECT_FALSE(exists(first));
    EXPECT_TRUE(exists(shell));
    expect_still_serving();
    EXPECT_TRUE(feed_fifo("/tmp/held", "end"));
    EXPECT_TRUE(wait_until([&] { return !exists(shell); }));
}

TEST_P(TheInitScript, StartsAfterADaemonThatWasKilledAndWaitsForTheNewRunFlag) {
    const pid_t first = start_with_chip();
    ASSERT_GT(first, 0);
    kill(first, SIGKILL);
    ASSERT_TRUE(wait_until([&] { return !exists(first); }));
    const int old_flag = open(kRunFlag, O_PATH | O_CLOEXEC);  // keeps its number in use
    ASSERT_GE(old_flag, 0);
    EXPECT_EQ(script("start"), said("started, process PID"));
    struct stat old_one {};
    struct stat new_one {};
    EXPECT_EQ(fstat(old_flag, &old_one), 0);
    EXPECT_EQ(stat(kRunFlag, &new_one), 0);
    EXPECT_NE(old_one.st_ino, new_one.st_ino);
    close(old_flag);
    expect_still_serving();
}

TEST_P(TheInitScript, FailsWithoutAProgram) {
    configure("DAEMON=/tmp/bin/nothing\n");
    EXPECT_EQ(script("start"), said("there is no program /tmp/bin/nothing", 1));
    EXPECT_FALSE(file_exists(kPidFile));
}

TEST_P(TheInitScript, FailsWithADaemonThatEndsAtOnce) {
    ASSERT_EQ(mkdir(kBusPath, 0755), 0);  // so that it cannot bind its bus socket
    std::ofstream(std::string(kBusPath) + "/inside") << "so that it cannot be removed either";
    EXPECT_EQ(script("start"), said("it ended at once", 1));
    EXPECT_FALSE(file_exists(kPidFile));
}

TEST_P(TheInitScript, AppendsTheDaemonsOutputToItsLogFile) {
    std::ofstream(kLogFile) << "from before\n";
    start_with_chip();
    EXPECT_EQ(script("stop"), said("stopped"));
    const std::string log = content_of(kLogFile);
    EXPECT_TRUE(log.starts_with("from before\n")) << log;
    EXPECT_NE(log.find("ws init ip: "), std::string::npos) << log;
}

TEST_P(TheInitScript, ShowsItsUsageForAnyOtherWord) {
    const std::string usage =
        std::string("status 2\nusage: ") + QUON_INIT_SCRIPT + " start|stop|restart|status\n";
    EXPECT_EQ(script("reload"), usage);
    EXPECT_EQ(script(""), usage);
}

INSTANTIATE_TEST_SUITE_P(In, TheInitScript, testing::Values("TheMachinesShell", "BusyBox"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
}  // namespace quon::test
