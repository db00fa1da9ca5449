#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

struct Disconnect {
    void operator()(DbusInfo* info) const { Dbus_Client_Disconnect(info); }
};
using Client = std::unique_ptr<DbusInfo, Disconnect>;

Client connect_client(const std::string& server_name, std::int32_t wait_ms = 0) {
    return Client(Dbus_Client_Connect("quon.test.caller", server_name.c_str(), wait_ms));
}

DbusCallStatus call(const Client& client, const std::string& member, const std::string& payload,
                    std::int32_t timeout_ms, DbusReply* reply = nullptr) {
    return Dbus_Method_Call(client.get(), member.c_str(),
                            reinterpret_cast<const std::uint8_t*>(payload.data()),
                            static_cast<std::uint32_t>(payload.size()), timeout_ms, reply);
}

std::string payload_of(const DbusReply& reply) {
    return {reinterpret_cast<const char*>(reply.data),
            std::min<std::size_t>(reply.data_len, sizeof(reply.data))};
}

bool has_pending_calls(const Client& client) {
    pthread_mutex_lock(&client->mutex);
    const bool pending = client->method_list != nullptr;
    pthread_mutex_unlock(&client->mutex);
    return pending;
}

bool is_reconnecting(const Client& client) {
    if (pthread_mutex_trylock(&client->mutex) != 0) {
        return true;
    }
    pthread_mutex_unlock(&client->mutex);
    return false;
}

constexpr std::int32_t kPatience = 20000;  // ms, of calls that are to be answered
constexpr std::int64_t kSlack = 3000;      // ms, that a busy machine may add to a time-out

// ---- Handlers of a real server

std::int32_t echo(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                  std::int32_t /*capacity*/) {
    std::memcpy(reply, request, static_cast<std::size_t>(len));
    return len;
}

std::int32_t refuse(const std::uint8_t* /*request*/, std::int32_t /*len*/, std::uint8_t* /*reply*/,
                    std::int32_t /*capacity*/) {
    return -7;
}

Gate handler_may_end;

std::int32_t wait_for_gate(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                           std::uint8_t* /*reply*/, std::int32_t /*capacity*/) {
    handler_may_end.wait();
    return 0;
}

std::mutex signal_lock;
std::string signal_payload;

void take_signal(const std::uint8_t* request, std::int32_t len) {
    const std::lock_guard guard(signal_lock);
    signal_payload.assign(reinterpret_cast<const char*>(request), static_cast<std::size_t>(len));
}

std::string start_full_server() {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.echo", .method = echo},
                        {.name = "method.refuse", .method = refuse},
                        {.name = "method.gate", .method = wait_for_gate},
                        {.name = "method.without.handler"},
                        {.name = "signal.take",
                         .signal = take_signal,
                         .method_marker = "",
                         .signal_marker = "signal"}});
    return name;
}

