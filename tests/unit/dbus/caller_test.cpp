// Calls against a server that the test speaks by hand.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "client_calls.h"
#include "dbus_socket_common.h"
#include "hand_spoken_server.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

class ACaller : public testing::Test {
  protected:
    void SetUp() override {
        client_ = connect_client(server_.name());
        ASSERT_NE(client_, nullptr);
        server_.accept_client();
    }
    void close_and_wait_for_reconnection() {
        // A caller that has sent but not let go of the registration yet would look like one.
        pthread_mutex_lock(&client_->mutex);
        pthread_mutex_unlock(&client_->mutex);
        const OutputCapture capture;
        server_.close();
        ASSERT_TRUE(wait_until([&] {
            return capture.text().find("reconnect daemon") != std::string::npos &&
                   is_reconnecting(client_.get());
        }));
    }
    // The client's thread has ended after a read error.
    void reset_connection() {
        ASSERT_EQ(Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
        server_.close();  // with the signal unread
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
    }

    HandSpokenServer server_;
    Client client_;
};

TEST_F(ACaller, WritesItsRecords) {
    call(client_, "method.echo", "abc", 0);
    ASSERT_EQ(Dbus_Signal_Send(client_.get(), "signal.take", nullptr, 0, kPatience), DBUS_CALL_OK);
    DbusMsg expected{};
    expected.head = 0x5AA55AA5;
    std::strcpy(expected.src_name, "quon.test.caller");
    server_.name().copy(expected.dst_name, sizeof(expected.dst_name) - 1);
    expected.type = 1;
    std::strcpy(expected.name, "method.echo");
    expected.data_len = 3;
    std::memcpy(expected.data, "abc", 3);
    DbusMsg request = server_.peer().receive().value();
    expected.id = request.id;
    EXPECT_EQ(std::memcmp(&request, &expected, sizeof(request)), 0);

    const DbusMsg signal = server_.peer().receive().value();
    EXPECT_EQ(signal.type, 0U);
    EXPECT_EQ(text_of(signal.name), "signal.take");
    EXPECT_EQ(signal.data_len, 0U);
}

TEST_F(ACaller, ChoosesAFreshIdForEachCall) {
    std::set<std::uint32_t> ids;
    for (int i = 0; i < 100; i++) {
        call(client_, "method.echo", "", 0);
        ids.insert(server_.peer().receive().value().id);
    }
    EXPECT_EQ(ids.size(), 100U);
}

TEST_F(ACaller, PassesOnWhatABrokenServerClaims) {
    std::thread server([&] {
        const DbusMsg request = server_.peer().receive().value();
        DbusMsg result = make_result(request, 3);
        result.data_len = 5000;
        server_.peer().send(result);
    });
    DbusReply reply{};
    EXPECT_EQ(call(client_, "method.x", "", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, 3);
    EXPECT_EQ(reply.data_len, 5000U);
    server.join();
}

TEST_F(ACaller, EndsInTimeWhileTheServerDoesNotRead) {
    // Fill the connection.
    while (Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, 0) == DBUS_CALL_OK) {
    }
    for (const std::int32_t timeout_ms : {0, 30, 200}) {
        const std::int64_t begin = now_ms();
        EXPECT_EQ(call(client_, "method.echo", "x", timeout_ms), DBUS_CALL_TIMEOUT);
        EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, timeout_ms),
                  DBUS_CALL_TIMEOUT);
        EXPECT_GE(now_ms() - begin, 2 * timeout_ms);
        EXPECT_LT(now_ms() - begin, 2 * timeout_ms + kSlack);
    }
    EXPECT_FALSE(has_pending_calls(client_));
    // What was accepted is whole, and the connection is as good as before.
    std::thread server([&] {
        for (;;) {
            const DbusMsg record = server_.peer().receive().value();
            ASSERT_EQ(record.head, 0x5AA55AA5U);
            if (record.type != 0) {
                server_.peer().send(make_result(record, 0));
                return;
            }
        }
    });
    EXPECT_EQ(call(client_, "method.last", "", kPatience), DBUS_CALL_OK);
    server.join();
}

TEST_F(ACaller, WaitsForRoomWithinItsTimeOut) {
    while (Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, 0) == DBUS_CALL_OK) {
    }
    std::atomic<bool> done{false};
    std::thread caller([&] {
        EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.last", nullptr, 0, kPatience),
                  DBUS_CALL_OK);
        done = true;
    });
    EXPECT_TRUE(server_.peer().receive());
    while (!done) {
        server_.peer().receive(1ms);
    }
    caller.join();
}

