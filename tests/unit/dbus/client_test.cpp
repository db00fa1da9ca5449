#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "hand_spoken_server.h"
#include "pending_call.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

// A registered client of a server that the test speaks by hand.
class AClientThread : public testing::Test {
  protected:
    void SetUp() override {
        info_ = make_registration(fresh_name(), {});
        server_.name().copy(info_->server_name, sizeof(info_->server_name) - 1);
        ASSERT_EQ(Dbus_Register(info_), 0);
        server_.accept_client();
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
    }

    void TearDown() override {
        if (!joined_) {
            Dbus_UnRegister(info_);
            join();
        }
    }

    // How the thread ended: null by itself.
    void* join() {
        joined_ = true;
        void* outcome = &joined_;
        EXPECT_EQ(pthread_join(info_->method_thread, &outcome), 0);
        return outcome;
    }

    void expect_delivery(std::uint32_t id) {
        PendingCall call(info_, "method.x", id);
        server_.peer().send(make_result(call.request(), 2, "ok"));
        ASSERT_TRUE(call.wait_result());
        EXPECT_EQ(payload_of(*call.result()), "ok");
    }

    [[nodiscard]] int client_fd() const {
        pthread_mutex_lock(&info_->mutex);
        const int fd = info_->client_fd;
        pthread_mutex_unlock(&info_->mutex);
        return fd;
    }

    HandSpokenServer server_;
    DbusInfo* info_ = nullptr;
    bool joined_ = false;
};

TEST_F(AClientThread, StoresACopyOfTheWholeResultAndWakesTheCaller) {
    PendingCall first(info_, "method.a", 1);
    PendingCall second(info_, "method.b", 2);
    const OutputCapture capture;
    DbusMsg result = make_result(second.request(), 3, "abc");
    result.data[4355] = 0x7E;
    second.lock();
    server_.peer().send(result);
    EXPECT_TRUE(second.wait_signalled());
    second.unlock();
    ASSERT_NE(second.result(), nullptr);
    EXPECT_EQ(std::memcmp(second.result(), &result, sizeof(result)), 0);
    EXPECT_EQ(first.result(), nullptr);
    EXPECT_EQ(capture.text(), "");
}

struct MismatchRow {
    const char* what;
    std::uint32_t id;
    const char* member;
};

