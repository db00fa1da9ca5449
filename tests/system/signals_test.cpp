// How the daemon ends.
#include <signal.h>

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

TEST_F(ASignal, DuringTheStartEndsItToo) {
    start_chip().ignore_everything();
    start_daemon();
    ASSERT_TRUE(chip().wait_for(0x81));  // waits for the first answer
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    // There is no run flag yet to be removed.
    EXPECT_TRUE(
        daemon().has_logged({'E', kDaemonTag, "quon_mcu_clear_run_flag", expected::kFlagStays}))
        << daemon().output();
}

}  // namespace
}  // namespace quon::test