TEST_F(ACaller, EndsInTimeDuringAReconnectionAndLeavesNothingBehind) {
    std::atomic<int> status{1};
    std::int64_t ended = 0;
    std::thread early([&] {  // is waiting for its result when the server goes
        status = call(client_, "method.early", "", 1000);
        ended = now_ms();
    });
    ASSERT_TRUE(server_.peer().receive());
    const std::int64_t begin = now_ms();
    close_and_wait_for_reconnection();
    EXPECT_EQ(call(client_, "method.late", "", 100), DBUS_CALL_TIMEOUT);
    EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.late", nullptr, 0, 100), DBUS_CALL_TIMEOUT);
    early.join();
    EXPECT_EQ(status, DBUS_CALL_TIMEOUT);
    EXPECT_LT(ended - begin, 1000 + kSlack);
    EXPECT_TRUE(is_reconnecting(client_.get()));  // otherwise this showed nothing

    server_.restart();
    ASSERT_TRUE(wait_until([&] { return !is_reconnecting(client_.get()); }));
    EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.after", nullptr, 0, kPatience), DBUS_CALL_OK);
    EXPECT_FALSE(has_pending_calls(client_));
    EXPECT_EQ(text_of(server_.peer().receive().value().name), "signal.after");
}

TEST_F(ACaller, WaitsForAReconnectionWithinItsTimeOut) {
    close_and_wait_for_reconnection();
    std::thread server([&] {
        server_.restart();
        server_.peer().send(make_result(server_.peer().receive().value(), 0));
    });
    EXPECT_EQ(call(client_, "method.x", "", kPatience), DBUS_CALL_OK);
    server.join();
}

TEST_F(ACaller, LearnsOfALostConnectionWhenTheReconnectionFails) {
    std::atomic<int> status{1};
    std::thread early([&] { status = call(client_, "method.early", "", 60000); });
    ASSERT_TRUE(server_.peer().receive());
    const std::int64_t begin = now_ms();
    close_and_wait_for_reconnection();
    EXPECT_EQ(call(client_, "method.late", "", 60000), DBUS_CALL_NO_CONNECTION);
    early.join();
    EXPECT_EQ(status, DBUS_CALL_NO_CONNECTION);
    EXPECT_LT(now_ms() - begin, 15000);
    EXPECT_EQ(call(client_, "method.x", "", 60000), DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, 60000),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_FALSE(has_pending_calls(client_));
}

TEST_F(ACaller, LearnsOfALostConnectionAfterAReadError) {
    std::atomic<int> status{1};
    std::thread early([&] { status = call(client_, "method.early", "", 60000); });
    ASSERT_TRUE(server_.peer().receive());
    reset_connection();
    early.join();
    EXPECT_EQ(status, DBUS_CALL_NO_CONNECTION);
}

// The write itself fails, with the reading side still open. SIGPIPE has its default action here.
TEST_F(ACaller, LearnsOfALostConnectionFromItsWriteWithoutASignal) {
    ASSERT_EQ(shutdown(server_.peer().descriptor(), SHUT_RD), 0);
    EXPECT_EQ(call(client_, "method.x", "", 60000), DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, 60000),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_FALSE(has_pending_calls(client_));
}

TEST_F(ACaller, IsNotCancelledInTheMiddleOfACall) {
    static std::atomic<int> status{1};
    pthread_t caller{};
    ASSERT_EQ(pthread_create(
                  &caller, nullptr,
                  [](void* info) -> void* {
                      status = Dbus_Method_Call(static_cast<DbusInfo*>(info), "method.x", nullptr,
                                                0, kPatience, nullptr);
                      for (;;) {
                          pthread_testcancel();
                      }
                  },
                  client_.get()),
              0);
    const DbusMsg request = server_.peer().receive().value();
    pthread_cancel(caller);
    server_.peer().send(make_result(request, 0));
    ASSERT_EQ(pthread_join(caller, nullptr), 0);
    EXPECT_EQ(status, DBUS_CALL_OK);
    EXPECT_FALSE(has_pending_calls(client_));
}

TEST_F(ACaller, DisconnectsAndItsThreadIsGone) {
    ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
    client_.reset();
    EXPECT_TRUE(threads_named("DbusProcess").empty());
    EXPECT_TRUE(server_.peer().sees_end());
}

TEST_F(ACaller, DisconnectsInTheMiddleOfAReconnection) {
    close_and_wait_for_reconnection();
    EXPECT_EQ(call(client_, "method.x", "", 10), DBUS_CALL_TIMEOUT);
    const std::int64_t begin = now_ms();
    client_.reset();
    EXPECT_LT(now_ms() - begin, kSlack);  // the reconnection alone takes 5 s
}

TEST_F(ACaller, DisconnectsAfterItsThreadHasEnded) {
    reset_connection();
    client_.reset();
}

}  // namespace
}  // namespace quon::test
