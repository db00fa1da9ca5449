// How the daemon ends.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "descriptor.h"
#include "hand_off_peers.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kAnnouncement[] = "\n The progress exited because of the signal: ";

struct FatalSignal {
    int number;
    const char* name;
};

void PrintTo(const FatalSignal& fatal, std::ostream* stream) {
    *stream << fatal.name;
}

class AFatalSignal : public SystemTest, public ::testing::WithParamInterface<FatalSignal> {};

TEST_P(AFatalSignal, IsNamedRemovesTheRunFlagAndEndsWithStatusOne) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    daemon().process().send_signal(GetParam().number);
    EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_FALSE(file_exists(kRunFlag));
    const std::vector<LogLine> log = daemon().log(mark);
    ASSERT_GE(log.size(), 1U) << daemon().output();
    EXPECT_EQ(log[0], (Expected{'D', kDaemonTag, "sig_handler", kAnnouncement}));
    if (GetParam().number == SIGABRT) {  // by puts, as intended
        EXPECT_EQ(log.size(), 1U);
        EXPECT_EQ(log[0].text, std::string(kAnnouncement) + "SIGABRT\n");
    } else {
        ASSERT_EQ(log.size(), 2U) << daemon().output();
        EXPECT_EQ(log[0].text, kAnnouncement);
        EXPECT_EQ(log[1],
                  (Expected{'D', kDaemonTag, "sig_handler", std::string(GetParam().name) + "\n"}));
    }
}

TEST_P(AFatalSignal, PrintsNothingAtTheDefaultLevelButForTheAbort) {
    start();
    EXPECT_EQ(peer().call("method.quon.mcu.get.allwakeup.info").result, 400);
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: 0-0\n"));
    daemon().process().send_signal(GetParam().number);
    EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_EQ(daemon().output(),
              GetParam().number == SIGABRT ? "ws init ip: 0-0\nSIGABRT\n" : "ws init ip: 0-0\n");
}

INSTANTIATE_TEST_SUITE_P(
    OfAll, AFatalSignal,
    ::testing::Values(FatalSignal{SIGINT, "SIGINT"}, FatalSignal{SIGQUIT, "SIGQUIT"},
                      FatalSignal{SIGTERM, "SIGTERM"}, FatalSignal{SIGSEGV, "SIGSEGV"},
                      FatalSignal{SIGILL, "SIGILL"}, FatalSignal{SIGABRT, "SIGABRT"},
                      FatalSignal{SIGFPE, "SIGFPE"}),
    [](const auto& row) { return std::string(row.param.name); });

class ASignal : public SystemTest {
  protected:
    // Ends the daemon with a signal that it does not handle.
    void end_with(int number) {
        start();
        daemon().process().send_signal(number);
        EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = false, .code = number}));
        EXPECT_TRUE(file_exists(kRunFlag));
        EXPECT_TRUE(file_exists(kBusPath));
    }
};

TEST_F(ASignal, ThatIsNotHandledLeavesTheRunFlagBehindOnUserDefined) {
    end_with(SIGUSR1);
}

TEST_F(ASignal, ThatIsNotHandledLeavesTheRunFlagBehindOnHangUp) {
    end_with(SIGHUP);
}

TEST_F(ASignal, ThatKillsLeavesTheRunFlagAndTheNextStartServesAgain) {
    end_with(SIGKILL);
    start_daemon();
    ASSERT_TRUE(chip().wait_for(0x80, 2));
    expect_still_serving();
    EXPECT_TRUE(file_exists(kRunFlag));
}

TEST_F(ASignal, OfTheAlarmClockIsNeverDelivered) {
    start();
    for (int count = 0; count < 3; ++count) {
        daemon().process().send_signal(SIGALRM);
        expect_still_serving();
    }
    EXPECT_TRUE(daemon().process().running());
}

TEST_F(ASignal, OfABrokenPipeIsIgnored) {
    start();
    daemon().process().send_signal(SIGPIPE);
    expect_still_serving();
}

TEST_F(ASignal, LeavesTheSocketsFilesAsTheyAre) {
    start();
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_TRUE(file_exists(kBusPath));
    EXPECT_TRUE(file_exists(kHandOffPath));
}

TEST_F(ASignal, EndsTheDaemonInTheMiddleOfItsWork) {
    start();
    chip().ignore(0x84);
    peer().send(method_request("method.quon.mcu.get.time"));
    peer().send(method_request("method.quon.mcu.get.popen", bytes_of("sleep 1; echo x")));
    ASSERT_TRUE(chip().wait_for(0x84, 2));
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_FALSE(file_exists(kRunFlag));
    while (peer().receive()) {  // what was ready before the end
    }
    EXPECT_TRUE(peer().ended());
}

