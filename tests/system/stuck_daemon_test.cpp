// How the daemon ends when a thread of it waits in a print for ever.
#include <fcntl.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "descriptor.h"
#include "hand_off_peers.h"
#include "system_test.h"

namespace quon::test {
namespace {

// Two seconds are promised; the rest is for a machine that has much else to do.
constexpr auto kInTime = 10s;

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
    pid_t thread_with(const std::string& name) {
        const std::string tasks = "/proc/" + std::to_string(daemon().pid()) + "/task/";
        for (const auto& task : std::filesystem::directory_iterator(tasks)) {
            if (content_of(task.path() / "comm") == name + "\n") {
                return std::stoi(task.path().filename());
            }
        }
        ADD_FAILURE() << "no thread " << name;
        return -1;
    }
    void expect_end_in_time(std::chrono::steady_clock::time_point sent) {
        EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = true, .code = 1}));
        EXPECT_LT(std::chrono::steady_clock::now() - sent, kInTime);
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
    expect_end_on(SIGFPE, stuck);
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
    const LocalProgram program;  // whose coming is printed bypassing the log
    EXPECT_NE(stuck_thread(), 0);
    expect_end_on(SIGABRT);  // as is this signal's name
}

// ---- The run flag

// The main thread makes the flag, but waits for somebody at the other end.
class AFatalSignalWhileTheRunFlagIsMade : public AFatalSignalToAStuckDaemon {
  protected:
    void SetUp() override {
        AFatalSignalToAStuckDaemon::SetUp();
        ASSERT_EQ(mkfifo(kRunFlag, 0600), 0);
        start_chip();
        start_daemon();
        const std::string main = "/proc/" + std::to_string(daemon().pid()) + "/syscall";
        const std::string opening = std::to_string(SYS_openat) + " ";
        ASSERT_TRUE(chip().wait_for(0x81));
        ASSERT_TRUE(wait_until([&] { return content_of(main).starts_with(opening); }));
    }
};

TEST_F(AFatalSignalWhileTheRunFlagIsMade, OnAnotherThreadWaitsAndRemovesIt) {
    const auto sent = std::chrono::steady_clock::now();
    ASSERT_EQ(syscall(SYS_tgkill, daemon().pid(), thread_with("quon.mcu.daemon"), SIGTERM), 0);
    EXPECT_FALSE(daemon().process().wait_exit(200ms));
    EXPECT_TRUE(file_exists(kRunFlag));
    const Descriptor reader(open(kRunFlag, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    expect_end_in_time(sent);
}

TEST_F(AFatalSignalWhileTheRunFlagIsMade, OnAnotherThreadWaitsNoLongerThanASecond) {
    expect_end_on(SIGTERM, thread_with("quon.mcu.daemon"));
}

TEST_F(AFatalSignalWhileTheRunFlagIsMade, OnTheMainThreadRemovesItAtOnce) {
    expect_end_on(SIGTERM);
}

// The handler is held up on another thread while the main thread goes on starting.
TEST_F(AFatalSignalToAStuckDaemon, LetsNoRunFlagBeMadeAnyMore) {
    const Descriptor watch(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ASSERT_GE(inotify_add_watch(watch.get(), "/tmp", IN_CREATE), 0);
    start_chip().ignore(0x81);
    start_daemon_after("", "> /tmp/out");
    ASSERT_TRUE(chip().wait_for(0x81));
    fill_output();
    const auto sent = std::chrono::steady_clock::now();
    const pid_t listener = thread_with("quon.mcu.daemon");
    ASSERT_EQ(syscall(SYS_tgkill, daemon().pid(), listener, SIGABRT), 0);  // printed past the log
    EXPECT_EQ(stuck_thread(), listener);
    chip().send(0x81, usual_answer(0x81));
    expect_end_in_time(sent);
    Bytes events(65536);
    const ssize_t got = read(watch.get(), events.data(), events.size());
    ASSERT_GT(got, 0);  // the bus socket at least
    events.resize(static_cast<std::size_t>(got));
    EXPECT_NE(text_of(events).find("dbus-quon.mcu.daemon"), std::string::npos);
    EXPECT_EQ(text_of(events).find("quon_mcu_daemon_run"), std::string::npos);
}

}  // namespace
}  // namespace quon::test