TEST_F(AClientThread, DropsAResultThatMatchesNoCallSilently) {
    PendingCall call(info_, "method.a", 1);
    const OutputCapture capture;
    for (const MismatchRow& row :
         {MismatchRow{"other name", 1, "method.b"}, MismatchRow{"longer name", 1, "method.aa"},
          MismatchRow{"other id", 2, "method.a"}}) {
        server_.peer().send(make_result(make_request(row.member, row.id), 0));
    }
    PendingCall last(info_, "method.last", 9);
    server_.peer().send(make_result(last.request(), 0));
    ASSERT_TRUE(last.wait_result());
    EXPECT_EQ(call.result(), nullptr);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(AClientThread, GivesAResultToTheFirstMatchFromTheHeadOfTheList) {
    PendingCall behind(info_, "method.a", 1);
    PendingCall head(info_, "method.a", 1);
    server_.peer().send(make_result(head.request(), 0));
    EXPECT_TRUE(head.wait_result());
    EXPECT_EQ(behind.result(), nullptr);
}

TEST_F(AClientThread, KeepsTheFirstOfTwoResultsAndSignalsTwice) {
    PendingCall call(info_, "method.a", 1);
    const OutputCapture capture;
    call.lock();
    server_.peer().send(make_result(call.request(), 5, "first"));
    EXPECT_TRUE(call.wait_signalled());
    server_.peer().send(make_result(call.request(), 6, "second"));
    EXPECT_TRUE(call.wait_signalled());
    call.unlock();
    ASSERT_NE(call.result(), nullptr);
    EXPECT_EQ(payload_of(*call.result()), "first");
    EXPECT_EQ(capture.text(), "Dbus_Method_Msg_Result result is already exist\n");
}

TEST_F(AClientThread, SaysThatNoCallIsPending) {
    const OutputCapture capture;
    server_.peer().send(make_result(make_request("method.a"), 0));
    EXPECT_TRUE(wait_until(
        [&] { return capture.text() == "Dbus_Method_Msg_Result method node is empty\n"; }));
}

TEST_F(AClientThread, ReportsAWrongHeadAndReadsOn) {
    const OutputCapture capture;
    DbusMsg wrong = make_result(make_request("method.a"), 0);
    wrong.head = 0xA55A5AA5;
    server_.peer().send(wrong);
    expect_delivery(2);
    EXPECT_EQ(capture.text(),
              "Dbus_Method_Thread read result head is invalid, ret = 4568 head:a55a5aa5\n");
}

TEST_F(AClientThread, TakesAShortReadAsARecord) {
    expect_delivery(2);  // its payload does not show in the next one
    PendingCall call(info_, "method.a", 1);
    const OutputCapture capture;
    const DbusMsg result = make_result(call.request(), 4, "text");
    server_.peer().send_bytes(bytes_of_record(result).first(212));
    ASSERT_TRUE(call.wait_result());
    EXPECT_EQ(call.result()->result, 4);
    EXPECT_EQ(call.result()->data[0], 0);
    server_.peer().send_bytes(bytes_of_record(result).subspan(212, 6));
    EXPECT_TRUE(wait_until([&] {
        return capture.text() ==
               "Dbus_Method_Thread read result head is invalid, ret = 6 head:74786574\n";
    }));
}

TEST_F(AClientThread, ReadsOnAfterAnInterruption) {
    const OutputCapture capture;
    const pid_t thread = threads_named("DbusProcess").at(0);
    ASSERT_TRUE(wait_until([&] {
        interrupt_thread(thread);
        return !capture.text().empty();
    }));
    expect_delivery(3);
    const std::string text = without_line_numbers(capture.text());
    EXPECT_EQ(
        text.substr(0, text.find('\n') + 1),
        "Dbus_Method_Thread LINE read socket data interrupt ret:-1 errno:4 (Interrupted system "
        "call)\n");
}

// errno decides: an earlier interruption makes the end of the stream look like one.
TEST_F(AClientThread, TakesTheEndOfTheStreamForAnInterruptionWhileErrnoSaysSo) {
    const OutputCapture capture;
    const pid_t thread = threads_named("DbusProcess").at(0);
    ASSERT_TRUE(wait_until([&] {
        interrupt_thread(thread);
        return !capture.text().empty();
    }));
    server_.peer().close_now();
    EXPECT_TRUE(wait_until([&] {
        return capture.text().find(
                   "read socket data interrupt ret:0 errno:4 "
                   "(Interrupted system call)\n") != std::string::npos;
    }));
    EXPECT_EQ(capture.text().find("reconnect"), std::string::npos);
}

// A server that closes with requests unread resets the connection.
TEST_F(AClientThread, EndsAfterAReadErrorAndLeavesTheConnectionOpen) {
    const OutputCapture capture;
    const DbusMsg request = make_request("method.a");
    ASSERT_EQ(write(client_fd(), &request, sizeof(request)), 4568);
    server_.peer().close_now();
    EXPECT_EQ(join(), nullptr);
    EXPECT_EQ(without_line_numbers(capture.text()),
              "Dbus_Method_Thread LINE read socket data failed exit this thread, ret:-1 errno:" +
                  std::to_string(ECONNRESET) + " (Connection reset by peer)\n");
    EXPECT_GT(client_fd(), 0);
    EXPECT_GE(fcntl(client_fd(), F_GETFD), 0);
}

TEST_F(AClientThread, ReconnectsWhenTheServerComesBack) {
    PendingCall before(info_, "method.a", 1);
    const OutputCapture capture;
    const int descriptors = open_descriptors();
    server_.close();
    ASSERT_TRUE(
        wait_until([&] { return capture.text().find("reconnect daemon") != std::string::npos; }));
    server_.restart();
    expect_delivery(2);
    EXPECT_EQ(before.result(), nullptr);  // its result went with the old connection
    EXPECT_EQ(without_line_numbers(capture.text()),
              "Dbus_Method_Thread LINE disconnect with server, reconnect, ret:0 errno:0 (Success)\n"
              "Dbus_Method_Reconnect_Daemon LINE server socket is closed, reconnect daemon\n");
    EXPECT_EQ(fcntl(client_fd(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(open_descriptors(), descriptors);  // the old connection is closed
    // And again.
    server_.close();
    server_.restart();
    expect_delivery(3);
}

TEST_F(AClientThread, HoldsTheMutexThroughTheReconnection) {
    const OutputCapture capture;
    server_.close();
    ASSERT_TRUE(
        wait_until([&] { return capture.text().find("reconnect daemon") != std::string::npos; }));
    ASSERT_TRUE(wait_until([&] { return is_reconnecting(info_); }));
    for (int i = 0; i < 100; i++) {  // not even between two attempts
        ASSERT_TRUE(is_reconnecting(info_));
        std::this_thread::sleep_for(1ms);
    }
    server_.restart();
    expect_delivery(2);
}

TEST_F(AClientThread, GivesUpAfterAHundredAttemptsAndEnds) {
    const OutputCapture capture;
    const int descriptors = open_descriptors();
    const std::int64_t begin = now_ms();
    server_.close();
    EXPECT_EQ(join(), nullptr);
    EXPECT_EQ(open_descriptors(), descriptors - 3);  // this end too
    EXPECT_GE(now_ms() - begin, 5000);
    EXPECT_LT(now_ms() - begin, 15000);
    EXPECT_EQ(without_line_numbers(capture.text()),
              "Dbus_Method_Thread LINE disconnect with server, reconnect, ret:0 errno:0 (Success)\n"
              "Dbus_Method_Reconnect_Daemon LINE server socket is closed, reconnect daemon\n"
              "Cannot reconnect to the server (" +
                  server_.name() + ") timeout\n");
    EXPECT_EQ(client_fd(), -1);
    EXPECT_FALSE(is_reconnecting(info_));
}

TEST_F(AClientThread, EndsWhenItCannotMakeASocketForTheReconnection) {
    const OutputCapture capture;
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    server_.close();
    EXPECT_EQ(join(), nullptr);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(without_line_numbers(capture.text()),
              "Dbus_Method_Thread LINE disconnect with server, reconnect, ret:0 errno:0 (Success)\n"
              "Dbus_Method_Reconnect_Daemon LINE server socket is closed, reconnect daemon\n"
              "Cannot create communication socket\n");
    EXPECT_FALSE(is_reconnecting(info_));
}

TEST_F(AClientThread, EndsWhenItIsUnregistered) {
    const OutputCapture capture;
    EXPECT_EQ(Dbus_UnRegister(info_), 0);
    EXPECT_EQ(join(), PTHREAD_CANCELED);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(AClientThread, CanBeCancelledInItsRead) {
    pthread_cancel(info_->method_thread);
    EXPECT_EQ(join(), PTHREAD_CANCELED);
}

TEST_F(AClientThread, IsCancelledInTheMiddleOfAReconnectionAndLetsGoOfTheMutex) {
    const OutputCapture capture;
    server_.close();
    ASSERT_TRUE(wait_until([&] { return is_reconnecting(info_); }));
    const std::int64_t begin = now_ms();
    pthread_cancel(info_->method_thread);
    EXPECT_EQ(join(), PTHREAD_CANCELED);
    EXPECT_LT(now_ms() - begin, 4000);  // the reconnection alone takes 5 s
    EXPECT_FALSE(is_reconnecting(info_));
    EXPECT_EQ(capture.text().find("timeout"), std::string::npos);
}

TEST_F(AClientThread, IsUnregisteredInTheMiddleOfAReconnection) {
    server_.close();
    ASSERT_TRUE(wait_until([&] { return is_reconnecting(info_); }));
    EXPECT_EQ(Dbus_UnRegister(info_), 0);
    EXPECT_EQ(join(), PTHREAD_CANCELED);
}

TEST_F(AClientThread, HasNothingToReconnectToWithoutAServerName) {
    const OutputCapture capture;
    pthread_mutex_lock(&info_->mutex);
    info_->server_name[0] = '\0';
    pthread_mutex_unlock(&info_->mutex);
    const int fd = client_fd();
    server_.close();
    // The reconnection succeeds at once each time, and the next read finds the same end.
    EXPECT_TRUE(wait_until([&] { return count_of(capture.text(), "reconnect daemon\n") >= 3; }));
    EXPECT_EQ(client_fd(), fd);
    EXPECT_EQ(capture.text().find("Cannot"), std::string::npos);
}

}  // namespace
}  // namespace quon::test
