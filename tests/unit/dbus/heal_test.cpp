// A client whose method thread has ended connects anew; a method thread that cannot end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kPatience = 20000;

class AClientOfAKilledServer : public testing::Test {
  protected:
    void SetUp() override {
        client_ = Dbus_Client_Connect("quon.test.caller", name_.c_str(), 0);
        ASSERT_NE(client_, nullptr);
        kill_server_with_unread_requests();
    }
    void TearDown() override { Dbus_Client_Disconnect(client_); }

    void kill_server_with_unread_requests() {
        RawPeer peer = server_->accept_one().value();
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
        ASSERT_EQ(Dbus_Signal_Send(client_, "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
        server_.reset();
        peer.close_now();
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
    }
    void restart_server() { server_ = std::make_unique<RawServer>(name_); }

    // In another thread, since the call waits for it.
    std::thread answer_one_call() {
        return std::thread([this] {
            peer_.emplace(server_->accept_one().value());
            peer_->send(make_result(peer_->receive().value(), 3, "abc"));
        });
    }

    std::string name_ = fresh_name();
    std::unique_ptr<RawServer> server_ = std::make_unique<RawServer>(name_);
    std::optional<RawPeer> peer_;
    DbusInfo* client_ = nullptr;
};

TEST_F(AClientOfAKilledServer, ReconnectsWithItsNextCall) {
    restart_server();
    std::thread server = answer_one_call();
    DbusReply reply{};
    EXPECT_EQ(Dbus_Method_Call(client_, "method.x", nullptr, 0, kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, 3);
    server.join();
    EXPECT_EQ(threads_named("DbusProcess").size(), 1U);
}

TEST_F(AClientOfAKilledServer, ReconnectsWithItsNextSignal) {
    const int descriptors = open_descriptors();
    restart_server();
    EXPECT_EQ(Dbus_Signal_Send(client_, "signal.y", nullptr, 0, kPatience), DBUS_CALL_OK);
    peer_.emplace(server_->accept_one().value());
    EXPECT_EQ(text_of(peer_->receive().value().name), "signal.y");
    EXPECT_EQ(open_descriptors(),
              descriptors + 2);  // the server's two; the old connection is closed
}

TEST_F(AClientOfAKilledServer, GivesUpAtOnceWhileThereIsNoServer) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(Dbus_Method_Call(client_, "method.x", nullptr, 0, 60000, nullptr),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Signal_Send(client_, "signal.x", nullptr, 0, 60000), DBUS_CALL_NO_CONNECTION);
    EXPECT_LT(now_ms() - begin, 30000);
    restart_server();
    EXPECT_EQ(Dbus_Signal_Send(client_, "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
}

TEST_F(AClientOfAKilledServer, WaitsForABusyOneWithinItsTimeOut) {
    restart_server();
    const std::vector<RawPeer> queue = fill_queue_of(name_);
    const std::int64_t begin = now_ms();
    EXPECT_EQ(Dbus_Signal_Send(client_, "signal.x", nullptr, 0, 200), DBUS_CALL_NO_CONNECTION);
    EXPECT_GE(now_ms() - begin, 200);
    std::thread server([&] {
        for (int i = 0; i < 6; i++) {
            server_->accept_one();
        }
    });
    EXPECT_EQ(Dbus_Signal_Send(client_, "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
    server.join();
}

TEST_F(AClientOfAKilledServer, HealsAsOftenAsItIsNeeded) {
    for (int i = 0; i < 5; i++) {
        restart_server();
        ASSERT_EQ(Dbus_Signal_Send(client_, "signal.y", nullptr, 0, kPatience), DBUS_CALL_OK);
        kill_server_with_unread_requests();
    }
}

TEST_F(AClientOfAKilledServer, ConnectsOnceForAllItsCallers) {
    restart_server();
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; i++) {
        callers.emplace_back([&] {
            EXPECT_EQ(Dbus_Signal_Send(client_, "signal.y", nullptr, 0, kPatience), DBUS_CALL_OK);
        });
    }
    peer_.emplace(server_->accept_one().value());
    for (int i = 0; i < 8; i++) {
        EXPECT_TRUE(peer_->receive()) << i;
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_FALSE(server_->accept_one(10ms));
}

std::atomic<bool> caller_is_held;
std::atomic<bool> hold_caller;

void hold_the_caller(int /*number*/) {
    caller_is_held = true;
    while (hold_caller) {
        usleep(1000);
    }
}

// The caller is held up in the midst of its wait, until another caller has healed the connection.
TEST(ACallWhoseConnectionEnded, EndsAtOnceWhenItLooksOnlyAfterTheHealing) {
    const std::string name = fresh_name();
    auto server = std::make_unique<RawServer>(name);
    DbusInfo* client = Dbus_Client_Connect("quon.test.caller", name.c_str(), 0);
    ASSERT_NE(client, nullptr);
    RawPeer peer = server->accept_one().value();
    signal(SIGUSR1, hold_the_caller);
    hold_caller = true;
    DbusCallStatus status = DBUS_CALL_OK;
    std::thread caller([&] {
        pthread_setname_np(pthread_self(), "caller");
        status = Dbus_Method_Call(client, "method.x", nullptr, 0, 60000, nullptr);
    });
    ASSERT_TRUE(peer.receive());
    ASSERT_TRUE(wait_until([] { return all_asleep("caller"); }));
    pthread_kill(caller.native_handle(), SIGUSR1);
    ASSERT_TRUE(wait_until([] { return caller_is_held.load(); }));
    // A request that nobody reads, so that the end of the server is an error.
    ASSERT_EQ(Dbus_Signal_Send(client, "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
    server.reset();
    peer.close_now();
    ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
    server = std::make_unique<RawServer>(name);
    ASSERT_EQ(Dbus_Signal_Send(client, "signal.y", nullptr, 0, kPatience), DBUS_CALL_OK);
    const std::int64_t begin = now_ms();
    hold_caller = false;
    caller.join();
    EXPECT_EQ(status, DBUS_CALL_NO_CONNECTION);
    EXPECT_LT(now_ms() - begin, 30000);
    Dbus_Client_Disconnect(client);
}

// One that was made with Dbus_Register stays as it is.
TEST(ARegistrationOfOnesOwn, DoesNotReconnectAfterAReadError) {
    const std::string name = fresh_name();
    auto server = std::make_unique<RawServer>(name);
    DbusInfo* info = make_registration(fresh_name(), {});
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    ASSERT_EQ(Dbus_Register(info), 0);
    RawPeer peer = server->accept_one().value();
    ASSERT_EQ(Dbus_Signal_Send(info, "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
    peer.close_now();
    ASSERT_EQ(pthread_join(info->method_thread, nullptr), 0);
    EXPECT_EQ(Dbus_Signal_Send(info, "signal.x", nullptr, 0, kPatience), DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Method_Call(info, "method.x", nullptr, 0, kPatience, nullptr),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_UnRegister(info), 0);
}

// ---- A standard output that takes nothing any more

class FullOutput {
  public:
    FullOutput() {
        std::fflush(stdout);
        saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            std::abort();
        }
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        const std::string block(4096, '.');
        while (write(ends[1], block.data(), block.size()) > 0) {
        }
        fcntl(ends[1], F_SETFL, 0);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
        read_end_ = ends[0];
        // With room of its own: newer C libraries go on filling the old one whole.
        static char room[4096];
        setvbuf(stdout, room, _IOLBF, sizeof(room));
    }
    ~FullOutput() { drain(); }
    FullOutput(const FullOutput&) = delete;
    FullOutput& operator=(const FullOutput&) = delete;

    // Lets whoever is held up go on, and puts the real output back.
    void drain() {
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
            close(read_end_);  // a write that is held up fails now
            saved_ = -1;
        }
    }

  private:
    int saved_ = -1;
    int read_end_ = -1;
};

class AMethodThreadThatIsBlockedInAPrint : public testing::Test {
  protected:
    void SetUp() override {
        signal(SIGPIPE, SIG_IGN);
        client_ = Dbus_Client_Connect("quon.test.caller", name_.c_str(), 0);
        ASSERT_NE(client_, nullptr);
        peer_.emplace(server_.accept_one().value());
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
        output_ = std::make_unique<FullOutput>();
        peer_->send(make_result(make_request("method.nobody"), 0));  // "method node is empty"
        ASSERT_TRUE(wait_until([this] {
            int unread = 0;
            return recv(client_->client_fd, &unread, 1, MSG_PEEK | MSG_DONTWAIT) < 0 &&
                   all_asleep("DbusProcess");
        }));
    }

    std::string name_ = fresh_name();
    RawServer server_{name_};
    std::optional<RawPeer> peer_;
    DbusInfo* client_ = nullptr;
    std::unique_ptr<FullOutput> output_;
};

TEST_F(AMethodThreadThatIsBlockedInAPrint, DelaysUnregisteringForASecondOnly) {
    const pthread_t thread = client_->method_thread;
    const std::int64_t begin = now_ms();
    EXPECT_EQ(Dbus_UnRegister(client_), 0);
    EXPECT_GE(now_ms() - begin, 1000);
    EXPECT_LT(now_ms() - begin, 10000);
    DbusInfo_Free(client_);  // while the thread still uses it
    EXPECT_EQ(threads_named("DbusProcess").size(), 1U);
    output_->drain();
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_TRUE(peer_->sees_end());
}

TEST_F(AMethodThreadThatIsBlockedInAPrint, DelaysDisconnectingForASecondOnly) {
    const std::int64_t begin = now_ms();
    Dbus_Client_Disconnect(client_);
    EXPECT_GE(now_ms() - begin, 1000);
    EXPECT_LT(now_ms() - begin, 10000);
    output_->drain();
    EXPECT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
    EXPECT_TRUE(peer_->sees_end());
}

TEST(Disconnecting, TakesNoPause) {
    const std::string name = fresh_name();
    const RawServer server(name);
    std::int64_t quickest = 1'000'000;
    for (int i = 0; i < 20; i++) {
        DbusInfo* client = Dbus_Client_Connect("me", name.c_str(), kPatience);
        ASSERT_NE(client, nullptr);
        const RawPeer peer = server.accept_one().value();
        timespec begin{};
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &begin);
        Dbus_Client_Disconnect(client);
        clock_gettime(CLOCK_MONOTONIC, &end);
        quickest = std::min(quickest, (end.tv_sec - begin.tv_sec) * std::int64_t{1'000'000} +
                                          (end.tv_nsec - begin.tv_nsec) / 1000);
    }
    EXPECT_LT(quickest, 900);  // microseconds
}

}  // namespace
}  // namespace quon::test
