#include "quon_mcu/daemon_state.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <vector>

#include "shared/owned_descriptor.h"

namespace quon::client {
namespace {

namespace fs = std::filesystem;

// A listening socket in a folder of its own, of a process of its own that does nothing else.
class ASocket : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "daemon-state-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        path_ = (folder_ / "socket").string();
    }
    void TearDown() override {
        end_process();
        fs::remove_all(folder_);
    }

    // Listens in another process, after `prepare` has dealt with the listening socket there.
    void listen_elsewhere(
        int queue, void (*prepare)(int) = [](int) {}) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        process_ = fork();
        ASSERT_GE(process_, 0);
        if (process_ == 0) {
            prepare(listening(path_, queue));
            _exit(write(ready[1], "", 1) == 1 ? pause() : 1);
        }
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
    }
    void end_process() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
            process_ = 0;
        }
    }
    void stop_process() {
        ASSERT_EQ(kill(process_, SIGSTOP), 0);
        int status = 0;
        ASSERT_EQ(waitpid(process_, &status, WUNTRACED), process_);
        ASSERT_TRUE(WIFSTOPPED(status));
    }
    void fill_queue() {
        for (;;) {
            owned_descriptor one(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            const sockaddr_un address = address_of(path_);
            if (connect(one.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) !=
                0) {
                return;
            }
            waiting_.push_back(std::move(one));
        }
    }

    std::string named() const { return "the daemon (process " + std::to_string(process_) + ")"; }
    std::string stopped() const {
        return named() + " is stopped; 'kill -CONT " + std::to_string(process_) + "' lets it go on";
    }

    std::string path_;
    pid_t process_ = 0;

  private:
    static sockaddr_un address_of(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path.c_str());
        return address;
    }
    static int listening(const std::string& path, int queue) {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = address_of(path);
        if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
            listen(fd, queue) != 0) {
            _exit(1);
        }
        return fd;
    }

    fs::path folder_;
    std::vector<owned_descriptor> waiting_;
};

TEST_F(ASocket, ThatDoesNotExistHasNoDaemon) {
    EXPECT_EQ(why_unreachable(path_), "no daemon: nobody answers at " + path_);
    EXPECT_EQ(look_at_daemon(path_).state, daemon_state::gone);
}

TEST_F(ASocket, ThatAnEndedProcessLeftHasNoDaemon) {
    listen_elsewhere(1);
    end_process();
    EXPECT_EQ(why_unreachable(path_), "no daemon: nobody answers at " + path_);
    EXPECT_EQ(look_at_daemon(path_).state, daemon_state::gone);
}

TEST_F(ASocket, ThatIsServedHasARunningDaemon) {
    listen_elsewhere(1);
    const daemon_report report = look_at_daemon(path_);
    EXPECT_EQ(report.state, daemon_state::running);
    EXPECT_EQ(report.text, "");
}

TEST_F(ASocket, OfAStoppedProcessSaysHowItGoesOn) {
    listen_elsewhere(1);
    stop_process();
    EXPECT_EQ(why_unreachable(path_), stopped());
    const daemon_report report = look_at_daemon(path_);
    EXPECT_EQ(report.state, daemon_state::stuck);
    EXPECT_EQ(report.text, stopped());
}

TEST_F(ASocket, WhoseQueueIsFullSaysSo) {
    listen_elsewhere(0);
    fill_queue();
    const std::string text =
        named() + " takes no connections: its queue of them at " + path_ + " is full";
    EXPECT_EQ(why_unreachable(path_), text);
    EXPECT_EQ(look_at_daemon(path_).state, daemon_state::stuck);
    EXPECT_EQ(look_at_daemon(path_).text, text);
}

TEST_F(ASocket, WhoseQueueIsFullOfAStoppedProcessSaysThatItIsStopped) {
    listen_elsewhere(0);
    fill_queue();
    stop_process();
    EXPECT_EQ(why_unreachable(path_), stopped());
}

TEST_F(ASocket, WhoseListenerHasEndedSaysSo) {
    listen_elsewhere(1, [](int fd) { shutdown(fd, SHUT_RDWR); });
    const std::string text =
        named() + " takes no connections any more: its listener at " + path_ + " has ended";
    EXPECT_EQ(why_unreachable(path_), text);
    EXPECT_EQ(look_at_daemon(path_).state, daemon_state::stuck);
}

TEST_F(ASocket, WithTooLongAPathIsAFailure) {
    const std::string long_path(200, 'x');
    EXPECT_EQ(why_unreachable(long_path), "no daemon: " + long_path + ": File name too long");
}

}  // namespace
}  // namespace quon::client