// Standard output is a pipe that is full and that nobody reads, and a thread waits in a print.
class AFatalSignalToAStuckDaemon : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        unlink("/tmp/out");
        ASSERT_EQ(mkfifo("/tmp/out", 0600), 0);
        out_ = Descriptor(open("/tmp/out", O_RDWR | O_NONBLOCK | O_CLOEXEC));
        ASSERT_TRUE(out_.valid());
    }
    void start_quietly() {
        start_chip();
        start_daemon_after("", "> /tmp/out");
        wait_until_started();
        EXPECT_TRUE(daemon().wait_for_thread("webpreinit"));
    }
    void fill_output() {
        const std::string page(4096, ' ');
        while (write(out_.get(), page.data(), page.size()) > 0) {
        }
        while (write(out_.get(), page.data(), 1) > 0) {
        }
    }
    // The thread that waits for room in standard output; 0 when none comes.
    pid_t stuck_thread() {
        pid_t found = 0;
        const std::string writing = std::to_string(SYS_write) + " 0x1 ";
        EXPECT_TRUE(wait_until([&] {
            const std::string tasks = "/proc/" + std::to_string(daemon().pid()) + "/task/";
            for (const auto& task : std::filesystem::directory_iterator(tasks)) {
                if (content_of(task.path() / "syscall").starts_with(writing)) {
                    found = std::stoi(task.path().filename());
                }
            }
            return found != 0;
        }));
        return found;
    }
    void expect_end_in_time(std::chrono::steady_clock::time_point sent) {
        EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = true, .code = 1}));
        EXPECT_LT(std::chrono::steady_clock::now() - sent, 2s);
        EXPECT_FALSE(file_exists(kRunFlag));
    }
    // To the process, or to one thread of it.
    void expect_end_on(int number, pid_t thread = 0) {
        const auto sent = std::chrono::steady_clock::now();
        ASSERT_EQ(
            syscall(SYS_tgkill, daemon().pid(), thread != 0 ? thread : daemon().pid(), number), 0);
        expect_end_in_time(sent);
    }

  private:
    Descriptor out_;
};

TEST_F(AFatalSignalToAStuckDaemon, EndsItWhileItStarts) {
    fill_output();
    start_chip().ignore_everything();
    start_daemon_after("", "> /tmp/out");
    EXPECT_EQ(stuck_thread(), daemon().pid());  // in a line about the silent chip
    expect_end_on(SIGTERM);                     // the missing run flag is one more line
}

TEST_F(AFatalSignalToAStuckDaemon, EndsItWhenTheInterruptedThreadHoldsTheLog) {
    start_quietly();
    fill_output();
    peer().send(method_request("method.quon.mcu.get.log.profile"));  // an error line
    const pid_t stuck = stuck_thread();
    EXPECT_NE(stuck, daemon().pid());
    ASSERT_TRUE(std::filesystem::remove(kRunFlag));  // the handler's line needs the log, too
    expect_end_on(SIGSEGV, stuck);
}

TEST_F(AFatalSignalToAStuckDaemon, EndsItWhenAnotherThreadHoldsTheLog) {
    start_quietly();
    peer().notify("signal.quon.mcu.set.log.profile", Bytes{1, 4});
    EXPECT_EQ(peer().call("method.quon.mcu.get.log.profile").result, -1);
    fill_output();
    peer().send(method_request("method.quon.mcu.get.log.profile"));
    EXPECT_NE(stuck_thread(), 0);
    expect_end_on(SIGINT);
}

TEST_F(AFatalSignalToAStuckDaemon, EndsItWhenAnotherThreadHoldsTheStream) {
    start_quietly();
    fill_output();
    const LocalProgram program;  // whose coming is printed past the log
    EXPECT_NE(stuck_thread(), 0);
    expect_end_on(SIGABRT);  // as is this signal's name
}

TEST_F(ASignal, DuringTheStartEndsItToo) {
    start_chip().ignore_everything();
    start_daemon();
    ASSERT_TRUE(chip().wait_for(0x81));  // waits for the first answer
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    // There is no run flag yet to be removed.
    EXPECT_TRUE(daemon().has_logged(
        {'E', kDaemonTag, "quon_mcu_clear_run_flag", "remove /tmp/quon_mcu_daemon_run failed\n"}))
        << daemon().output();
}

}  // namespace
}  // namespace quon::test