TEST(ACall, BringsBackTheHandlersResultAndPayload) {
    const Client client = connect_client(start_full_server());
    ASSERT_NE(client, nullptr);
    DbusReply reply{};
    ASSERT_EQ(call(client, "method.echo", "hello", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, 5);
    EXPECT_EQ(reply.data_len, 5U);
    EXPECT_EQ(payload_of(reply), "hello");
    EXPECT_EQ(reply.data[5], 0);
    EXPECT_FALSE(has_pending_calls(client));
}

TEST(ACall, BringsBackAnEmptyAndAFullPayload) {
    const Client client = connect_client(start_full_server());
    DbusReply reply{};
    ASSERT_EQ(Dbus_Method_Call(client.get(), "method.echo", nullptr, 0, kPatience, &reply),
              DBUS_CALL_OK);
    EXPECT_EQ(reply.data_len, 0U);
    const std::string full(DBUS_DATA_SIZE, 'f');
    ASSERT_EQ(call(client, "method.echo", full, kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(payload_of(reply), full);
}

TEST(ACall, TellsTheHandlersFailureFromItsOwn) {
    const Client client = connect_client(start_full_server());
    DbusReply reply{};
    ASSERT_EQ(call(client, "method.refuse", "", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, -7);
    EXPECT_EQ(reply.data_len, 0U);
    ASSERT_EQ(call(client, "method.without.handler", "", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, -1);
}

TEST(ACall, NeedsNoPlaceForItsReply) {
    const Client client = connect_client(start_full_server());
    EXPECT_EQ(call(client, "method.echo", "x", kPatience, nullptr), DBUS_CALL_OK);
}

TEST(ACallOfAnUnknownMember, EndsByItsTimeOut) {
    const Client client = connect_client(start_full_server());
    const std::int64_t begin = now_ms();
    EXPECT_EQ(call(client, "method.unknown", "", 200), DBUS_CALL_TIMEOUT);
    EXPECT_GE(now_ms() - begin, 200);
    EXPECT_LT(now_ms() - begin, 200 + kSlack);
    EXPECT_FALSE(has_pending_calls(client));
}

TEST(ALateResult, IsDroppedAndHarmsNobody) {
    const Client client = connect_client(start_full_server());
    const OutputCapture capture;
    EXPECT_EQ(call(client, "method.gate", "", 50), DBUS_CALL_TIMEOUT);
    handler_may_end.open();
    EXPECT_TRUE(wait_until(
        [&] { return capture.text() == "Dbus_Method_Msg_Result method node is empty\n"; }));
    DbusReply reply{};
    EXPECT_EQ(call(client, "method.echo", "after", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(payload_of(reply), "after");
}

struct InvalidRow {
    const char* what;
    const char* member;
    bool with_data;
    std::uint32_t len;
    std::int32_t timeout_ms;
};

TEST(ACallWithAnInvalidArgument, IsRefusedAtOnce) {
    const std::string longest(63, 'm');
    const std::string too_long(64, 'm');
    const Client client = connect_client(start_full_server());
    const std::vector<std::uint8_t> data(DBUS_DATA_SIZE + 1);
    for (const InvalidRow& row : {
             InvalidRow{"no member", nullptr, true, 1, 100},
             InvalidRow{"a name of 64 bytes", too_long.c_str(), true, 1, 100},
             InvalidRow{"a length without data", "method.echo", false, 1, 100},
             InvalidRow{"more than 4356 bytes", "method.echo", true, DBUS_DATA_SIZE + 1, 100},
             InvalidRow{"a negative time-out", "method.echo", true, 1, -1},
         }) {
        const std::uint8_t* bytes = row.with_data ? data.data() : nullptr;
        EXPECT_EQ(
            Dbus_Method_Call(client.get(), row.member, bytes, row.len, row.timeout_ms, nullptr),
            DBUS_CALL_INVALID)
            << row.what;
        EXPECT_EQ(Dbus_Signal_Send(client.get(), row.member, bytes, row.len, row.timeout_ms),
                  DBUS_CALL_INVALID)
            << row.what;
    }
    EXPECT_EQ(Dbus_Method_Call(nullptr, "method.echo", nullptr, 0, 100, nullptr),
              DBUS_CALL_INVALID);
    EXPECT_EQ(Dbus_Signal_Send(nullptr, "signal.take", nullptr, 0, 100), DBUS_CALL_INVALID);
    EXPECT_EQ(call(client, longest, "", 0), DBUS_CALL_TIMEOUT);  // unknown, but no error
}

TEST(ASignal, ReachesItsHandler) {
    const Client client = connect_client(start_full_server());
    const std::string payload = "to the server";
    EXPECT_EQ(Dbus_Signal_Send(client.get(), "signal.take",
                               reinterpret_cast<const std::uint8_t*>(payload.data()),
                               static_cast<std::uint32_t>(payload.size()), 0),
              DBUS_CALL_OK);
    EXPECT_TRUE(wait_until([&] {
        const std::lock_guard guard(signal_lock);
        return signal_payload == payload;
    }));
}

TEST(ARegistrationWithoutAClientRole, CannotCall) {
    DbusInfo* info = start_server(fresh_name(), {{.name = "method.echo", .method = echo}});
    DbusReply reply{.result = 77, .data_len = 78, .data = {}};
    EXPECT_EQ(Dbus_Method_Call(info, "method.echo", nullptr, 0, kPatience, &reply),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Signal_Send(info, "signal.take", nullptr, 0, kPatience),
              DBUS_CALL_NO_CONNECTION);
    // Nothing came, so nothing is told.
    EXPECT_EQ(reply.result, 77);
    EXPECT_EQ(reply.data_len, 78U);
}

// ---- Against a server that the test speaks by hand

class ACaller : public testing::Test {
  protected:
    void SetUp() override {
        client_ = connect_client(server_name_);
        ASSERT_NE(client_, nullptr);
        accept_client();
    }
    void accept_client() { peer_ = std::make_unique<RawPeer>(server_->accept_one().value()); }
    void close_server() {
        server_.reset();
        peer_->close_now();
    }
    void restart_server() {
        server_ = std::make_unique<RawServer>(server_name_);
        accept_client();
    }
    void close_and_wait_for_reconnection() {
        // A caller that has sent but not let go of the registration yet would look like one.
        pthread_mutex_lock(&client_->mutex);
        pthread_mutex_unlock(&client_->mutex);
        const OutputCapture capture;
        close_server();
        ASSERT_TRUE(wait_until([&] {
            return capture.text().find("reconnect daemon") != std::string::npos &&
                   is_reconnecting(client_);
        }));
    }
    // The client's thread has ended after a read error.
    void reset_connection() {
        ASSERT_EQ(Dbus_Signal_Send(client_.get(), "signal.x", nullptr, 0, kPatience), DBUS_CALL_OK);
        close_server();  // with the signal unread
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
    }

    std::string server_name_ = fresh_name();
    std::unique_ptr<RawServer> server_ = std::make_unique<RawServer>(server_name_);
    Client client_;
    std::unique_ptr<RawPeer> peer_;
};

TEST_F(ACaller, WritesTheDocumentedRecords) {
    call(client_, "method.echo", "abc", 0);
    ASSERT_EQ(Dbus_Signal_Send(client_.get(), "signal.take", nullptr, 0, kPatience), DBUS_CALL_OK);
    DbusMsg expected{};
    expected.head = 0x5AA55AA5;
    std::strcpy(expected.src_name, "quon.test.caller");
    server_name_.copy(expected.dst_name, sizeof(expected.dst_name) - 1);
    expected.type = 1;
    std::strcpy(expected.name, "method.echo");
    expected.data_len = 3;
    std::memcpy(expected.data, "abc", 3);
    DbusMsg request = peer_->receive().value();
    expected.id = request.id;
    EXPECT_EQ(std::memcmp(&request, &expected, sizeof(request)), 0);

    const DbusMsg signal = peer_->receive().value();
    EXPECT_EQ(signal.type, 0U);
    EXPECT_EQ(text_of(signal.name), "signal.take");
    EXPECT_EQ(signal.data_len, 0U);
}

TEST_F(ACaller, ChoosesAFreshIdForEachCall) {
    std::set<std::uint32_t> ids;
    for (int i = 0; i < 100; i++) {
        call(client_, "method.echo", "", 0);
        ids.insert(peer_->receive().value().id);
    }
    EXPECT_EQ(ids.size(), 100U);
}

TEST_F(ACaller, PassesOnWhatABrokenServerClaims) {
    std::thread server([&] {
        const DbusMsg request = peer_->receive().value();
        DbusMsg result = make_result(request, 3);
        result.data_len = 5000;
        peer_->send(result);
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
            const DbusMsg record = peer_->receive().value();
            ASSERT_EQ(record.head, 0x5AA55AA5U);
            if (record.type != 0) {
                peer_->send(make_result(record, 0));
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
    EXPECT_TRUE(peer_->receive());
    while (!done) {
        peer_->receive(1ms);
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
    ASSERT_TRUE(peer_->receive());
    const std::int64_t begin = now_ms();
    close_and_wait_for_reconnection();
    EXPECT_EQ(call(client_, "method.late", "", 100), DBUS_CALL_TIMEOUT);
    EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.late", nullptr, 0, 100), DBUS_CALL_TIMEOUT);
    early.join();
    EXPECT_EQ(status, DBUS_CALL_TIMEOUT);
    EXPECT_LT(ended - begin, 1000 + kSlack);
    EXPECT_TRUE(is_reconnecting(client_));  // otherwise this showed nothing

    restart_server();
    ASSERT_TRUE(wait_until([&] { return !is_reconnecting(client_); }));
    EXPECT_EQ(Dbus_Signal_Send(client_.get(), "signal.after", nullptr, 0, kPatience), DBUS_CALL_OK);
    EXPECT_FALSE(has_pending_calls(client_));
    EXPECT_EQ(text_of(peer_->receive().value().name), "signal.after");
}

TEST_F(ACaller, WaitsForAReconnectionWithinItsTimeOut) {
    close_and_wait_for_reconnection();
    std::thread server([&] {
        restart_server();
        peer_->send(make_result(peer_->receive().value(), 0));
    });
    EXPECT_EQ(call(client_, "method.x", "", kPatience), DBUS_CALL_OK);
    server.join();
}

TEST_F(ACaller, LearnsOfALostConnectionWhenTheReconnectionFails) {
    std::atomic<int> status{1};
    std::thread early([&] { status = call(client_, "method.early", "", 60000); });
    ASSERT_TRUE(peer_->receive());
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
    ASSERT_TRUE(peer_->receive());
    reset_connection();
    early.join();
    EXPECT_EQ(status, DBUS_CALL_NO_CONNECTION);
}

// The write itself fails, with the reading side still open. SIGPIPE has its default action here.
TEST_F(ACaller, LearnsOfALostConnectionFromItsWriteWithoutASignal) {
    ASSERT_EQ(shutdown(peer_->descriptor(), SHUT_RD), 0);
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
    const DbusMsg request = peer_->receive().value();
    pthread_cancel(caller);
    peer_->send(make_result(request, 0));
    ASSERT_EQ(pthread_join(caller, nullptr), 0);
    EXPECT_EQ(status, DBUS_CALL_OK);
    EXPECT_FALSE(has_pending_calls(client_));
}

TEST_F(ACaller, DisconnectsAndItsThreadIsGone) {
    ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
    client_.reset();
    EXPECT_TRUE(threads_named("DbusProcess").empty());
    EXPECT_TRUE(peer_->sees_end());
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

// ---- Many at once

TEST(ManyThreads, ShareOneConnection) {
    const Client client = connect_client(start_full_server());
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; t++) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; i++) {
                const std::string payload = std::to_string(t) + ":" + std::to_string(i);
                DbusReply reply{};
                ASSERT_EQ(call(client, "method.echo", payload, kPatience, &reply), DBUS_CALL_OK);
                ASSERT_EQ(payload_of(reply), payload);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(has_pending_calls(client));
}

// ---- Connecting

TEST(Connecting, FailsAtOnceAndWithoutAWordWithoutAServerWhenNobodyWaits) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([] { EXPECT_EQ(connect_client("nobody.home"), nullptr); }), "");
    EXPECT_LT(now_ms() - begin, kSlack);
}

TEST(Connecting, GivesUpWithoutAWordWhenItsTimeHasPassed) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([] { EXPECT_EQ(connect_client("nobody.home", 300), nullptr); }), "");
    EXPECT_GE(now_ms() - begin, 300);
    EXPECT_LT(now_ms() - begin, 300 + kSlack);
}

TEST(Connecting, RegistersAsUsualWhenItsTimeIsNegative) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([] { EXPECT_EQ(connect_client("nobody.home", -1), nullptr); }),
              "Cannot connect to the server (nobody.home) timeout\n");
    EXPECT_GE(now_ms() - begin, 5000);
    const Client client = connect_client(start_full_server(), -1);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(call(client, "method.echo", "x", kPatience), DBUS_CALL_OK);
}

TEST(Connecting, RefusesNamesThatDoNotFit) {
    const std::string too_long(64, 'n');
    EXPECT_EQ(Dbus_Client_Connect(nullptr, "server", 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect("me", nullptr, 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect("me", "", 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect(too_long.c_str(), "server", 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect("me", too_long.c_str(), 0), nullptr);
    Dbus_Client_Disconnect(nullptr);
}

TEST(Connecting, DoesNotHangInTheQueueOfAServerThatNeverAccepts) {
    const std::string name = fresh_name();
    const RawServer server(name);
    std::vector<RawPeer> queue;
    for (int i = 0; i < 6; i++) {  // a backlog of 5 queues 6
        queue.push_back(RawPeer::connect_to(name));
    }
    const std::int64_t begin = now_ms();
    EXPECT_EQ(connect_client(name), nullptr);
    EXPECT_LT(now_ms() - begin, kSlack);
}

TEST(Connecting, IsTheSameOnARegistrationOfOnesOwn) {
    const std::string name = start_full_server();
    DbusInfo* info = DbusInfo_Alloc(0);
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    ASSERT_EQ(Dbus_Register(info), 0);
    const Client client(info);
    EXPECT_EQ(call(client, "method.echo", "x", kPatience), DBUS_CALL_OK);
}

}  // namespace
}  // namespace quon::test
